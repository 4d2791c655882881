"""A guest desktop for the end-to-end tests of the window: Xvfb with a window
manager (openbox), the program in it with Qt's accessibility bridge on, and
what a person uses to work it: real keys and clicks from xdotool, the
screen's pixels, the window manager's properties and the AT-SPI tree a
screen reader reads. main() runs the test in its own session bus
(dbus-run-session, which starts the accessibility bus too) with its own
home and XDG folders; every process started here dies with the test, and
the folders go."""

import atexit
import os
import select
import shutil
import subprocess
import sys
import tempfile
import time
import zlib

import pyatspi


class Failure(Exception):
    pass


def fail(what):
    raise Failure(what)


def wait(what, test, timeout=15):
    """Polls until test() gives a true value, which it returns; a state
    that never comes fails with `what`."""
    end = time.monotonic() + timeout
    while True:
        got = test()
        if got:
            return got
        if time.monotonic() > end:
            fail(what)
        time.sleep(0.05)


def orphan_proof(command):
    return ["setpriv", "--pdeathsig", "KILL", "--"] + command


class Screen:
    """One picture of the whole screen, pixel by pixel."""

    def __init__(self, display):
        data = subprocess.run(["import", "-display", display, "-window", "root", "-depth", "8",
                               "ppm:-"], check=True, capture_output=True).stdout
        fields, at = [], 0
        while len(fields) < 4:
            while data[at:at + 1].isspace():
                at += 1
            start = at
            while not data[at:at + 1].isspace():
                at += 1
            fields.append(data[start:at])
        self.width, self.height = int(fields[1]), int(fields[2])
        self.pixels = data[at + 1:]

    def at(self, x, y):
        i = (y * self.width + x) * 3
        return tuple(self.pixels[i:i + 3])

    def colours(self, left, top, width, height):
        return {self.at(x, y) for y in range(top, top + height) for x in range(left, left + width)}


