#!/usr/bin/python3
"""The real tavrel under Xvfb at each screen and desktop dpi of the table:
Qt's factor and the program's scale (the program's own report, through Qt's
logging), so that nothing is scaled twice; and where the table says so, the
file, print and colour dialogs whole: read back through the accessibility
bus, each part with its text at the size it has at the design size, the
dialog on the screen at that size times Qt's factor.

Usage: display_scale.py TAVREL SAMPLES_DIR
"""
import os
import re
import subprocess
import sys
import tempfile
import time

# screen     dpi  TAVREL_SCALE  Qt  program  dialogs   display given by
ROWS = """
1024x768     96   -             1   1        design    DISPLAY
1920x1080    96   -             1   1.92     -         -display
1920x1080    192  -             2   0.96     -         DISPLAY
3840x2160    96   -             3   1.28     compared  DISPLAY
3840x2160    192  -             2   1.92     compared  -display
3840x2160    96   2             2   1        -         DISPLAY
3840x2160    192  1             2   0.5      -         DISPLAY
"""

# The menu entry that opens a dialog, and the dialog's title.
DIALOGS = [("Import color scale", "Import color scale"), ("Print pattern (press \"P\")", "Print pattern"),
           ("Edit colors", "Edit colors")]

# A guest: its folders of its own, and a session bus of its own, whose
# accessibility bus keeps its sockets there too.
if sys.argv[1] != "--in-session":
    with tempfile.TemporaryDirectory() as scratch:
        runtime = os.path.join(scratch, "runtime")
        os.makedirs(runtime, mode=0o700)
        env = dict(os.environ, XDG_RUNTIME_DIR=runtime, XDG_CONFIG_HOME=scratch,
                   HOME=os.path.join(scratch, "home"))
        os.makedirs(env["HOME"])
        sys.exit(subprocess.run(["dbus-run-session", "--", sys.executable, __file__, "--in-session"]
                                + sys.argv[1:], env=env).returncode)
tavrel, samples = sys.argv[2], sys.argv[3]
scratch = os.environ["XDG_CONFIG_HOME"]
# The same home in every row: the file dialog shows it.
home = os.environ["HOME"]
failures = []


def fail(message):
    failures.append(message)
    print("FAIL:", message)


def orphan_proof(argv):
    return ["setpriv", "--pdeathsig", "KILL", "--"] + argv


def until(test, seconds=10):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        value = test()
        if value:
            return value
        time.sleep(0.1)
    return None


