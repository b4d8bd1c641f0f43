"""What the tests of the window share: a display, a bus and a window manager of their own, the
program under test, and its window as a user of a screen reader finds it.

    import guitest
    with guitest.zel("bees.zel") as z:
        z.command("length;")
        z.until(lambda: "Tree" in z.text())
    guitest.done()

A test ends in an assertion that fails, or in done().  Nothing measures time: until() waits for what
must become true, and gives up late.
"""
import os, re, shutil, signal, subprocess, sys, tempfile, time

ZEL = os.environ.get("ZEL", "zel")
EXAMPLES = os.environ.get("ZEL_EXAMPLES", "examples")
PATIENCE = float(os.environ.get("ZEL_PATIENCE", "60"))       # seconds until() waits at most
HERE = os.path.dirname(os.path.abspath(__file__))
NEEDED = ("Xvfb", "openbox", "xdotool", "dbus-daemon")

started = []                                                 # processes of ours, the newest last


def skip(why):
    print("skipped:", why)
    sys.exit(77)


def start(*command, **how):
    process = subprocess.Popen(command, **how)
    started.append(process)
    return process


def stopall():
    while started:
        process = started.pop()
        process.terminate()
        try:
            process.wait(10)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
    shutil.rmtree(scratch, ignore_errors=True)


def startdisplay():
    reading, writing = os.pipe()
    start("Xvfb", "-displayfd", str(writing), "-screen", "0", "1280x900x24", "-nolisten", "tcp", "-noreset",
          pass_fds=(writing,), stderr=subprocess.DEVNULL)
    os.close(writing)
    number = b""
    while not number.endswith(b"\n"):
        byte = os.read(reading, 1)
        assert byte, "no display"
        number += byte
    os.close(reading)
    return ":" + number.decode().strip()


def startbus():
    bus = start("dbus-daemon", "--session", "--nofork", "--print-address", stdout=subprocess.PIPE,
                stderr=subprocess.DEVNULL)
    return bus.stdout.readline().decode().strip()


for tool in NEEDED:
    if not shutil.which(tool):
        skip(tool + " is not installed")
scratch = tempfile.mkdtemp(prefix="zelgui")
for name, folder in (("HOME", "home"), ("XDG_DATA_HOME", "data"), ("XDG_CONFIG_HOME", "config"),
                     ("XDG_CACHE_HOME", "cache"), ("XDG_RUNTIME_DIR", "run"), ("work", "work")):
    path = os.path.join(scratch, folder)
    os.mkdir(path, 0o700)
    os.environ[name] = path
os.environ.update(GSETTINGS_BACKEND="memory", NO_AT_BRIDGE="0", GTK_MODULES="", LC_ALL="C.UTF-8", GDK_BACKEND="x11",
                  G_MESSAGES_DEBUG="")
