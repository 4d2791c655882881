#!/usr/bin/python3
"""Every menu entry, clicked by its caption as the screen shows it, changes
what it says it changes: one row per entry, so that a caption and an action
swapped, or a tick moved by the wrong handler, shows.
Usage: menu_entries.py TAVREL SAMPLES_DIR"""

import glob
import os
import sys
import time

from guest import Guest, fail, main, wait


def ticks(entry, *others):
    def check(g):
        if not g.ticked(entry) or any(g.ticked(o) for o in others):
            fail(f"{entry} is not the one ticked of {[entry, *others]}")
    return check


def new_picture(g):
    """Clicks "Create random shape" and gives the new picture's name."""
    before = g.picture_name()
    g.click_node(wait("the button shows", lambda: g.find("Create random shape", "push button")))
    name = wait("a new picture", lambda: g.picture_name() != before and g.picture_name())
    g.newest = number(name)
    return name


def number(name):
    """The picture's place in the run, as its name gives it."""
    return int(name.rsplit("picture ", 1)[1]) if name and "picture " in name else None


def steps(by):
    """Previous or Next picture: the one before the newest, or the newest again."""
    def check(g):
        want = g.newest + by if by < 0 else g.newest
        wait(f"picture {want} on show", lambda: number(g.picture_name()) == want)
    return check


def view_colours(g):
    """The colours of a patch of the window far from its picture."""
    image = next(n for n, r, name, s in g.nodes() if r == "image" and "showing" in s)
    x, y, w, h = g.extents(image)
    return g.screen().colours(x + w * 3 // 4, y + h * 3 // 4, 40, 40)


def makes(*words, tiles=None):
    def check(g):
        name = new_picture(g)
        if not all(w in name for w in words):
            fail(f"the new picture is '{name}', not {words}")
        if tiles is not None and (len(view_colours(g)) > 2) != tiles:
            fail("tiles " + ("missing from" if tiles else "left on") + " the window")
    return check


def travel(g, seconds=2.0):
    """How far the bouncing picture goes along x in `seconds`, in steps of a
    tenth of a second (so that a bounce off an edge counts as travel)."""
    def left():
        for node, role, name, states in g.nodes():
            if role == "image" and "showing" in states and g.extents(node)[2] < g.width // 2:
                return g.extents(node)[0]
        fail("no bouncing picture")
    path, last, end = 0, left(), time.monotonic() + seconds
    while time.monotonic() < end:
        time.sleep(0.1)
        now = left()
        path, last = path + abs(now - last), now
    return path


def speed(entry, other):
    """The tick, and the bounce's pace against the one measured after the
    other entry: Fast goes well over Slow's pace, both measured alike."""
    def check(g):
        ticks(entry, other)(g)
        g.travelled[entry] = travel(g)
        if len(g.travelled) == 2 and not g.travelled["Fast"] > 1.3 * g.travelled["Slow"]:
            fail(f"the picture went {g.travelled} pixels at the two speeds")
    return check


def screen_saver(g):
    ticks("Screen-Saver mode", "Regular mode")(g)
    wait("the window fills the screen", lambda: g.wm_state() == {"FULLSCREEN"})
    wait("the panel goes", lambda: not g.showing("Create random shape"))


def regular(g):
    ticks("Regular mode", "Screen-Saver mode")(g)
    wait("the window is maximised again",
         lambda: {"MAXIMIZED_VERT", "MAXIMIZED_HORZ"} <= g.wm_state())
    wait("the panel comes back", lambda: g.showing("Create random shape"))


def saved(g):
    files = lambda: glob.glob(os.path.join(g.home, "Pictures", "Tavrel", "*.png"))
    wait("a picture is saved", lambda: len(files()) == 1)


def settings_file(present):
    ini = lambda g: os.path.join(g.config, "tavrel", "tavrel.ini")
    return lambda g: wait(f"the settings file {'is written' if present else 'goes'}",
                          lambda: os.path.exists(ini(g)) == present)


def dialog(title):
    def check(g):
        wait(f"the dialog {title} opens", lambda: g.run(
            ["xdotool", "search", "--onlyvisible", "--name", f"^{title}$"], ok=True))
        g.keys("Escape")
        wait(f"Esc closes {title}", lambda: not g.run(
            ["xdotool", "search", "--onlyvisible", "--name", f"^{title}$"], ok=True))
    return check


def information_page(g):
    wait("the information page opens", lambda: not g.showing("Create random shape"))
    if not any(n.startswith("Tavrel draws") for _, r, n, s in g.nodes() if "showing" in s):
        fail("the information text does not show")
    g.keys("Escape")
    wait("Esc leaves the page", lambda: g.showing("Create random shape"))


def quits(g):
    wait("the program ends", lambda: g.app.poll() is not None)
    if g.app.returncode != 0:
        fail(f"Quit ended with status {g.app.returncode}")


ROWS = [
    (("Options", "Screen-Saver mode"), screen_saver),
    (("Options", "Animation speed", "Slow"), speed("Slow", "Fast")),
    (("Options", "Animation speed", "Fast"), speed("Fast", "Slow")),
    (("Options", "Regular mode"), regular),
    (("Options", "Color mode", "Basic color (15 colors)"), makes("basic colours")),
    (("Options", "Color mode", "User defined colors"), makes("user colours")),
    (("Options", "Color mode", "True color (16000000 colors)"), makes("true colours")),
    (("Pattern mode", "Create part of pattern"), makes("Pattern tile", tiles=False)),
    (("Pattern mode", "Create pattern"), makes("Pattern tile", tiles=True)),
    # After the tiles, a tile alone is refused: the tick stays.
    (("Pattern mode", "Create part of pattern"), ticks("Create pattern", "Create part of pattern")),
    (("Pattern mode", "Create single shape"), makes("Shape", tiles=False)),
    (("Options", 'Save shape (press "S")'), saved),
    (("Options", "Previous picture"), steps(-1)),
    (("Options", "Next picture"), steps(+1)),
    (("Options", "Save settings"), settings_file(True)),
    (("Options", "Restore default settings"), settings_file(False)),
    (("Options", "Edit colors"), dialog("Edit colors")),
    (("Options", "Import color scale"), dialog("Import color scale")),
    (("Options", 'Print pattern (press "P")'), dialog("Print pattern")),
    (("Ordering information",), information_page),
    (("Options", "Quit"), quits),
]


def test():
    tavrel, samples = sys.argv[1:3]
    g = Guest(tavrel, samples)
    g.travelled = {}
    g.begin()
    for path, check in ROWS:
        g.choose(*path)
        try:
            check(g)
        except Exception as e:
            fail(f"{' > '.join(path)}: {e}")
        # Nothing of the menus stays open for the next row.
        wait(f"{path[-1]}: the menus close", lambda: not any(
            r == "popup menu" and "showing" in s for _, r, n, s in g.nodes()))


main(test)
