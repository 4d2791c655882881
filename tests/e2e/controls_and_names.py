#!/usr/bin/python3
"""The controls by the keyboard and through a screen reader's eyes: Tab in
reading order with a focus mark on the screen, keys a field keeps or never
types, every control named as the screen shows it and nothing hidden shown,
the picture named after the recipe its saved file carries, each swatch by
its number and the colour on the screen, and one Esc to leave the
information page after a menu was open. Usage: controls_and_names.py
TAVREL SAMPLES_DIR"""

import glob
import os
import sys

from guest import Guest, fail, main, recipe_of, wait

PANEL = "Create random shape"
DETAIL = "Detail of shape (1 to 25):"
SECONDS = "Seconds waited (scr-mode):"

# Keys, and the control that has them after: top to bottom and round, the
# two styles one stop at the selected one, the arrows between them.
TAB_ORDER = [
    ([], PANEL),
    (["Tab"], DETAIL),
    (["Tab"], "Shapes Fancy"),
    (["Tab"], SECONDS),
    (["Tab"], PANEL),
    (["shift+Tab"], SECONDS),
    (["shift+Tab"], "Shapes Fancy"),
    (["Up"], "Shapes Regular"),
    (["Tab"], SECONDS),
    (["shift+Tab"], "Shapes Regular"),
    (["Down"], "Shapes Fancy"),
]

# What a screen reader finds on the regular screen: role, name.
SHOWN = [
    ("push button", PANEL),
    ("label", "Size of shape: (40 to 400):"),
    ("text", "Size of shape: (40 to 400):"),
    ("label", DETAIL),
    ("text", DETAIL),
    ("label", "Complexity (1 to 25):"),
    ("text", "Complexity (1 to 25):"),
    ("label", "Smoothness (1 to 9):"),
    ("text", "Smoothness (1 to 9):"),
    ("radio button", "Shapes Regular"),
    ("radio button", "Shapes Fancy"),
    ("label", SECONDS),
    ("text", SECONDS),
    ("menu item", "Options"),
    ("menu item", "Pattern mode"),
    ("menu item", "Ordering information"),
]
# What never comes on the screen, and so is nowhere in the tree.
NEVER = ["sfancy", "Auto-print", "Auto-save", "Complexity of shape", "Shapes simple",
         "Shapes complex", "Complexity of shape (0 to 20):", "Number of sides (4 or 8):"]


def focused_node(g, name):
    return next(n for n, r, nm, s in g.nodes() if nm == name and "focused" in s)


def focus_marked(g, name):
    """Whether the control with the keys wears the mark: white at its left
    and right edges, black just inside, halfway down."""
    x, y, w, h = g.extents(focused_node(g, name))
    s = g.screen()
    middle = y + h // 2
    white, black = (255, 255, 255), (0, 0, 0)
    return (s.at(x, middle) == white and s.at(x + 1, middle) == black and
            s.at(x + w - 1, middle) == white and s.at(x + w - 2, middle) == black)


def test():
    tavrel, samples = sys.argv[1:3]
    g = Guest(tavrel, samples)
    g.begin()
    for keys, name in TAB_ORDER:
        if keys:
            g.keys(*keys)
        g.expect_focus([name], " ".join(keys) or "the first picture")
        try:
            wait("", lambda: focus_marked(g, name), timeout=5)
        except Exception:
            x, y, w, h = g.extents(focused_node(g, name))
            row = [g.screen().at(i, y + h // 2) for i in (x - 1, x, x + 1, x + w - 2, x + w - 1)]
            fail(f"{' '.join(keys)}: no focus mark round {name} at {x},{y} {w}x{h}: {row}")
    # A click takes the mark away; a field keeps its letters, and Alt with a
    # letter types nothing.
    g.click_node(g.find(DETAIL, "text"))
    g.expect_focus([DETAIL], "a click on the detail field")
    wait("a click takes the mark away", lambda: not focus_marked(g, DETAIL))
    # (The field takes two characters: a "z" from Alt+Z would keep the "s" out.)
    g.keys("ctrl+a", "1", "alt+z", "s")
    try:
        wait("", lambda: g.text(DETAIL) == "1s", timeout=5)
    except Exception:
        fail(f"after 1, Alt+Z and S the field holds '{g.text(DETAIL)}', not '1s'")
    if glob.glob(os.path.join(g.home, "Pictures", "Tavrel", "*")):
        fail("S typed into a field saved the picture")
    g.keys("ctrl+a", "1", "6", "Tab")

    # Every control as the screen shows it, each field named by the label on
    # its left, and nothing hidden.
    found = {(r, n) for _, r, n, s in g.nodes() if "showing" in s}
    for role, name in SHOWN:
        if (role, name) not in found:
            fail(f"no {role} '{name}' for a screen reader")
    for node, role, name, states in g.nodes():
        if role == "text" and "showing" in states:
            x, y, w, h = g.extents(node)
            label = g.find(name, "label")
            lx, ly, lw, lh = g.extents(label)
            if abs(lx + lw - x) > 3 or abs(ly - y) > 3:
                fail(f"the field named '{name}' does not stand beside that label")
    hidden = {n for _, r, n, s in g.nodes()} & set(NEVER)
    if hidden:
        fail(f"hidden entries shown to a screen reader: {sorted(hidden)}")

    # The picture's name is what its recipe says.
    name = g.picture_name()
    g.keys("s")
    saved = wait("S saves the picture",
                 lambda: glob.glob(os.path.join(g.home, "Pictures", "Tavrel", "*.png")))
    recipe = recipe_of(saved[0])
    words = {"shape": "Shape", "pattern": "Pattern tile"}[recipe["generator"]]
    for word in (words, recipe["style"] + " style", recipe["colors"] + " colours"):
        if word not in name:
            fail(f"the picture is named '{name}', its recipe says {word}")

    # Each swatch: its number, and the colour the screen shows.
    g.keys("alt+o", "e")
    wait("Edit colors opens", lambda: any(n.startswith("Colour 1, #") for _, r, n, st in g.nodes()))
    s = g.screen()
    for n in range(1, 16):
        swatch = next((node for node, r, nm, st in g.nodes()
                       if r == "push button" and nm.startswith(f"Colour {n}, #")), None)
        if swatch is None:
            fail(f"no swatch named for colour {n}")
        x, y, w, h = g.extents(swatch)
        hex_colour = swatch.name.split("#")[1]
        want = tuple(int(hex_colour[i:i + 2], 16) for i in (0, 2, 4))
        if s.at(x + w // 8 + 2, y + h // 2) != want:
            fail(f"swatch {n} is named #{hex_colour} but shows {s.at(x + w // 8 + 2, y + h // 2)}")
    g.keys("Escape")
    wait("Esc closes Edit colors",
         lambda: not any(n.startswith("Colour 1, #") for _, r, n, st in g.nodes()))

    # A menu open, then the information page: the first Esc leaves it.
    g.click_node(g.find("Pattern mode", "menu item"))
    wait("the Pattern mode menu opens", lambda: g.showing("Create pattern", "menu item"))
    g.click_node(g.find("Ordering information", "menu item"))
    wait("one click opens the information page", lambda: not g.showing(PANEL))
    g.keys("Escape")
    wait("the first Esc leaves it", lambda: g.showing(PANEL))


main(test)