os.environ.pop("WAYLAND_DISPLAY", None)
import atexit
atexit.register(stopall)
signal.signal(signal.SIGTERM, lambda *a: sys.exit(1))
os.environ["DISPLAY"] = startdisplay()
os.environ["DBUS_SESSION_BUS_ADDRESS"] = startbus()
start("openbox", "--sm-disable", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
try:
    import gi
    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi, GLib
except (ImportError, ValueError):
    skip("python3-gi or gir1.2-atspi-2.0 is not installed")
Atspi.init()
HOME, WORK = os.environ["HOME"], os.environ["work"]


def until(condition, what=""):
    """Waits until the condition is true, and returns its value."""
    end = time.monotonic() + PATIENCE
    while True:
        try:
            value = condition()
        except GLib.Error:
            value = None                                     # the thing asked went away meanwhile
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError("in vain waited for: " + (what or getsource(condition)))
        time.sleep(0.03)


def getsource(condition):
    import inspect
    try:
        return inspect.getsource(condition).strip()
    except OSError:
        return repr(condition)


def copyexamples():
    for name in os.listdir(EXAMPLES):
        shutil.copy(os.path.join(EXAMPLES, name), WORK)


def children(thing):
    thing.clear_cache()
    return [c for c in (thing.get_child_at_index(i) for i in range(thing.get_child_count())) if c]


def descendants(thing):
    for child in children(thing):
        yield child
        if child.get_role_name() not in ("menu bar", "table", "tree table"):
            yield from descendants(child)


def has(thing, state):
    thing.clear_cache()
    return thing.get_state_set().contains(getattr(Atspi.StateType, state))


class zel:
    def __init__(self, *arguments, env=None, wait=True):
        self.arguments, self.wait = arguments, wait
        self.env = dict(os.environ, **(env or {}))
        self.errors = os.path.join(scratch, "stderr%i" % time.monotonic_ns())

    def __enter__(self):
        with open(self.errors, "w") as f:
            self.process = start(ZEL, *self.arguments, cwd=WORK, env=self.env, stderr=f, stdin=subprocess.DEVNULL)
        if self.wait:
            self.app = until(self.findapp, "the program on the bus")
            self.window = until(lambda: self.find("frame", "ZEL"), "its window")
            self.view = self.find("text", "Text", self.window)
            self.entry = self.find("text", "Command", self.window)
            until(lambda: xdo("search", "--onlyvisible", "--name", "^ZEL$"), "the window on the screen")
            self.focus()
        return self

    def __exit__(self, kind, *rest):
        if self.process.poll() is None and not kind:
            self.process.terminate()
        if kind and self.process.poll() is None:
            self.tell()
            self.process.kill()
        self.process.wait()
        if self.process in started:
            started.remove(self.process)
        complaints = self.stderr()
        if kind:
            print(complaints)
        else:
            assert not complaints.strip(), "standard error:\n" + complaints

    def tell(self):
        """What a failure leaves on the screen."""
        try:
            for thing in children(self.app):
                print("showing" if has(thing, "SHOWING") else "hidden", thing.get_role_name(), thing.get_name(),
                      self.labels(thing) if thing.get_role_name() != "frame" else "")
            print("text ends in:", self.text()[-600:])
        except (AttributeError, GLib.Error) as problem:
            print("nothing can be said of the window:", problem)

    def stderr(self):
        with open(self.errors, errors="replace") as f:
            return f.read().replace("\a", "")       # the bell

    def findapp(self):
        assert self.process.poll() is None, "the program ended:\n" + self.stderr()
        for app in children(Atspi.get_desktop(0)):
            if app.get_process_id() == self.process.pid:
                return app

    # --- finding ---------------------------------------------------------------------------------

    def find(self, role, name=None, within=None):
        for thing in descendants(within or self.app):
            if thing.get_role_name() == role and (name is None or thing.get_name() == name):
                return thing

    def field(self, label, within):
        """What that label stands before."""
        for thing in descendants(within):
            for relation in thing.get_relation_set():
                if relation.get_relation_type() == Atspi.RelationType.LABELLED_BY \
                        and relation.get_target(0).get_name() == label:
                    return thing
        raise AssertionError("no field " + label)

    def dialog(self, title):
        """The dialog of that title, waited for."""
        def showing():
            for thing in children(self.app):
                if thing.get_name() == title and thing.get_role_name() in ("dialog", "alert", "file chooser") \
                        and has(thing, "SHOWING"):
                    return thing
        found = until(showing, "dialog " + title)
        until(lambda: has(found, "ACTIVE"), "the keyboard in dialog " + title)
        return found

    def nodialog(self):
        until(lambda: not [t for t in children(self.app) if t.get_role_name() != "frame" and has(t, "SHOWING")],
              "no dialog")

    def menuitem(self, *path):
        thing = [t for t in descendants(self.window) if t.get_role_name() == "menu bar"][0]
        for name in path:
            found = [t for t in children(thing) if t.get_name() == name]
            assert found, "no menu item %s of %s" % (name, path)
            thing = found[0]
        return thing

    def tool(self, name):
        bar = self.find("tool bar", None, self.window)
        return [t for t in descendants(bar) if t.get_name() == name and t.get_role_name() != "filler"][0]

    # --- looking ---------------------------------------------------------------------------------

    def text(self):
        return Atspi.Text.get_text(self.view, 0, -1)

    def typed(self):
        return Atspi.Text.get_text(self.entry, 0, -1)

    def labels(self, within=None):
        return [t.get_name() for t in descendants(within or self.window) if t.get_role_name() == "label" and has(t, "SHOWING")]

    def enabled(self, *path):
        return has(self.menuitem(*path), "ENABLED") and has(self.menuitem(*path), "SENSITIVE")

    def marked(self, *path):
        return has(self.menuitem(*path), "CHECKED")

    def idle(self):
        return has(self.entry, "SENSITIVE")

    def until(self, condition, what=""):
        assert self.process.poll() is None, "the program ended:\n" + self.stderr()
        return until(condition, what)

    # --- doing -----------------------------------------------------------------------------------

    def focus(self):
        def active():
            xdo("search", "--onlyvisible", "--name", "^ZEL$", "windowactivate")
            return any(has(thing, "ACTIVE") for thing in children(self.app))     # a box may stand over it
        until(active, "the window active")

    def key(self, *keys):
        xdo("key", "--delay", "20", *keys)

    def type(self, text):
        xdo("type", "--delay", "5", text)

    def command(self, text, wait=True):
        """Runs a command as if it were typed, and waits until it is done."""
        until(self.idle, "the entry ready")
        Atspi.EditableText.set_text_contents(self.entry, text)
        Atspi.Component.grab_focus(self.entry)
        until(lambda: has(self.window, "ACTIVE") and has(self.entry, "FOCUSED"), "the keyboard in the entry")
        self.key("Return")           # not the action of the entry: a box that it opens could not be asked then
        if wait:
            until(lambda: self.idle() and self.typed() == "", "the end of " + text)

    def choose(self, *path):
        """Clicks through the menus; the last word may be a function that finds the item.  What has a submenu below
        the bar is only pointed at: a click closes what has opened by itself meanwhile."""
        for depth, name in enumerate(path):
            find = name if callable(name) else lambda: self.menuitem(*path[:depth + 1])
            point(find, "%s of %s" % (name, path))
            if depth in (0, len(path) - 1):
                xdo("click", "1")

    def press(self, dialog, button):
        for thing in descendants(dialog):
            if thing.get_role_name() == "push button" and thing.get_name() == button:
                click(thing)
                return
        raise AssertionError("no button " + button)

    def close(self):
        """As the window manager closes it; with warnings on a box asks."""
        xdo("key", "--clearmodifiers", "alt+F4")

    def ended(self):
        return until(lambda: self.process.poll() is not None, "the end of the program") and self.process.returncode


def point(find, what):
    """Moves the mouse to the middle of what the function finds, found anew until it stays in its place."""
    x, y, width, height = until(lambda: settled(find()), "a place for " + what)
    xdo("mousemove", str(x + width // 2), str(y + height // 2))


def click(thing, times=1):
    point(lambda: thing, thing.get_name())
    xdo("click", "--repeat", str(times), "1")


def settled(thing):
    """The place (x, y, width, height) of something shown, once it stays there."""
    if not thing or not has(thing, "SHOWING"):
        return None
    first = Atspi.Component.get_extents(thing, Atspi.CoordType.SCREEN)
    time.sleep(0.05)
    thing.clear_cache()
    then = Atspi.Component.get_extents(thing, Atspi.CoordType.SCREEN)
    place = (then.x, then.y, then.width, then.height)
    return place if place == (first.x, first.y, first.width, first.height) and then.width > 0 and then.x >= 0 else None


def xdo(*words):
    done = subprocess.run(("xdotool",) + words, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    return done.stdout.decode().strip()


def done():
    print("passed")
    sys.exit(0)
