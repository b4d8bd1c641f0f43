"""Choosers of files: asked for by a script, names that commands cannot take, files that cannot be opened."""
import os
import guitest as g

g.copyexamples()
for name in ("two words.dat", "odd;name.zel", "other.txt"):
    with open(g.WORK + "/" + name, "w") as f:
        f.write("quote contents;\nproc/;\n")

with g.zel() as z:
    z.command("warn -; mxram 64; macro =; var: name[60];")

    def asked(command, title):
        """The chooser that a command opens; its text is what follows."""
        z.command("cls;")
        z.command(command, wait=False)
        return z.dialog(title)

    def given(chooser, name):
        z.type(name)
        z.key("Return")
        z.until(lambda: not g.has(chooser, "SHOWING"))

    def said(line):
        z.until(lambda: z.idle() and "\n%s\n" % line in z.text(), line + "\nin " + z.text())

    # The script waits for a file to read, and has its whole path, with blanks as commands take them.
    TELL = "set 50 exstatus; quote '50' $name;"
    chooser = asked("getfname name read Matrix  to read; " + TELL, "Matrix to read")
    assert not z.idle()
    given(chooser, g.WORK + "/two words.dat")
    said("1 " + g.WORK + "/two^words.dat")
    z.command("procedure $name;")
    said("contents")

    # Given up, by key or button: the variable stays.
    for how in ("Escape", "Cancel"):
        chooser = asked("getfname name read Matrix to read; " + TELL, "Matrix to read")
        if how == "Escape":
            z.key(how)
        else:
            z.press(chooser, how)
        z.nodialog()
        said("0 " + g.WORK + "/two^words.dat")

    # Files of the extension are offered first; a name without one takes it.
    chooser = asked("getfname [*.zel] name read; " + TELL, "File to read")

    z.until(lambda: [t for t in g.descendants(chooser) if t.get_role_name() == "combo box" and t.get_name() == "Files *.zel"])
    given(chooser, g.WORK + "/bees.zel")
    said("1 " + g.WORK + "/bees.zel")
    chooser = asked("getfname [*.tre] name write Trees; " + TELL, "Trees")
    given(chooser, "mine")
    said("1 " + g.WORK + "/mine.tre")

    # A file that is there is replaced only when that is said.
    chooser = asked("getfname name write Text; " + TELL, "Text")
    z.type("other.txt")
    z.key("Return")
    z.until(lambda: z.find("alert", None))
    z.key("Escape")
    z.until(lambda: not [t for t in g.children(z.app) if t.get_role_name() == "alert" and g.has(t, "SHOWING")])
    z.key("Escape")
    z.nodialog()
    said("0 " + g.WORK + "/mine.tre")

    # A name of which a command would read a part only is refused.
    chooser = asked("getfname name read Matrix; " + TELL, "Matrix")
    given(chooser, g.WORK + "/odd;name.zel")
    box = z.until(lambda: z.find("alert", "Matrix"))
    assert any(l.startswith("Commands cannot take the name of this file:") for l in z.labels(box)), z.labels(box)
    z.key("Return")
    z.nodialog()
    said("0 " + g.WORK + "/mine.tre")

    # A loop of a script can ask again and again; an error in it gives the entry back.
    with open(g.WORK + "/ask.run", "w") as f:
        f.write("macro =; var: name[60];\nloop 1 3 getfname name read Round #1; quote #1 $name; stop\nproc/;\n")
    z.command("cls;")
    z.command("p ask.run;", wait=False)
    for i in (1, 2, 3):
        given(z.dialog("Round %i" % i), g.WORK + "/bees.zel")
    said("3 " + g.WORK + "/bees.zel")
    z.command("getfname 999 read Long;", wait=False)           # the last cell
    given(z.dialog("Long"), g.WORK + "/bees.zel")
    z.press(z.dialog("Error"), "OK")
    z.nodialog()
    z.until(z.idle)
    assert "String too long" in z.text()
    z.command("macro -;")

    # Files that cannot be opened are told, and nothing is open then.
    for item, title, message in (("file/open", "Open input file", "Can't open absent.zel"),
                                 ("file/output/open", "Open output file", "Cannot open file /nonexistent/out.txt"),
                                 ("file/tree save/open", "Open tree file", "Can't open file /nonexistent/t.tre")):
        z.command("cls;")
        if title == "Open tree file":
            z.command("p bees.zel;")
        z.command("menu %s;" % item, wait=False)
        dialog = z.dialog(title)
        if title == "Open input file":
            z.type(g.WORK + "/absent.zel")
        else:
            g.click([t for t in g.descendants(dialog) if t.get_role_name() == "text"][0])
            z.type(message.split()[-1])
        z.key("Return")
        z.press(z.dialog("Error"), "OK")
        z.nodialog()
        z.until(z.idle)
        assert message in z.text(), z.text()
        assert "No log file open" in z.labels() and not z.enabled("File", "Tree save file", "Close tree file")
    z.command("zzz;", wait=False)
    assert z.ended() == 0
g.done()
