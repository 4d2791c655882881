#!/usr/bin/python3
"""Full screen in and out, as the window manager sees it (_NET_WM_STATE),
the pointer at rest in screen-saver mode, the window's own icon, no tiles
left beyond the 1000-pixel square, and a picture made in full screen made
again by tavrel-render pixel for pixel. On a 1280x800 screen at display
scale 1, so that the window reaches past the square.
Usage: full_screen.py TAVREL TAVREL_RENDER SAMPLES_DIR ICON_16_PNG"""

import glob
import os
import subprocess
import sys

from guest import Guest, fail, main, wait

MAXIMISED = {"MAXIMIZED_VERT", "MAXIMIZED_HORZ"}


def beyond_square(g):
    """The colours of the window's column past its 1000-pixel square."""
    image = next(n for n, r, name, s in g.nodes()
                 if r == "image" and "showing" in s and g.extents(n)[2] > 1000)
    x, y, w, h = g.extents(image)
    return g.screen().colours(x + 1010, y + 20, w - 1015, h - 40)


def state_is(g, state, why):
    wait(f"{why}: the window manager shows {state}", lambda: g.wm_state() == state)


def fills_screen(g):
    return g.geometry() == (0, 0, g.width, g.height)


def window_icons(g):
    """The pictures of _NET_WM_ICON: size, and ARGB numbers row by row."""
    from Xlib import X, display
    d = display.Display(g.display)
    try:
        window = d.create_resource_object("window", int(g.window))
        numbers = window.get_full_property(d.intern_atom("_NET_WM_ICON"), X.AnyPropertyType)
        numbers = list(numbers.value) if numbers else []
    finally:
        d.close()
    icons, at = {}, 0
    while at + 2 <= len(numbers):
        w, h = numbers[at], numbers[at + 1]
        icons[w] = numbers[at + 2:at + 2 + w * h]
        at += 2 + w * h
    return icons


def test():
    tavrel, render, samples, icon = sys.argv[1:5]
    g = Guest(tavrel, samples, "1280x800", scale="1")
    state_is(g, MAXIMISED, "at start")

    # The window's own icon, at every size, the small one as drawn.
    icons = window_icons(g)
    if sorted(icons)[:4] != [16, 22, 24, 32]:
        fail(f"the window's icon comes at {sorted(icons)} pixels")
    drawn = subprocess.run(["convert", icon, "-depth", "8", "rgba:-"], capture_output=True,
                           check=True).stdout
    want = [(255 << 24) | (drawn[i] << 16) | (drawn[i + 1] << 8) | drawn[i + 2]
            for i in range(0, len(drawn), 4)]
    if icons[16] != want:
        fail("the 16-pixel window icon is not the one drawn for it")

    g.begin()
    # 50 seconds between the screen-saver's pictures: no new one wipes the
    # window while it is looked at.
    g.keys("shift+Tab", "ctrl+a", "5", "0", "Tab")
    g.expect_focus(["Create random shape"], "the seconds typed")
    # Tiles over the whole window, then the screen-saver: they go.
    g.keys("alt+p", "p")
    wait("Create pattern is ticked", lambda: g.ticked("Create pattern"))
    g.keys("space")
    wait("tiles reach past the square", lambda: len(beyond_square(g)) > 2)
    g.keys("alt+o", "v")
    state_is(g, {"FULLSCREEN"}, "screen-saver mode")
    if not fills_screen(g):
        fail(f"in screen-saver mode the window stands at {g.geometry()}")
    wait("the menu bar stays", lambda: g.showing("Options", "menu item"))
    x, y, w, h = g.extents(g.find("Options", "menu item"))
    if y > 5:
        fail(f"the menu bar is not at the top of the screen ({y})")
    wait("what the tiles painted goes", lambda: len(beyond_square(g)) == 1)

    # The pointer goes after a rest, and comes back when moved.
    g.move(640, 700)
    wait("the pointer goes at rest", lambda: not g.pointer_shows())
    g.move(650, 710)
    wait("the pointer comes back when moved", g.pointer_shows)

    # A picture saved in full screen is made again, pixel for pixel.
    g.keys("s")
    saved = wait("S saves the picture",
                 lambda: glob.glob(os.path.join(g.home, "Pictures", "Tavrel", "*.png")))[0]
    out = os.path.join(g.tmp, "again")
    os.mkdir(out)
    subprocess.run([render, "--from", saved, "--zoom", "4", "--out", out], check=True,
                   capture_output=True)
    again = glob.glob(os.path.join(out, "*-again.png"))[0]
    differ = subprocess.run(["compare", "-metric", "AE", saved, again, "null:"],
                            capture_output=True, text=True).stderr.strip()
    if differ != "0":
        fail(f"the picture made again differs in {differ} pixels")

    # F11 in and out in either mode; regular mode comes back maximised.
    for keys, state, why in [
        (["F11"], MAXIMISED, "F11 in screen-saver mode"),
        (["F11"], {"FULLSCREEN"}, "F11 again"),
        (["alt+o", "r"], MAXIMISED, "regular mode"),
        (["F11"], {"FULLSCREEN"}, "F11 in regular mode"),
        (["F11"], MAXIMISED, "F11 again"),
    ]:
        g.keys(*keys)
        state_is(g, state, why)
        if (state == {"FULLSCREEN"}) != fills_screen(g):
            fail(f"{why}: the window stands at {g.geometry()}")
    wait("the panel is back", lambda: g.showing("Create random shape"))
    if not g.pointer_shows():
        fail("the pointer stays hidden in regular mode")


main(test)
