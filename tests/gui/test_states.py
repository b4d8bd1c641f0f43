"""What menus and tools can be chosen, and their marks, after the state of the program."""
import guitest as g

MENUS = {
    "File": ["Open input file...", "Close data", "New matrix...", "Read trees...", "Merge data", "Output file",
             "Tree save file", "Command line", "Recent files", "Quit"],
    "Trees": ["Tree view", "Display trees...", "Multiple tags", "Edit trees", "Tree vault", "Consensus...", "Supertree...",
              "Comparisons", "Bremer supports", "Swapping moves", "Tree buffer", "Describe", "Taxonomy", "Monophyly",
              "Reroot...", "Random trees..."],
}
COUNTS = {"File": 10, "Trees": 16, "Optimize": 11, "Data": 16, "Analyze": 11, "Settings": 14, "Format": 10, "Help": 5}

g.copyexamples()
with g.zel() as z:
    bar = [t for t in g.descendants(z.window) if t.get_role_name() == "menu bar"][0]
    assert [t.get_name() for t in g.children(bar)] == list(COUNTS)
    for menu, count in COUNTS.items():
        names = [t.get_name() for t in g.children(z.menuitem(menu))]
        assert len(names) == count, names
        assert names == MENUS.get(menu, names)
    tools = g.children(z.find("tool bar", None, z.window))
    assert len(tools) == 22, len(tools)

    def states(expected):
        for path, value in expected.items():
            path = path.split("/")
            assert z.enabled(*path) == value, (path, value)

    # Without data.
    states({"File": True, "Settings": True, "Format": True, "Help": True, "Trees": False, "Data": False,
            "Analyze": False, "Optimize": False, "File/Close data": False, "File/Read trees...": False,
            "File/Open input file...": True, "File/Tree save file": False, "Format/Data/DNA": True})

    # Data, no trees.
    z.command("warn -; mxram 64; p bees.zel;")
    states({"Trees": True, "Data": True, "Analyze": True, "File/Close data": True, "File/Read trees...": True,
            "Trees/Display trees...": False, "Trees/Consensus...": False, "Trees/Random trees...": True,
            "Trees/Tree vault": False, "Data/Active taxa...": True, "Data/Show constraints": False,
            "Data/Character settings...": True, "Format/Data/DNA": False,
            "Analyze/Traditional search...": True})

    # One tree, then two; tags, constraints, reference, vault.
    z.command("tread (0 (1 (2 3)));")
    states({"Trees/Display trees...": True, "Trees/Consensus...": True, "Trees/Supertree...": False,
            "Trees/Comparisons": False, "Trees/Tree buffer/Select trees...": False,
            "Trees/Multiple tags/Show tags": True, "Trees/Multiple tags/Clear tags": False,
            "Optimize/Compare with reference...": False, "Optimize/Define reference tree...": True})
    z.command("p bees_ten.tre; force + [1 2]; xcomp = 1; ttags =; tplot 0; ttags );")
    states({"Trees/Supertree...": True, "Trees/Comparisons": True, "Trees/Tree buffer/Select trees...": True,
            "Data/Show constraints": True, "Optimize/Compare with reference...": True,
            "Trees/Multiple tags/Clear tags": True})
    z.command("hold 30/5;")
    states({"Trees/Tree vault": True, "Trees/Tree vault/Save to vault...": True, "Trees/Tree vault/Clear vault": False,
            "Trees/Tree vault/Get from vault...": True})
    z.command("tvault > 0.4;")
    states({"Trees/Tree vault/Save to vault...": False, "Trees/Tree vault/Get from vault...": True,
            "Trees/Tree vault/Clear vault": True})

    # What cannot be done yet is no dead end.
    states({"Trees/Tree view": False})

    # Marks follow the settings, whether typed or chosen.
    def marks(expected):
        for path, value in expected.items():
            z.until(lambda: z.marked(*path.split("/")) == value, path)

    marks({"Format/Show node numbers": False, "Settings/Tools": True, "File/Command line": True,
           "Settings/Reports/Warnings": False, "Format/Data/16 states": True, "Format/Data/32 states": False,
           "Format/Data/Read gaps as missing": True, "Settings/Add groups of trees": True,
           "Analyze/Quick collapsing": True, "Analyze/Time limit...": False})
    z.command("naked -; warn =; watch =; taxname =; absincl =; qcollapse -; timeout 0:10:00; tables =; tgroup noauto; cnames =;"
              "silent = file; help >; nstates gaps;")
    marks({"Format/Show node numbers": True, "Settings/Reports/Warnings": True, "Settings/Stopwatch": True,
           "Format/Taxon names": True, "Settings/Include absent taxa": True, "Analyze/Quick collapsing": False,
           "Analyze/Time limit...": True, "Format/Optional tables": True, "Settings/Add groups of trees": False,
           "Format/Character names": True, "Format/Output/No output to the file": True,
           "Settings/Reports/Check typing errors": True, "Format/Data/Read gaps as missing": False})
    z.choose("Format", "Output", "Plain ASCII trees")
    marks({"Format/Output/Plain ASCII trees": True})
    z.choose("Format", "Output", "Plain ASCII trees")
    marks({"Format/Output/Plain ASCII trees": False})
    z.choose("Format", "Show node numbers")
    marks({"Format/Show node numbers": False})
    assert "> naked =;" in z.text()
    z.choose("Format", "Show node numbers")
    marks({"Format/Show node numbers": True})

    # A mark whose command fails stays as it was.
    z.command("help <; xwipe;")
    z.choose("Format", "Data", "32 states")
    marks({"Format/Data/32 states": True, "Format/Data/16 states": False})
    z.choose("Format", "Data", "32 states")
    marks({"Format/Data/32 states": True})

    # The entry and the tools can be hidden and come back.
    z.choose("File", "Command line")
    z.until(lambda: not g.has(z.entry, "SHOWING"))
    z.choose("File", "Command line")
    z.until(lambda: g.has(z.entry, "SHOWING"))
    z.choose("Settings", "Tools")
    z.until(lambda: z.find("tool bar", None, z.window) is None or not g.has(z.find("tool bar", None, z.window), "SHOWING"))
    z.choose("Settings", "Tools")
    z.until(lambda: g.has(z.find("tool bar", None, z.window), "SHOWING"))

    # While a search runs nothing can be chosen, the window is drawn and answers, and Esc stops it.
    z.command("warn -; report =; xread / 100 60 4; help;")
    z.command("mult = replic 100000;", wait=False)
    z.until(lambda: not z.idle())
    z.until(lambda: "Repl." in z.text())
    assert not g.has(z.menuitem("File"), "SENSITIVE")

    # Its last line is in sight, and renewed; who reads what came before is not called back.
    def lines():
        return [l for l in z.labels() if l.startswith("Lines ")][0]

    def progress():
        return z.text().rsplit("\n", 1)[-1]

    z.until(lambda: lines().split("-")[1].split(" of ")[0] == lines().split(" of ")[1])
    z.key("Prior", "Prior")
    z.until(lambda: lines().split("-")[1].split(" of ")[0] != lines().split(" of ")[1])
    for _ in range(2):
        before = progress()
        z.until(lambda: progress() not in (before, ""), "another line of progress")
    assert lines().split("-")[1].split(" of ")[0] != lines().split(" of ")[1], lines()
    z.key("ctrl+q")
    z.key("p")
    pause = z.dialog("Program paused...")
    z.press(pause, "OK")
    z.nodialog()
    z.key("Escape")
    z.until(z.idle)
    assert z.enabled("File")
    z.command("quote still here;")
    assert "still here" in z.text()
    z.command("zzz;", wait=False)
    assert z.ended() == 0
g.done()
