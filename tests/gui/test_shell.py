"""The window as it starts, commands typed, boxes, errors and what follows them."""
import guitest as g
from guitest import Atspi

g.copyexamples()
with g.zel() as z:
    # It starts with a banner, nothing read, and the focus in the entry.
    assert "ZEL - version" in z.text()
    for label in ("No data read", "0 trees", "No log file open",
                  "Commands (navigate:\u2191\u2193 search: CTRL+R) "):
        assert label in z.labels(), label
    assert any(l.startswith("Lines 1-") for l in z.labels()), z.labels()
    z.until(lambda: g.has(z.entry, "FOCUSED"))

    # What is typed is run, and the entry is empty and ready again.
    z.type("vversion")
    z.key("Return")
    z.until(lambda: z.text().count("ZEL - version") == 2 and z.typed() == "")
    z.until(lambda: g.has(z.entry, "FOCUSED"))

    # A line of blanks does nothing.
    before = z.text()
    z.type("   ")
    z.key("Return")
    assert z.text() == before
    z.key("Escape")
    z.until(lambda: z.typed() == "")

    # An error: a box with the words, the text of the error in the view, and the next command runs.
    z.command("nosuchcommand;", wait=False)
    box = z.dialog("Error")
    assert "Error parsing instructions\nfrom the graphic interface" in z.labels(box)
    z.key("Return")
    z.nodialog()
    z.until(z.idle)
    assert "Unknown command: nosuchcommand" in z.text()
    z.command("quote after the error;")
    assert "\nafter the error\n" in z.text()

    # An error in a file is told with the file's name.
    with open(g.WORK + "/bad.run", "w") as f:
        f.write("quote inside;\nnosuchcommand;\nquote never;\nproc/;\n")
    z.command("p bad.run;", wait=False)
    box = z.dialog("Error")
    assert 'Encountered an error when parsing\ninstructions from file "bad.run"' in z.labels(box)
    z.press(box, "OK")
    z.nodialog()
    z.until(z.idle)
    assert "inside" in z.text() and "never" not in z.text().replace("never;", "")

    # Data: the status line follows.
    z.command("mxram 64; p bees.zel; p bees_ten.tre;")
    z.until(lambda: "bees.zel" in z.labels() and "10 trees" in z.labels())
    z.command("taxname=; tplot 0; log out.txt; tsave *some.tre;")
    z.until(lambda: "Log: out.txt, tsave: some.tre" in z.labels())
    assert "\u250c\u2500\u2500Digger_wasp" in z.text()
    z.command("tsave/;")
    z.until(lambda: "Log: out.txt, no tree file open" in z.labels())
    z.command("log/;")
    z.until(lambda: "No log file open" in z.labels())

    # A warning asks: n and Esc give the command up, y goes on.
    for key, kept in (("n", True), ("Escape", True), ("y", False)):
        z.command("txtsize 300;", wait=False)
        box = z.dialog("WARNING")
        assert any("Continue?" in l for l in z.labels(box))
        z.key(key)
        z.nodialog()
        z.until(z.idle)
        assert ("Digger_wasp" in z.text()) == kept, key
    assert "Text buffer: 300 Kb" in z.text()

    # A quoted message shows a box; cls empties view and line count.
    z.command("quote * Look here;", wait=False)
    assert "Look here" in "".join(z.labels(z.dialog("Message")))
    z.key("Escape")
    z.nodialog()
    z.until(z.idle)
    z.command("cls;")
    z.until(lambda: z.text() == "" and "0" in z.labels())

    # Up and Down walk through what was typed; Down past the end clears the entry.
    z.focus()
    z.key("Up")
    z.until(lambda: z.typed() == "cls;")
    z.key("Up")
    z.until(lambda: z.typed() == "quote * Look here;")
    z.key("Down", "Down")
    z.until(lambda: z.typed() == "")

    # Tab goes to the text, Enter back.
    z.key("Tab")
    z.until(lambda: g.has(z.view, "FOCUSED"))
    z.key("Return")
    z.until(lambda: g.has(z.entry, "FOCUSED"))

    # The oldest lines leave the view when they have left the text buffer.
    z.command("warn -; txtsize 10; hold 3000; randtrees 2000; length;")
    z.until(lambda: 0 < len(z.text()) < 300000)

    # Home and End go to the ends of the text when the focus is there; the status line tells the lines seen.
    z.focus()
    z.key("Tab")
    z.until(lambda: g.has(z.view, "FOCUSED"))
    z.key("Home")
    z.until(lambda: any(l.startswith("Lines 1-") for l in z.labels()))
    z.key("End")
    z.until(lambda: any(l.startswith("Lines ") and l.split("-")[1].split(" of ")[0] == l.split(" of ")[1] for l in z.labels()))
    z.key("Return")

    # The words of the command window act on it.
    z.command("window -;")
    z.command("window =;")
    z.command("window x;", wait=False)
    z.press(z.dialog("Error"), "OK")
    z.until(z.idle)
    z.command("zzz;", wait=False)
    assert z.ended() == 0
g.done()