class Guest:
    def __init__(self, tavrel, samples, size="1024x768", scale=None):
        self.tmp = os.environ["TAVREL_GUEST"]
        self.home = os.environ["HOME"]
        self.config = os.environ["XDG_CONFIG_HOME"]
        atexit.register(self.close)
        self.children = []
        self.width, self.height = (int(n) for n in size.split("x"))
        read, write = os.pipe()
        self.spawn(["Xvfb", "-displayfd", str(write), "-screen", "0", size + "x24", "-nolisten",
                    "tcp", "-noreset"], pass_fds=(write,), log=os.path.join(self.tmp, "xvfb"))
        os.close(write)
        # The number comes, then its newline: the pipe stays open for both.
        number = b""
        while not number.endswith(b"\n"):
            if not select.select([read], [], [], 15)[0]:
                fail("Xvfb did not start")
            got = os.read(read, 64)
            if not got:
                fail("Xvfb did not start")
            number += got
        os.close(read)
        self.display = ":" + number.decode().strip()
        self.env = dict(os.environ, DISPLAY=self.display, QT_QPA_PLATFORM="xcb",
                        QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.env.pop("TAVREL_SCALE", None)
        if scale:
            self.env["TAVREL_SCALE"] = scale
        wait("the X server answers", lambda: self.run(["xdotool", "getmouselocation"], ok=True),
             timeout=30)
        self.spawn(["openbox", "--sm-disable"])
        wait("the window manager runs",
             lambda: "window id" in self.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"],
                                             ok=True))
        self.app = self.spawn([tavrel], cwd=samples, log=os.path.join(self.tmp, "log"))
        self.window = wait("the window shows", lambda: self.run(
            ["xdotool", "search", "--onlyvisible", "--name", "^Tavrel$"], ok=True).split())[0]
        wait("the window is in the accessibility tree", self.accessible)

    def spawn(self, command, cwd=None, log=None, pass_fds=()):
        out = open(log, "w") if log else subprocess.DEVNULL
        env = getattr(self, "env", os.environ)
        child = subprocess.Popen(orphan_proof(command), cwd=cwd, env=env, stdout=out,
                                 stderr=subprocess.STDOUT, pass_fds=pass_fds)
        self.children.append(child)
        return child

    def close(self):
        for child in reversed(self.children):
            if child.poll() is None:
                child.kill()
                child.wait()
        self.children = []
        shutil.rmtree(self.tmp, ignore_errors=True)

    def log(self):
        with open(os.path.join(self.tmp, "log")) as f:
            return f.read()

    def run(self, command, ok=False):
        done = subprocess.run(command, env=self.env, capture_output=True, text=True)
        if done.returncode != 0:
            if ok:
                return ""
            fail(" ".join(command) + ": " + done.stderr.strip())
        return done.stdout or "ran"

    # Input, as a person gives it.
    def keys(self, *names):
        self.run(["xdotool", "key", "--delay", "60"] + list(names))

    def type(self, text):
        self.run(["xdotool", "type", "--delay", "60", text])

    def click(self, x, y):
        self.run(["xdotool", "mousemove", str(x), str(y), "click", "1"])

    def move(self, x, y):
        self.run(["xdotool", "mousemove", str(x), str(y)])

    # What the screen and the window manager show.
    def screen(self):
        return Screen(self.display)

    def wm_state(self):
        out = self.run(["xprop", "-id", self.window, "_NET_WM_STATE"])
        return {w.strip(" ,\n").replace("_NET_WM_STATE_", "") for w in out.split("=")[-1].split()
                if w.startswith("_NET_WM_STATE_")}

    def geometry(self):
        out = self.run(["xdotool", "getwindowgeometry", "--shell", self.window])
        g = dict(line.split("=") for line in out.split())
        return int(g["X"]), int(g["Y"]), int(g["WIDTH"]), int(g["HEIGHT"])

    def pointer_shows(self):
        from Xlib import display
        d = display.Display(self.display)
        try:
            d.xfixes_query_version()
            image = d.xfixes_get_cursor_image(d.screen().root)
            return any(p >> 24 for p in image.cursor_image)
        finally:
            d.close()

    # The AT-SPI tree, as a screen reader reads it.
    def accessible(self):
        desktop = pyatspi.Registry.getDesktop(0)
        for i in range(desktop.childCount):
            app = desktop.getChildAtIndex(i)
            if app is not None and app.name == "tavrel":
                app.clear_cache()
                return app
        return None

    def nodes(self, root=None):
        """Every node of the tree, depth first, as (node, role, name, states)."""
        stack = [root or self.accessible()]
        while stack:
            node = stack.pop()
            if node is None:
                continue
            try:
                states = {pyatspi.stateToString(s) for s in node.getState().getStates()}
                yield node, node.getRoleName(), node.name, states
                stack.extend(node.getChildAtIndex(i) for i in reversed(range(node.childCount)))
            except Exception:  # a node that went away while read
                continue

    def find(self, name, role=None, showing=True):
        for node, r, n, states in self.nodes():
            if n == name and (role is None or r == role) and (not showing or "showing" in states):
                return node
        return None

    def showing(self, name, role=None):
        return self.find(name, role) is not None

    def focused(self):
        """The names of what has the keys: the menu titles and entries on the
        way to it, or the control."""
        return [n for _, r, n, s in self.nodes()
                if "focused" in s and "showing" in s and r not in ("menu bar", "popup menu")]

    def expect_focus(self, where, context):
        """Waits for the keys to be at `where`, or fails saying where they are."""
        try:
            wait("", lambda: self.focused() == where, timeout=8)
        except Failure:
            fail(f"{context}: the keys are at {self.focused()}, not {where}")

    def ticked(self, name):
        for _, r, n, s in self.nodes():
            if n == name and r == "menu item":
                return "checked" in s
        fail("no menu entry " + name)

    def extents(self, node):
        e = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        return e.x, e.y, e.width, e.height

    def click_node(self, node):
        x, y, w, h = self.extents(node)
        self.click(x + w // 2, y + h // 2)

    def choose(self, *path):
        """Clicks a menu entry by its caption, through the menus above it."""
        for i, caption in enumerate(path):
            node = wait("the menu entry " + caption + " shows",
                        lambda: self.find(caption, "menu item"))
            if i + 1 < len(path):
                # A title opens its menu, an entry heading a submenu opens it too.
                self.click_node(node)
                wait("the menu under " + caption + " opens",
                     lambda: self.showing(path[i + 1], "menu item"))
            else:
                self.click_node(node)

    def picture_name(self):
        for _, r, n, s in self.nodes():
            if r == "image" and "showing" in s and n.startswith(("Shape", "Pattern")):
                return n
        return None

    def text(self, name):
        node = self.find(name, "text")
        t = node.queryText()
        return t.getText(0, t.characterCount)

    def begin(self):
        """Through "Click to begin" by the keyboard, to the first picture."""
        self.expect_focus(["Click to begin"], "the start screen")
        self.keys("space")
        wait("the first picture", self.picture_name)
        wait("the menus", lambda: self.showing("Options", "menu item"))


def recipe_of(png):
    """The fields of the recipe a saved picture carries."""
    with open(png, "rb") as f:
        data = f.read()
    at = 8
    while at < len(data):
        length = int.from_bytes(data[at:at + 4], "big")
        kind = data[at + 4:at + 8]
        body = data[at + 8:at + 8 + length]
        at += 12 + length
        if kind == b"iTXt" and body.startswith(b"Tavrel recipe\0"):
            rest = body[len(b"Tavrel recipe\0"):]
            packed, rest = rest[0], rest[2:]
            rest = rest.split(b"\0", 2)[2]  # after the language and translated keyword
            text = (zlib.decompress(rest) if packed else rest).decode()
            return dict(line.split("=", 1) for line in text.splitlines() if "=" in line)
    fail(png + " carries no recipe")


def main(test):
    """Runs test() in a bus and folders of its own; a failure is one line."""
    if "TAVREL_GUEST" not in os.environ:
        tmp = tempfile.mkdtemp(prefix="tavrel-e2e-")
        folders = {"HOME": "home", "XDG_CONFIG_HOME": "config", "XDG_CACHE_HOME": "cache",
                   "XDG_DATA_HOME": "data", "XDG_RUNTIME_DIR": "runtime"}
        for variable, folder in folders.items():
            os.environ[variable] = os.path.join(tmp, folder)
            os.mkdir(os.environ[variable], 0o700)
        os.mkdir(os.path.join(tmp, "home", "Pictures"))
        os.environ["TAVREL_GUEST"] = tmp
        os.execvp("dbus-run-session", ["dbus-run-session", "--", sys.executable] + sys.argv)
    try:
        test()
        log = os.path.join(os.environ["TAVREL_GUEST"], "log")
        if os.path.exists(log):
            with open(log) as f:
                said = f.read()
            if "Sanitizer" in said or "runtime error" in said:
                fail("a sanitizer spoke:\n" + said)
    except Failure as f:
        print("FAIL:", f)
        sys.exit(1)
    print("passed")
