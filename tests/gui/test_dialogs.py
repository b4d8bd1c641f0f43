"""Dialogs: all of them open and write commands; some are filled in and run."""
import os
import guitest as g
from guitest import Atspi

# Item, title, and the command it writes with nothing changed ("" where something must be given).
DIALOGS = [
    ("file/new", "New matrix", "xread / 50 20 2;"),
    ("file/read", "Read trees", ""),
    ("file/output/open", "Open output file", ""),
    ("file/output/append", "Append to output file", ""),
    ("file/output/save diag", "SVG file", ""),
    ("file/tree save/open", "Open tree file", ""),
    ("file/tree save/save all", "Save all trees", ""),
    ("trees/display", "Display trees", "naked =; tplot;"),
    ("trees/multiple/target", "Target tree of tags", "ttags *0;"),
    ("trees/edit/prune", "Prune taxa", ""),
    ("trees/edit/condense", "Condense trees", "condense;"),
    ("trees/consensus", "Consensus", "nelsen;"),
    ("trees/supertree", "Supertree", "mixtrees =10;"),
    ("trees/tree buffer/create", "Group of trees", ""),
    ("trees/tree buffer/select", "Select trees", ""),
    ("trees/tree buffer/keep the best", "Keep the best trees", "best 0;"),
    ("trees/tree buffer/sort", "Sort trees", "sort = score;"),
    ("trees/tree buffer/keep the first", "Discard trees", "keep 10;"),
    ("trees/reroot", "Reroot trees", "reroot;"),
    ("trees/random", "Random trees", "randtrees 10 0;"),
    ("optimize/branch", "Branch lengths", "blength;"),
    ("optimize/tree scores", "Tree scores", "length;"),
    ("optimize/weighted/fit", "Fit of trees", "fit;"),
    ("optimize/character scores", "Character scores", "cscores;"),
    ("optimize/define", "Reference tree", "xcomp = 0;"),
    ("data/active", "Active taxa", ""),
    ("data/outgroup", "Outgroup", ""),
    ("data/taxon/define", "Group of taxa", ""),
    ("data/taxon/rename", "Rename taxon", ""),
    ("data/character settings", "Character settings", ""),
    ("data/minimum", "Minimum and maximum steps", "minmax;"),
    ("data/character groups/define", "Group of characters", ""),
    ("data/define", "Define constraint", ""),
    ("data/save", "Save data", ""),
    ("data/export", "Export data", ""),
    ("data/edit/cells", "Edit cells", ""),
    ("data/edit/generate", "Generate characters", ""),
    ("analyze/implicit", "Implicit enumeration", "ienum;"),
    ("analyze/traditional", "Traditional search", "mult = replic 10 hold 10 tbr nokeepall;"),
    ("analyze/suboptimal", "Suboptimal trees", "subopt 0 x 0;"),
    ("analyze/time", "Time limit of searches", "timeout 0:0:0;"),
    ("analyze/estimate", "Estimate consensus", "qnelsen replications 15 majorcut 85;"),
    ("settings/reports/progress", "Reports of progress", "report =; report + 0/0/0;"),
    ("settings/memory", "Memory", "hold 100;"),
    ("settings/consensus", "Consensus options", "collapse +; unshared =;"),
    ("settings/collapsing", "Collapsing rules", "collapse 3; collapse ];"),
    ("settings/implied/basic", "Implied weighting", "piwe -;"),
    ("settings/implied/concavity", "Concavity by ratio", "piwe < 10 10;"),
    ("settings/random", "Random seed", "rseed 1;"),
    ("format/significant", "Decimals of numbers in tables", "tables / 5;"),
]
# Searches whose commands may not be in the program: their items are then insensitive.
IFTHERE = [
    ("Combined search...", "New technology search",
     "xmult = hits 1 replications 4 hold 1 rss css noxss noratchet drift 5 fuse 1 noconsense;"),
    ("Sectorial search...", "Sectorial search", "sectsch = rss minsize 20 maxsize 40 drift 6;"),
    ("Ratchet...", "Ratchet", "ratchet = iterations 50 numsubs 40 upfactor 4 downfactor 4 giveup 99 equals;"),
    ("Drift...", "Tree drifting", "drift = iterations 30 numsubs 60 fitdiff 1 rfitdiff 0.2 xfactor 3 giveup 99;"),
    ("Tree fusing...", "Tree fusing", "tfuse = rounds 5 minfork 3 noequals beststart swap keepall;"),
]

