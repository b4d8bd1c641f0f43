"""The files of the home folder: kept from run to run, refused when obsolete, told when damaged."""
import os
import guitest as g

STORY = g.HOME + "/.zel_guistory"
OBSOLETE = "File ~/.zel_guistory seems to be obsolete.\nIgnoring history and re-setting all defaults\n"
DAMAGED = "File ~/.zel_guistory is damaged."

g.copyexamples()


def read(name):
    with open(name, "rb") as f:
        return f.read()


def write(name, what):
    with open(name, "wb") as f:
        f.write(what)


def size(z):
    z.window.clear_cache()
    place = g.Atspi.Component.get_extents(z.window, g.Atspi.CoordType.SCREEN)
    return place.width, place.height


def leave(z, status=0):
    z.command("zzz;", wait=False)
    assert z.ended() == status


# The first start: no history, the window maximized, all defaults.  What is set is kept.
with g.zel() as z:
    assert OBSOLETE not in z.text() and DAMAGED not in z.text()
    assert z.marked("Settings", "Reports", "Warnings") and not z.marked("Format", "Taxon names")
    z.until(lambda: size(z)[0] == 1280)                      # all of the screen
    z.command("warn -; taxname =; tables =; tables /3; naked -; watch =; tgroup +100;")
    z.choose("Settings", "Tools")
    leave(z)
good = read(STORY)
assert len(good) == 85
assert b"warn -; taxname =" in read(g.HOME + "/.zel_command_history")

# The next start has them, and the lines typed.
with g.zel() as z:
    assert not z.marked("Settings", "Reports", "Warnings")
    for item in ("Taxon names", "Optional tables", "Show node numbers"):
        assert z.marked("Format", item), item
    assert z.marked("Settings", "Stopwatch") and not z.marked("Settings", "Tools")
    z.command("tables/;")
    assert "Floating point precision is 3" in z.text()
    z.key("Up", "Up", "Up")
    z.until(lambda: z.typed().startswith("warn -; taxname ="))
    z.key("Escape")
    leave(z)

# The size of the window is kept, and whether it was maximized.
with g.zel() as z:
    z.until(lambda: size(z)[0] == 1280)
    window = g.xdo("search", "--onlyvisible", "--name", "^ZEL$")
    g.xdo("mousemove", "300", "8", "click", "--repeat", "2", "--delay", "60", "1")      # its title: no longer maximized
    z.until(lambda: size(z)[0] < 1280)
    g.xdo("windowsize", window, "1000", "540")
    z.until(lambda: size(z)[1] < 600)
    kept = size(z)
    leave(z)
with g.zel() as z:
    z.until(lambda: size(z) == kept, "the size of before")
    leave(z)

# Files of another size are not read.
for wrong in (good[:84], good + b"\0", b""):
    write(STORY, wrong)
    with g.zel() as z:
        assert OBSOLETE in z.text(), len(wrong)
        assert z.marked("Settings", "Reports", "Warnings") and not z.marked("Format", "Taxon names")
        z.command("warn -;")
        leave(z)
    assert len(read(STORY)) == 85

# 85 bytes are; a flag that is none becomes 1, and a wrong check value is told.
damaged = bytearray(good)
damaged[1] = 7                                               # warnings
write(STORY, damaged)
with g.zel() as z:
    assert DAMAGED in z.text()
    assert z.marked("Settings", "Reports", "Warnings") and z.marked("Format", "Taxon names")
    z.command("warn -;")
    leave(z)
damaged = bytearray(good)
damaged[-1] ^= 0xff
write(STORY, damaged)
with g.zel() as z:
    assert DAMAGED in z.text() and z.marked("Format", "Taxon names")
    z.command("tgroup +65;")
    leave(z)
write(STORY, os.urandom(85))
with g.zel() as z:
    z.command("quote alive;")
    assert "\nalive\n" in z.text()
    z.command("warn -;")
    leave(z)

# Places where no screen is any more are not gone back to.
far = bytearray(good)
far[15:19] = (15000).to_bytes(4, "little")                   # x; the window was not maximized
far[31] = 0
write(STORY, far)
with g.zel() as z:
    z.window.clear_cache()
    place = g.Atspi.Component.get_extents(z.window, g.Atspi.CoordType.SCREEN)
    assert place.x < 1280, place.x
    leave(z)

# Lines of a damaged history are shown as far as they can be, and the program goes on.
LINES = g.HOME + "/.zel_command_history"
write(LINES, b"quote fine;\nquote \xff\xfe\x80 broken \x01;\n" + bytes(range(128, 256)) + b"\n" + b"x" * 100000 + b"\n\n")
with g.zel() as z:
    z.command("quote alive;")
    assert "\nalive\n" in z.text()
    for _ in range(6):
        z.key("Up")
    z.until(lambda: z.typed() == "quote fine;")
    z.key("Escape")
    z.key("ctrl+r")
    z.type("broken")
    z.until(lambda: "broken" in z.typed())
    z.key("Escape", "Escape")
    leave(z)

# Folders where the files should be: told at the start and at the end.
os.remove(LINES)
os.remove(STORY)
os.mkdir(LINES)
os.mkdir(STORY)
with g.zel() as z:
    assert OBSOLETE in z.text()
    assert "Cannot write ~/.zel_command_history: commands typed will not be kept" in z.text()
    z.command("quote alive;")
    assert "\nalive\n" in z.text()
    z.command("warn -;")
    leave(z)
    complaints = z.stderr()
    assert "Cannot write %s: " % LINES in complaints and "Cannot write %s: settings are not kept" % STORY in complaints
    write(z.errors, b"")
os.rmdir(LINES)
os.rmdir(STORY)

# A home that cannot be written: told at the start and at the end, and nothing else is lost.
with g.zel("bees.zel", env={"HOME": "/nonexistent", "XDG_DATA_HOME": "/dev/null/data"}) as z:
    z.until(lambda: "20x14" in z.text() and z.idle())
    assert "Cannot write ~/.zel_command_history: commands typed will not be kept" in z.text()
    z.command("quote alive;")
    assert "\nalive\n" in z.text()
    z.command("warn -;")
    leave(z)
    complaints = z.stderr()
    assert "Cannot write /nonexistent/.zel_command_history" in complaints
    assert "Cannot write /nonexistent/.zel_guistory: settings are not kept" in complaints
    write(z.errors, b"")
g.done()