class Xvfb:
    def __init__(self, size, dpi):
        read, write = os.pipe()
        self.process = subprocess.Popen(
            orphan_proof(["Xvfb", "-displayfd", str(write), "-screen", "0", size + "x24",
                          "-nolisten", "tcp", "-noreset"]),
            pass_fds=[write], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as f:
            self.display = ":" + f.readline().strip()
        self.env = dict(os.environ, DISPLAY=self.display)
        until(lambda: subprocess.run(["xdotool", "getmouselocation"], env=self.env,
                                     capture_output=True).returncode == 0)
        # The desktop's scale, as xrdb leaves it.
        subprocess.run(["xprop", "-root", "-f", "RESOURCE_MANAGER", "8s", "-set",
                        "RESOURCE_MANAGER", "Xft.dpi:\t%d\n" % dpi], env=self.env, check=True)

    def stop(self):
        self.process.kill()
        self.process.wait()


def accessible_app(name):
    import pyatspi

    def look():
        desktop = pyatspi.Registry.getDesktop(0)
        for i in range(desktop.childCount):
            app = desktop.getChildAtIndex(i)
            if app is not None and app.name == name:
                return app
        return None
    return until(look)


def descendants(node):
    for i in range(node.childCount):
        child = node.getChildAtIndex(i)
        if child is not None:
            yield child
            yield from descendants(child)


def extents(node):
    import pyatspi
    e = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    return e.width, e.height


def press(node, action):
    a = node.queryAction()
    for i in range(a.nActions):
        if a.getName(i) == action:
            a.doAction(i)
            return True
    return False


def named(root, role, name):
    return next((n for n in descendants(root) if n.getRoleName() == role and n.name == name), None)


def parts(dialog):
    """The dialog's parts on the screen: role, text and size, in Qt's pixels."""
    return [(n.getRoleName(), n.name, *extents(n)) for n in descendants(dialog)
            if extents(n)[0] > 0 and extents(n)[1] > 0]


def window_geometry(env, title):
    ids = subprocess.run(["xdotool", "search", "--name", "^%s$" % re.escape(title)], env=env,
                         capture_output=True, text=True).stdout.split()
    if not ids:
        return None
    out = subprocess.run(["xdotool", "getwindowgeometry", "--shell", ids[-1]], env=env,
                         capture_output=True, text=True).stdout
    g = dict(line.split("=") for line in out.split())
    return int(g["X"]), int(g["Y"]), int(g["WIDTH"]), int(g["HEIGHT"])


def near(a, b):
    return abs(a - b) <= max(3, 0.05 * b)


design = {}
for line in ROWS.strip().splitlines():
    size, dpi, override, qt, program, dialogs, given = line.split()
    row = "%s at %s dpi%s, by %s" % (size, dpi, "" if override == "-" else ", TAVREL_SCALE=" + override,
                                      given)
    screen_w, screen_h = map(int, size.split("x"))
    x = Xvfb(size, int(dpi))
    env = dict(x.env, QT_QPA_PLATFORM="xcb",
               QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_LOGGING_RULES="tavrel.scale.debug=true")
    env.pop("TAVREL_SCALE", None)
    if override != "-":
        env["TAVREL_SCALE"] = override
    log = open(os.path.join(scratch, "log"), "w+")
    argv, app_env = [tavrel], dict(env)
    if given == "-display":  # Qt's own option, which the program reads as Qt does
        argv += ["-display", app_env.pop("DISPLAY")]
    app = subprocess.Popen(orphan_proof(argv), cwd=samples, env=app_env, stdout=log, stderr=log)
    try:
        said = until(lambda: re.search(r"display scale ([\d.]+): Qt ([\d.]+), the program ([\d.]+)",
                                       open(log.name).read()))
        if not said:
            fail("%s: no display scale reported" % row)
            continue
        print("%s: display scale %s, Qt %s, the program %s" % (row, *said.groups()))
        if float(said.group(2)) != float(qt) or abs(float(said.group(3)) - float(program)) > 1e-9:
            fail("%s: Qt %s and the program %s, where %s and %s were due" %
                 (row, said.group(2), said.group(3), qt, program))
        if dialogs == "-":
            continue
        accessible = accessible_app("tavrel")
        if not accessible:
            fail("%s: the window is not on the accessibility bus" % row)
            continue
        # "Click to begin" has the keyboard; the menus come with the first shape.
        subprocess.run(["xdotool", "mousemove", str(screen_w // 2), str(screen_h // 2), "click",
                        "1", "key", "space"], env=env, check=True)
        for entry, title in DIALOGS:
            item = until(lambda: named(accessible, "menu item", entry))
            if not item or not until(lambda: press(item, "Press")):
                fail("%s: no menu entry %s" % (row, entry))
                continue
            dialog = until(lambda: next((w for w in descendants(accessible)
                                         if w.getRoleName() == "dialog" and w.name == title), None))
            if not dialog:
                fail("%s: %s did not open" % (row, title))
                continue
            seen = parts(dialog)
            if dialogs == "design":
                design[title] = seen
            else:
                texts = [(role, text) for role, text, _, _ in seen]
                if texts != [(role, text) for role, text, _, _ in design.get(title, [])]:
                    fail("%s: %s shows %s, at the design size %s" %
                         (row, title, texts, [p[:2] for p in design.get(title, [])]))
                for (role, text, w, h), (_, _, w0, h0) in zip(seen, design.get(title, [])):
                    if not (near(w, w0) and near(h, h0)):
                        fail("%s: in %s the %s '%s' is %dx%d, at the design size %dx%d" %
                             (row, title, role, text, w, h, w0, h0))
            # On the screen: the whole dialog, Qt's factor times its size in Qt's pixels.
            g = window_geometry(env, title)
            w, h = extents(dialog)
            if not g:
                fail("%s: no window for %s" % (row, title))
            elif not (near(g[2], w * float(qt)) and near(g[3], h * float(qt))):
                fail("%s: %s is %dx%d on the screen, %dx%d in Qt's pixels at Qt %s" %
                     (row, title, g[2], g[3], w, h, qt))
            elif g[0] < 0 or g[1] < 0 or g[0] + g[2] > screen_w or g[1] + g[3] > screen_h:
                fail("%s: %s at %s is not whole on the screen" % (row, title, g))
            else:
                print("%s: %s, %d parts, %dx%d in Qt's pixels, %dx%d on the screen" %
                      (row, title, len(seen), w, h, g[2], g[3]))
            cancel = named(dialog, "push button", "Cancel")
            if not cancel or not press(cancel, "Press"):
                fail("%s: %s has no Cancel" % (row, title))
            until(lambda: not any(w.getRoleName() == "dialog" and w.name == title
                                  for w in descendants(accessible)))
        quit_entry = named(accessible, "menu item", "Quit")
        if quit_entry and press(quit_entry, "Press"):
            try:
                status = app.wait(10)
                if status != 0:
                    fail("%s: Quit ended with status %d" % (row, status))
            except subprocess.TimeoutExpired:
                fail("%s: Quit did not end the program" % row)
    finally:
        if app.poll() is None:
            app.kill()
            app.wait()
        x.stop()
        if re.search("Sanitizer|runtime error", open(log.name).read()):
            fail("%s: a sanitizer report" % row)
        if failures:
            log.seek(0)
            sys.stdout.write(log.read())
        log.close()

print("failed" if failures else "passed")
sys.exit(1 if failures else 0)
