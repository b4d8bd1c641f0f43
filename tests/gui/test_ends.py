"""The program ended from outside: by a signal, and by the display that goes away.  What was written is kept."""
import os, signal
import guitest as g

g.copyexamples()


def read(name, folder=g.WORK):
    with open(os.path.join(folder, name)) as f:
        return f.read()


def atwork(name):
    """A program with an output file and a tree file open."""
    z = g.zel()
    z.__enter__()
    z.command("warn -; mxram 64; p bees.zel; p bees_ten.tre; log %s.txt; tsave *%s.tre; save 0.2; quote about %s;" % (name, name, name))
    return z


def kept(name):
    trees = read(name + ".tre")
    assert trees.endswith(";\nproc/;\n") and trees.count("*") == 2, trees
    assert read(name + ".txt").endswith("about %s\n" % name)
    assert "quote about %s;" % name in read(".zel_command_history", g.HOME)
    assert os.path.getsize(g.HOME + "/.zel_guistory") == 85
    os.remove(g.HOME + "/.zel_guistory")


# A signal ends it as "exit" does, whatever it is doing.
for name, end in (("idle", signal.SIGTERM), ("hungup", signal.SIGHUP)):
    z = atwork(name)
    z.process.send_signal(end)
    assert z.ended() == 0
    z.__exit__(None)
    kept(name)
z = atwork("asking")
z.command("menu trees/consensus;", wait=False)
z.dialog("Consensus")
z.process.send_signal(signal.SIGTERM)
assert z.ended() == 0
z.__exit__(None)
kept("asking")
z = atwork("searching")
z.command("mult = replic 100000;", wait=False)
z.until(lambda: "Repl." in z.text())
z.process.send_signal(signal.SIGTERM)
assert z.ended() == 0
z.__exit__(None)
assert read("searching.tre").endswith(";\nproc/;\n")

# Without a display it ends as well, and says why.
z = atwork("alone")
display = [p for p in g.started if "Xvfb" in p.args[0]][0]
display.kill()
assert z.ended() == 1
assert z.stderr() == "The display has gone: files are closed and the program ends\n", z.stderr()
kept("alone")
g.done()