g.copyexamples()
with g.zel() as z:
    z.command("warn -; mxram 64; p bees.zel; p bees_ten.tre;")

    def written(dialog):
        return Atspi.Text.get_text(z.find("text", "Command given", dialog), 0, -1)

    def ready(dialog):
        return [g.has(t, "SENSITIVE") for t in g.descendants(dialog)
                if t.get_role_name() == "push button" and t.get_name() == "OK"][0]

    def opened(item, title):
        z.command("menu %s;" % item, wait=False)
        return z.dialog(title)

    def cancelled(dialog):
        z.key("Escape")
        z.nodialog()
        z.until(z.idle)

    there = [("analyze/new/" + name, title, command) for name, title, command in IFTHERE
             if z.enabled("Analyze", "New technology search", name)]
    for item, title, command in DIALOGS + there:
        dialog = opened(item, title)
        if command:
            assert written(dialog) == command, (title, written(dialog))
            assert ready(dialog), title
        else:
            assert not ready(dialog), (title, written(dialog))
        cancelled(dialog)

    # Searches that are there take what their dialogs write.
    for item, title, command in there:
        z.command("keep 0; p bees_ten.tre; " + command)
    z.command("keep 0; p bees_ten.tre;")

    # What commands the dialogs write unchanged, the program takes.
    for item, title, command in DIALOGS:
        if command and not command.startswith(("ienum", "qnelsen", "xread", "mult", "keep", "best", "sort")):
            z.command(command)
    assert "Unknown" not in z.text()

    # Fields: a number typed, a choice, a check; the command follows, and is run and shown.
    dialog = opened("analyze/trad", "Traditional search")
    Atspi.Value.set_current_value(z.field("Replications", dialog), 3)
    z.until(lambda: written(dialog) == "mult = replic 3 hold 10 tbr nokeepall;")
    g.click(z.find("check box", "Keep the trees of all replications", dialog))
    z.until(lambda: written(dialog) == "mult = replic 3 hold 10 tbr keepall;")
    z.press(dialog, "OK")
    z.nodialog()
    z.until(z.idle)
    assert "> mult = replic 3 hold 10 tbr keepall;" in z.text()
    z.focus()
    z.key("Up")
    z.until(lambda: z.typed().startswith("menu analyze/trad"))
    z.key("Escape")

    # The other search of the same dialog, by its choice; fields of the first rest meanwhile.
    dialog = opened("analyze/trad", "Traditional search")
    Atspi.Selection.select_child(z.field("Starting trees", dialog), 1)
    z.until(lambda: written(dialog) == "bbreak = tbr mulpars nofillonly;")
    cancelled(dialog)
    z.command("mult : replic 10 nokeepall;")

    # Lists: narrowed down by a text, all that is seen marked, inverted.
    z.command("p bees_ten.tre;")
    dialog = opened("trees/tree buffer/select", "Select trees")

    def pick(title, *doing):
        g.click(z.field(title, dialog))
        chooser = z.dialog(title)
        for what in doing:
            if what.startswith("find "):
                g.click([t for t in g.descendants(chooser) if t.get_role_name() == "text"][0], 3)
                z.type(what[5:])
                g.time.sleep(0.4)                            # the search waits for the end of the typing
            else:
                z.press(chooser, what)
        z.press(chooser, "OK")
        z.until(lambda: not g.has(chooser, "SHOWING"))

    pick("Trees", "All")
    z.until(lambda: written(dialog).startswith("tchoose 0."))
    pick("Trees", "None", "find Tree 3", "Invert")
    z.until(lambda: written(dialog) == "tchoose 3;")
    pick("Trees", "Invert")
    z.until(lambda: written(dialog).startswith("tchoose 0.2 4."))
    cancelled(dialog)

    dialog = opened("data/active", "Active taxa")
    pick("Taxa", "find wasp", "All")
    z.until(lambda: written(dialog).startswith("taxcode - 0"))
    cancelled(dialog)

    # Some at random.
    dialog = opened("trees/tree buffer/select", "Select trees")
    g.click(z.field("Trees", dialog))
    chooser = z.dialog("Trees")
    z.press(chooser, "At random...")
    few = z.dialog("At random")
    Atspi.Value.set_current_value(z.find("spin button", None, few), 4)
    z.press(few, "OK")
    z.until(lambda: any(l.startswith("4 of ") for l in z.labels(chooser)))
    z.press(chooser, "OK")
    z.press(dialog, "OK")
    z.nodialog()
    z.until(lambda: "4 trees" in z.labels())

    # Files: chosen in a file dialog, blanks written as the command takes them.
    with open(g.WORK + "/two words.run", "w") as f:
        f.write("quote read by a dialog;\nproc/;\n")
    z.choose("File", "Open input file...")
    z.dialog("Open input file")
    z.type(g.WORK + "/two words.run")
    z.key("Return")
    z.nodialog()
    z.until(lambda: "\nread by a dialog\n" in z.text())
    assert "> procedure two^words.run;" in z.text()

    dialog = opened("file/output/open", "Open output file")
    z.type("out.txt")
    z.until(lambda: written(dialog) == "log out.txt;")
    z.key("Return")
    z.nodialog()
    z.until(lambda: any(l.startswith("Log: out.txt") for l in z.labels()))
    z.choose("File", "Output file", "Close output file")
    z.until(lambda: "No log file open" in z.labels())
    assert os.path.exists(g.WORK + "/out.txt")

    dialog = opened("file/tree save/save all", "Save all trees")
    z.press(dialog, "Browse...")
    chooser = z.dialog("File")
    z.type("all.tre")
    z.until(lambda: g.has(z.find("push button", "Save", chooser), "SENSITIVE"))
    z.press(chooser, "Save")
    z.until(lambda: not g.has(chooser, "SHOWING"))
    z.until(lambda: written(dialog) == "tsave =*all.tre;")
    z.press(dialog, "OK")
    z.nodialog()
    z.until(lambda: os.path.exists(g.WORK + "/all.tre"))
    z.until(z.idle)

    # A dialog that accepts itself without what it needs says so, and nothing is run.
    z.command("menu data/outgroup=r;", wait=False)
    z.press(z.dialog("Outgroup"), "OK")
    z.nodialog()
    z.until(z.idle)

    # Closing data asks.
    z.command("warn =;")
    z.choose("File", "Close data")
    z.dialog("Close data")
    z.key("n")
    z.nodialog()
    assert "No data read" not in z.labels()
    z.choose("File", "Close data")
    z.dialog("Close data")
    z.key("y")
    z.nodialog()
    z.until(lambda: "No data read" in z.labels())

    # Tools and the words of help.
    z.command("warn -;")
    g.click(z.tool("Clear the text"))
    z.until(lambda: z.text() == "> cls;\n" or z.text() == "")
    for item, title in (("About", "About ZEL"), ("Citation", "Citation"), ("Menus and keys", "Menus and keys")):
        z.choose("Help", item)
        z.dialog(title)
        z.key("Return")
        z.nodialog()
    z.command("zzz;", wait=False)
    assert z.ended() == 0
g.done()
