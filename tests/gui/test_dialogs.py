"""Dialogs: all of them open and write commands; some are filled in and run."""
import os, re
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
    ("optimize/characters/homoplasy", "Homoplasy of characters", "chomo;"),
    ("optimize/character scores", "Character scores", "cscores;"),
    ("optimize/define", "Reference tree", "xcomp = 0;"),
    ("data/active", "Active taxa", ""),
    ("data/outgroup", "Outgroup", ""),
    ("data/taxon/define", "Group of taxa", ""),
    ("data/taxon/rename", "Rename taxon", ""),
    ("data/character settings", "Character settings", ""),
    ("data/character status/ancestral", "Ancestral states", ""),
    ("data/minimum", "Minimum and maximum steps", "minmax;"),
    ("data/character groups/define", "Group of characters", ""),
    ("data/define", "Define constraint", ""),
    ("data/save", "Save data", ""),
    ("data/export", "Export data", ""),
    ("data/edit/cells", "Edit cells", ""),
    ("data/edit/generate", "Generate characters", ""),
    ("analyze/implicit", "Implicit enumeration", "ienum;"),
    ("analyze/traditional", "Traditional search", "mult = replic 10 hold 10 tbr nokeepall;"),
    ("analyze/new", "New technology search",
     "sec:minsi7maxsi7self43incr75minfo10god75drift6glob2dglob10rou3 gocom0fuse0; tf:rou5minf3; "
     "xm=rep5hit1nota nogive fuse3dri0chk0 rat0 rss css noxss nocons hol 1/;"),
    ("analyze/search level", "Search level", "xmult : level 1.5;"),
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
# Those that need more: text in the output file, trees in the vault, a reference, tags; and those that set
# the window itself, without a command.
MORE = [
    ("file/output/save text", "Save text", None),
    ("file/tree save/save trees", "Save trees", "save;"),
    ("trees/multiple/save as", "Save the tree with tags as SVG", ""),
    ("trees/tree vault/save", "Move trees to the vault", "tvault >;"),
    ("trees/tree vault/get", "Take trees from the vault", "tvault <;"),
    ("optimize/compare with", "Compare with reference tree", "xcomp;"),
    ("optimize/compare fits", "Compare fits with reference tree", "xcomp *;"),
    ("format/graphics/font", "Font of the text", None),
    ("format/graphics/colors", "Colors of the text", None),
]
OTHERS = ["Open input file...", "Active blocks..."]             # a chooser of files; data in blocks
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

    for item, title, command in DIALOGS:
        dialog = opened(item, title)
        if command:
            assert written(dialog) == command, (title, written(dialog))
            assert ready(dialog), title
        else:
            assert not ready(dialog), (title, written(dialog))
        cancelled(dialog)

    # What commands the dialogs write unchanged, the program takes.
    for item, title, command in DIALOGS:
        if command and not command.startswith(("ienum", "qnelsen", "xread", "mult", "sec:", "keep", "best", "sort")):
            z.command(command)
    assert "Unknown" not in z.text()

    # The dialogs that need more; with them, all that the menus have.
    z.command("hold 100/5; xcomp = 1; ttags =; tplot 0; ttags ); log more.out; tsave *more.tre; tvault > 0.1;")
    for item, title, command in MORE:
        dialog = opened(item, title)
        if command:
            assert written(dialog) == command, (title, written(dialog))
        assert ready(dialog) == (command != ""), title
        cancelled(dialog)
    z.command("cls; menu +;")
    items = re.findall(r"^ +(\([+-]\) .*\.\.\.)", z.text(), re.M)
    assert len(items) == len(DIALOGS) + len(MORE) + len(OTHERS), items
    assert [i for i in items if i.startswith("(-)")] == ["(-) Active blocks..."], items
    z.command("tsave /; log /;")

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

    # The search by new technologies: each method has a page, and goes into the command as it is used;
    # a level stands for all of them; applied to the trees in memory they are commands of their own.
    ALL = ("sec:minsi7maxsi7self43incr75minfo10god75drift6glob2dglob10rou3 xss 8-12+2 gocom0fuse0; "
           "rat:it50up4down4au0num20give99; dri:it30fit1.00rfi0.20aut0num20give99xfa3.00; tf:rou5minf3; ")

    def page(key, *checks):
        """Goes to the page of that key, and clicks."""
        z.key(key)
        for name in checks:
            box = z.until(lambda: z.find("check box", name, dialog), name)
            z.until(lambda: g.has(box, "SHOWING"), name)
            g.click(box)

    def written_is(command):
        z.until(lambda: written(dialog) == command, command + "\nbut it is " + written(dialog))

    dialog = opened("analyze/new", "New technology search")
    page("alt+a", "Use exclusive sectors")
    page("alt+h", "Use the ratchet")
    page("alt+f", "Use drifting")
    written_is(ALL + "xm=rep5hit1nota nogive fuse3dri5chk0 rat10 rss css xss nocons hol 1/;")
    page("alt+n", "Until the consensus is stable")
    page("alt+e", "Use tree fusing")
    page("alt+t", "Use sectorial searches")
    without = ALL[ALL.index("rat:"):ALL.index("tf:")]
    written_is(without + "xm=rep5hit1nota nogive nofuse dri5chk0 rat10 norss nocss noxss conse1conf75conb10hol 1/;")
    page("alt+t", "Use sectorial searches")
    page("alt+e", "Use tree fusing")
    page("alt+n", "Until the consensus is stable")
    page("alt+d")
    z.until(lambda: z.find("label", "Goal of hits", dialog))
    for label, score in (("Goal of hits", "Score wanted"), ("Stop at once at", "At this score, or better")):
        Atspi.Selection.select_child(z.field(label, dialog), 1)
        Atspi.Value.set_current_value(z.field(score, dialog), 41.5)
    written_is(ALL + "xm=rep5hit1targ 41.50000 give 41.50000 fuse3dri5chk0 rat10 rss css xss nocons hol 1/;")
    Atspi.Selection.select_child(z.field("Search", dialog), 1)
    Atspi.Value.set_current_value(z.field("Search level", dialog), 2.25)
    written_is("xm=lev2.250 hit1targ 41.50000 give 41.50000 nocons hol 1/;")
    Atspi.Selection.select_child(z.field("Search", dialog), 2)
    written_is(ALL + "sec=rss; rat=; dri=; tf=;")
    page("alt+t")
    z.until(lambda: z.find("label", "Sectors of trees in memory", dialog))
    Atspi.Selection.select_child(z.field("Sectors of trees in memory", dialog), 2)
    written_is(ALL + "sec=xss 8-12+2; rat=; dri=; tf=;")
    cancelled(dialog)

    # What it writes is run, by its level and from trees in memory; nothing chosen is nothing to run.
    for how, line in ((0, "No target score defined."), (1, "No target score defined."), (2, "rounds of fusing completed.")):
        z.command("keep 0; p bees_ten.tre; cls;")
        dialog = opened("analyze/new", "New technology search")
        Atspi.Selection.select_child(z.field("Search", dialog), how)
        z.until(lambda: ("tf=;" in written(dialog)) == (how == 2) and ("lev" in written(dialog)) == (how == 1))
        z.press(dialog, "OK")
        z.nodialog()
        z.until(z.idle)
        assert line in z.text(), z.text()
    dialog = opened("analyze/new", "New technology search")
    Atspi.Selection.select_child(z.field("Search", dialog), 2)
    page("alt+e", "Use tree fusing")
    page("alt+t", "Use sectorial searches")
    z.until(lambda: written(dialog) == "" and not ready(dialog))
    cancelled(dialog)

    # Dialogs start from the settings, however they were made.
    z.command("sectsch : minsize 6 maxsize 9; xmult : ratchet 3 nofuse hits 4; majority = 66; rseed 17; qnelsen replications 4; "
              "keep 0; p bees_ten.tre;")
    dialog = opened("analyze/new", "New technology search")
    Atspi.Selection.select_child(z.field("Search", dialog), 0)   # it is as it was left, for no setting tells
    written_is("sec:minsi6maxsi9self43incr75minfo10god75drift6glob2dglob10rou3 gocom0fuse0; rat:it50up4down4au0num20give99; "
               "xm=rep5hit4nota nogive nofuse dri0chk0 rat3 rss css noxss nocons hol 1/;")
    cancelled(dialog)
    z.command("timeout 12345:0:0;")                          # more than the dialog would offer
    for item, title, command in (("analyze/time", "Time limit of searches", "timeout 12345:0:0;"),
                                 ("settings/random", "Random seed", "rseed 17;"),
                                 ("analyze/estimate", "Estimate consensus", "qnelsen replications 4 majorcut 85;")):
        dialog = opened(item, title)
        assert written(dialog) == command, written(dialog)
        cancelled(dialog)
    z.command("timeout 0;")
    dialog = opened("trees/consensus", "Consensus")
    Atspi.Selection.select_child(z.field("Consensus", dialog), 1)
    written_is("majority = 66; majority;")
    cancelled(dialog)

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

    # Esc empties the text first, and then gives the list up.
    dialog = opened("data/active", "Active taxa")
    g.click(z.field("Taxa", dialog))
    chooser = z.dialog("Taxa")
    z.type("wasp")
    z.until(lambda: Atspi.Text.get_text(z.find("text", None, chooser), 0, -1) == "wasp")
    z.key("Escape")
    z.until(lambda: Atspi.Text.get_text(z.find("text", None, chooser), 0, -1) == "")
    z.key("Escape")
    z.until(lambda: not g.has(chooser, "SHOWING"))
    assert not ready(dialog)
    cancelled(dialog)

    # A single taxon is taken at once by a double click.
    dialog = opened("data/taxon/rename", "Rename taxon")
    Atspi.EditableText.set_text_contents(z.field("New name", dialog), "Oily")
    g.click(z.field("Taxon", dialog))
    chooser = z.dialog("Taxon")
    assert not [t for t in g.descendants(chooser) if t.get_name() == "All" and g.has(t, "SENSITIVE")]
    cell = z.until(lambda: [t for t in g.children(z.find("table", "Taxa", chooser)) if t.get_name() == "Oil_bee"])[0]
    g.click(cell, 2)
    z.until(lambda: not g.has(chooser, "SHOWING"))
    z.until(lambda: written(dialog) == "taxname / 6 Oily;")
    cancelled(dialog)

    # Characters have a list of their own.
    dialog = opened("data/character settings", "Character settings")
    pick("Characters", "find 3", "All")
    z.until(lambda: written(dialog) == "ccode + 3;")
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
    chooser = z.until(lambda: z.find("file chooser", "Save all trees"))
    z.until(lambda: g.has(chooser, "ACTIVE"))
    z.key("a", "l", "l", "period", "t", "r", "e", "Return")  # at once, before the button can be pressed
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

    # The font: a name that is too long is cut between letters, and one that is none changes nothing else.
    for family, kept in (("\u00e9" * 40, "\u00e9" * 14), ('None such"} {', 'None such"} {')):
        dialog = opened("format/graphics/font", "Font of the text")
        Atspi.EditableText.set_text_contents(z.field("Family", dialog), family)
        z.press(dialog, "OK")
        z.nodialog()
        z.until(z.idle)
        dialog = opened("format/graphics/font", "Font of the text")
        assert Atspi.Text.get_text(z.field("Family", dialog), 0, -1) == kept
        cancelled(dialog)

    # Colors: of the desktop, until others are chosen.
    dialog = opened("format/graphics/colors", "Colors of the text")
    assert not g.has(z.field("Text", dialog), "SENSITIVE")
    Atspi.Selection.select_child(z.field("Colors", dialog), 1)
    z.until(lambda: g.has(z.field("Text", dialog), "SENSITIVE"))
    cancelled(dialog)

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
