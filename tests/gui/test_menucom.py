"""The command menu in all its forms."""
import guitest as g

g.copyexamples()
with g.zel() as z:
    def said(command, *, error=False):
        """What a command adds to the text."""
        z.command("cls;")
        z.command(command, wait=not error)
        if error:
            z.press(z.dialog("Error"), "OK")
            z.nodialog()
            z.until(z.idle)
        return z.text()

    # Lists: what can be chosen now, and all.
    z.command("warn -; ")
    now = said("menu;")
    assert "Menu options now available:\n\nFile\n   Open input file...  (o)\n   New matrix...\n" in now, now
    assert "Close data" not in now and "Consensus..." not in now and "   Quit  (q)\n" in now
    everything = said("menu +;")
    assert "All menu options (options now available marked with +):\n\n(+) File\n   (+) Open input file...  (o)\n" in everything
    assert "   (-) Close data\n" in everything and "(-) Trees\n" in everything
    assert "   (-) Multiple tags\n      (-) Show tags\n" in everything

    # An item with a submenu lists it.
    z.command("mxram 64; p bees.zel; p bees_ten.tre;")
    text = said("menu trees/descr;")
    assert "Options now available under Trees/Describe:\n\nNodes\nNumber of taxa\n" in text, text

    # An item is chosen by its name, or the beginning of it, in any case, and with underscores.
    assert "20x14" not in said("menu;")
    text = said("menu TREES/tree bu/show g;")
    assert "> tgroup;" in text
    text = said("menu _Optimize/weighted/conc;")
    assert "> piwe &;" in text

    # Its command runs within the input that chose it, which goes on behind it.
    text = said("menu data/list; quote behind;")
    assert text.index("> taxlabels;") < text.index("Digger_wasp") < text.index("\nbehind\n")
    with open(g.WORK + "/chooses.run", "w") as f:
        f.write("quote before;\nmenu trees/descr/nodes;\nquote after;\nproc/;\n")
    text = said("p chooses.run; quote last;")
    assert text.index("\nbefore\n") < text.index("> tnodes;") < text.index("\nafter\n") < text.index("\nlast\n"), text

    # Checks: only as needed.
    assert "> naked -;" in said("menu format/show node=y;")
    assert "> naked" not in said("menu format/show node=y;")
    assert "> naked =;" in said("menu format/show node=n;")
    assert "> naked" not in said("menu format/show node=n;")
    assert "> naked -;" in said("menu format/show node;")
    assert z.marked("Format", "Show node numbers")
    z.command("naked=;")

    # A dialog opens, and its command runs; or accepts itself.
    z.command("cls;")
    z.command("menu trees/consensus; quote done;", wait=False)
    dialog = z.dialog("Consensus")
    z.press(dialog, "OK")
    z.nodialog()
    z.until(lambda: "\ndone\n" in z.text())
    assert "> nelsen;" in z.text() and "Strict consensus of 10 trees" in z.text()
    z.until(z.idle)
    assert "Strict consensus of 10 trees" in said("menu trees/cons=r;")

    # A dialog that is cancelled: the input goes on, or not.
    for give_up in (False, True):
        z.command("menu ];" if give_up else "menu [;")
        z.command("cls;")
        z.command("menu analyze/trad; quote next one;", wait=False)
        z.press(z.dialog("Traditional search"), "Cancel")
        z.nodialog()
        z.until(z.idle)
        assert ("\nnext one\n" in z.text()) == (not give_up), z.text()
    assert "Giving up rest of instructions when a typed menu option cancelled" in said("menu ];")
    assert "Not giving up rest of instructions when a typed menu option cancelled" in said("menu [;")

    # Refusals.
    assert "Cannot provide more than four menu names!" in said("menu a/b/c/d/e;", error=True)
    assert "Menu name too long (" + "a" * 51 + "), max. 50 characters" in said("menu " + "a" * 60 + ";", error=True)
    assert 'No (available) menu option matches "nothing"' in said("menu file/nothing;", error=True)
    assert 'No (available) menu option matches "tree view"' in said("menu trees/tree view;", error=True)
    assert "Toggles can be only y/n/r" in said("menu format/show=x;", error=True)

    # An error in what was chosen ends all input.
    z.command("keep 0; tread (0 (1 (2 3)));")
    z.command("cls;")
    z.command("menu trees/multiple/show; quote not reached;", wait=False)
    z.press(z.dialog("Error"), "OK")
    z.nodialog()
    z.until(z.idle)
    assert "\nnot reached\n" not in z.text()
    assert "\nfine\n" in said("quote fine;")

    # Hiding and showing.
    bar = z.menuitem("File")
    text = said("menu -;")
    assert 'Not displaying menus (note: type "menu=;" at the command line to display again)' in text
    z.until(lambda: not g.has(bar, "SHOWING"))
    text = said("menu=;")
    assert "Displaying menus\n" in text and "Not" not in text
    z.until(lambda: g.has(bar, "SHOWING"))
    z.until(lambda: g.has(z.find("tool bar", None, z.window), "SHOWING"))

    # Typing errors are asked about when that is admitted.
    z.command("help >;")
    z.command("cls;")
    z.command("menu trees/dexcribe;", wait=False)
    box = z.dialog("Warning")
    assert any("Did you mean:" in l for l in z.labels(box))
    assert [t.get_name() for t in g.descendants(box) if t.get_role_name() == "push button"] == ["Yes", "No", "Cancel"]
    z.key("y")
    z.nodialog()
    z.until(z.idle)
    assert "Options now available under Trees/Describe:" in z.text()

    # But not when another item is the one named.
    z.command("menu format/output/no output to the file=y;")
    z.until(lambda: z.marked("Format", "Output", "No output to the file"))
    z.command("help <;")

    # Quit ends the program at once.
    z.command("menu file/quit;", wait=False)
    assert z.ended() == 0
g.done()
