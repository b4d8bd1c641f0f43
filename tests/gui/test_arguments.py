"""The words of the command line: files, then commands."""
import guitest as g

g.copyexamples()


def start(*words):
    z = g.zel(*words)
    z.__enter__()
    return z


def end(z):
    z.command("warn -;")
    z.command("zzz;", wait=False)
    assert z.ended() == 0
    z.__exit__(None)


# One file is read; so are several, in their order.
z = start("bees.zel")
z.until(lambda: "Reading from " + g.WORK + "/bees.zel" in z.text() and z.idle())
assert "20x14" in z.text()
end(z)
with open(g.WORK + "/has blanks.run", "w") as f:
    f.write("quote with blanks;\nproc/;\n")
z = start("bees.zel", "bees_ten.tre", "has blanks.run")
z.until(lambda: "\nwith blanks\n" in z.text() and "10 trees" in z.labels())

# What was read is among the recent files, and can be read again from there.
def recent():
    """The menu makes its items anew whenever the list of recent files has changed."""
    return next((t for t in g.children(z.menuitem("File", "Recent files")) if "bees.zel" in t.get_name()), None)


z.choose("File", "Recent files", recent)
z.until(lambda: z.text().count("20x14") == 2 or z.find("alert", "WARNING"))
if z.find("alert", "WARNING"):                               # data and trees will be replaced
    z.dialog("WARNING")
    z.key("y")
    z.until(lambda: z.text().count("20x14") == 2)
end(z)

# A comma begins the commands, and all that follows belongs to them.
z = start("bees.zel", "bees_ten.tre", ",", "quote", "one;", "keep", "3,", "quote", "two")
z.until(lambda: "\ntwo\n" in z.text() and "3 trees" in z.labels())
assert z.text().index("10 trees read") < z.text().index("\none\n") < z.text().index("\ntwo\n")
end(z)

# What stands before it is a file only when it is the current folder itself.
z = start("bees.zel,", "quote", "three")
z.until(lambda: "\nthree\n" in z.text())
assert "20x14" not in z.text()
end(z)
z = start("../work,quote four")
z.press(z.dialog("Error"), "OK")
z.until(lambda: "\nfour\n" in z.text())
assert "Can't open " + g.WORK in z.text()
end(z)

# A file that fails is told, and the rest goes on.
z = start("absent.zel", "bees.zel")
z.press(z.dialog("Error"), "OK")
z.until(lambda: "20x14" in z.text())
end(z)

# What is too long is refused.
z = start("a" * 220, ",", "quote five")
z.until(lambda: "\nfive\n" in z.text() or "Name of file too long" in z.text())
assert "Name of file too long: " in z.text()
end(z)
z = start(",", *["quote " + "x" * 200] * 40)
z.until(lambda: "Commands too long (at most 5000 characters)" in z.text())
end(z)
g.done()
