"""Closing the window: it asks, ends the tree file, and stops what runs."""
import guitest as g

g.copyexamples()


def read(name):
    with open(g.WORK + "/" + name) as f:
        return f.read()


with g.zel() as z:
    z.command("mxram 64; p bees.zel; p bees_ten.tre;")
    z.command("tsave *kept.tre; save 0.2;")
    for answer in ("n", "Escape"):
        z.close()
        box = z.dialog("Exiting from ZEL")
        assert "Are you sure you want to exit?" in z.labels(box)
        z.key(answer)
        z.nodialog()
    z.command("save 3;")
    z.close()
    z.dialog("Exiting from ZEL")
    z.key("y")
    assert z.ended() == 0
trees = read("kept.tre")
assert trees.count("(") and trees.endswith(";\nproc/;\n") and trees.count("*") == 3, trees

# The item of the menu does the same; without warnings nothing asks.
with g.zel("bees.zel") as z:
    z.until(lambda: "bees.zel" in "".join(z.labels()))
    z.choose("File", "Quit")
    z.press(z.dialog("Exiting from ZEL"), "Yes")
    assert z.ended() == 0
with g.zel("bees.zel") as z:
    z.until(lambda: "bees.zel" in "".join(z.labels()))
    z.command("warn -;")
    z.focus()
    z.key("ctrl+q")
    assert z.ended() == 0

# While a search runs.
with g.zel() as z:
    z.command("warn -; mxram 64; p vertebrates.zel; randtrees 2; tsave *other.tre; save; mult = replic 100000;", wait=False)
    z.until(lambda: "Repl." in z.text())
    z.close()
    assert z.ended() == 0
assert read("other.tre").endswith(";\nproc/;\n"), read("other.tre")
g.done()
