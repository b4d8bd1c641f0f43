"""The entry: search in the text, with its limit, and search in the history of commands."""
import guitest as g
from guitest import Atspi


def message(z):
    return [l for l in z.labels() if "match" in l and "navigate" not in l]


with g.zel() as z:
    z.command("warn -; txtsize 1000;")

    def fill(n):
        z.command("cls;")
        with open(g.WORK + "/fill.run", "w") as f:
            f.write("".join("quote line %i has a Needle in it;\n" % i for i in range(n)) + "proc/;\n")
        z.command("p fill.run;")

    def search(text):
        z.focus()
        z.key("ctrl+f")
        z.until(lambda: "Text search (navigate matches: F3 / \u21e7 + F3) " in z.labels())
        Atspi.EditableText.set_text_contents(z.entry, text)
        z.key("Return")

    # No match, one, several; case does not count.
    fill(3)
    search("haystack")
    z.until(lambda: "No matches in\ntext search" in z.labels())
    search("LINE 2")
    z.until(lambda: "1 match in\ntext search" in z.labels())
    search("needle")
    z.until(lambda: "3 matches in\ntext search" in z.labels())
    places = [i for i in range(len(z.text())) if z.text().startswith("Needle", i)]

    def colors():
        """Of the matches, in the order of the text; screen readers are told whole parts of colors only."""
        found = [Atspi.Text.get_attribute_run(z.view, at, False)[0].get("bg-color") for at in places]
        return [{"65535,0,0": "orange", "0,0,0": "lightgreen"}.get(c, c) for c in found]

    def shown(n):
        z.until(lambda: colors() == ["orange" if i == n else "lightgreen" for i in range(3)], "match %i of %s" % (n, colors()))

    shown(0)
    for key, n in (("F3", 1), ("F3", 2), ("F3", 0), ("shift+F3", 2), ("shift+F3", 1)):
        z.key(key)
        shown(n)

    # Esc goes back to commands.
    z.key("Escape")
    z.until(lambda: "Commands (navigate:\u2191\u2193 search: CTRL+R) " in z.labels())
    z.until(lambda: not message(z))

    # 1000 matches are all marked; one more, and the limit is told.
    fill(1000)
    search("Needle")
    z.until(lambda: "1000 matches in\ntext search" in z.labels())
    z.nodialog()
    z.key("Escape")
    fill(1001)
    search("Needle")
    box = z.dialog("Text search")
    assert "Matches of search reached maximum allowed.\nShowing up to 1000." in z.labels(box)
    z.key("Return")
    z.nodialog()
    z.until(lambda: "1000 matches in\ntext search" in z.labels())
    z.key("Escape")

    # A selection of the text is what is searched.
    z.command("cls;")
    z.command("quote apples and pears; quote more apples;")
    at = z.text().index("apples")
    Atspi.Text.add_selection(z.view, at, at + 6)
    z.focus()
    z.key("ctrl+f")
    z.until(lambda: z.typed() == "apples")
    z.key("Escape")

    # The history: what is typed narrows it down, Ctrl+R goes further back, Enter runs the match.
    z.command("cls;")
    z.command("quote first fruit;")
    z.command("quote second fruit;")
    z.command("vversion;")
    z.focus()
    z.key("ctrl+r")
    z.until(lambda: "Command search (navigate matches: CTRL + R) " in z.labels())
    z.type("FRUIT")
    z.until(lambda: z.typed() == "quote second fruit;")
    z.key("ctrl+r")
    z.until(lambda: z.typed() == "quote first fruit;")
    z.key("Return")
    z.until(lambda: z.text().count("\nfirst fruit\n") == 2)
    z.until(lambda: "Commands (navigate:\u2191\u2193 search: CTRL+R) " in z.labels() and z.typed() == "")

    # Esc leaves the match in the entry.
    z.key("ctrl+r")
    z.type("second")
    z.until(lambda: z.typed() == "quote second fruit;")
    z.key("Escape")
    z.until(lambda: "Commands (navigate:\u2191\u2193 search: CTRL+R) " in z.labels() and z.typed() == "quote second fruit;")
    z.key("Escape")
    z.until(lambda: z.typed() == "")

    # Nothing found runs nothing.
    z.key("ctrl+r")
    z.type("zebra")
    z.until(lambda: "No matches in\nhistory" in z.labels())
    before = z.text()
    z.key("Return")
    assert z.text() == before
    z.key("Escape")
    z.command("zzz;", wait=False)
    assert z.ended() == 0
g.done()
