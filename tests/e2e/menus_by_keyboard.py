#!/usr/bin/python3
"""The whole menu tree walked by the keyboard alone, as a screen reader
follows it (the focused entry of the AT-SPI tree), on a screen of the given
size at the display scale the program chooses for it: F10 and Alt, the
arrows, the mnemonics, Return and Esc; every menu that opens lies on the
screen. Usage: menus_by_keyboard.py TAVREL SAMPLES_DIR WxH"""

import sys

from guest import Guest, fail, main, wait

OPTIONS = ("Options",)
SPEED = ("Options", "Animation speed")
COLOURS = ("Options", "Color mode")
PATTERN = ("Pattern mode",)

# Keys, then where they leave the keyboard: the titles and entries on the way
# to the one that has it, or the control that has it.
WALK = [
    (["F10"], ["Options"]),
    (["Down"], [*OPTIONS, "Regular mode"]),
    (["Down"], [*OPTIONS, "Screen-Saver mode"]),
    (["Down"], [*OPTIONS, "Animation speed"]),
    (["Right"], [*SPEED, "Slow"]),
    (["Down"], [*SPEED, "Fast"]),
    (["Down"], [*SPEED, "Slow"]),  # round again
    (["Left"], [*OPTIONS, "Animation speed"]),
    (["Down"], [*OPTIONS, "Import color scale"]),
    (["Down"], [*OPTIONS, "Color mode"]),
    (["Right"], [*COLOURS, "User defined colors"]),
    (["Down"], [*COLOURS, "True color (16000000 colors)"]),
    (["Down"], [*COLOURS, "Basic color (15 colors)"]),
    (["Escape"], [*OPTIONS, "Color mode"]),
    (["Down"], [*OPTIONS, "Edit colors"]),
    (["Down"], [*OPTIONS, 'Print pattern (press "P")']),
    (["Down"], [*OPTIONS, 'Save shape (press "S")']),
    (["Down"], [*OPTIONS, "Previous picture"]),
    (["Down"], [*OPTIONS, "Next picture"]),
    (["Down"], [*OPTIONS, "Save settings"]),
    (["Down"], [*OPTIONS, "Restore default settings"]),
    (["Down"], [*OPTIONS, "Quit"]),
    (["Down"], [*OPTIONS, "Regular mode"]),  # round again
    (["Up"], [*OPTIONS, "Quit"]),
    (["Right"], [*PATTERN, "Create single shape"]),
    (["Down"], [*PATTERN, "Create part of pattern"]),
    (["Down"], [*PATTERN, "Create pattern"]),
    (["Right"], ["Ordering information"]),
    (["Right"], [*OPTIONS, "Regular mode"]),  # round the bar
    (["Left"], ["Ordering information"]),
    (["Escape"], ["Create random shape"]),
    # Alt alone, as F10; Alt again gives the keys back.
    (["alt"], ["Options"]),
    (["Right"], ["Pattern mode"]),
    (["alt"], ["Create random shape"]),
    # The mnemonics: Alt with a title's letter opens it, a letter chooses.
    (["alt+o"], [*OPTIONS, "Regular mode"]),
    (["a"], [*SPEED, "Slow"]),
    (["Escape", "c"], [*COLOURS, "User defined colors"]),
    (["Escape", "Escape"], ["Options"]),
    (["Escape"], ["Create random shape"]),
    (["alt+p"], [*PATTERN, "Create single shape"]),
    (["Escape", "Escape"], ["Create random shape"]),
]

# Mnemonics that choose an entry, and the tick they must leave.
CHOSEN = [
    (["alt+o", "a", "s"], "Slow"),
    (["alt+o", "a", "f"], "Fast"),
    (["alt+o", "c", "b"], "Basic color (15 colors)"),
    (["alt+o", "c", "u"], "User defined colors"),
    (["alt+o", "c", "t"], "True color (16000000 colors)"),
    (["alt+p", "r"], "Create part of pattern"),
    (["alt+p", "p"], "Create pattern"),
    (["alt+p", "s"], "Create single shape"),
]


def test():
    tavrel, samples, size = sys.argv[1:4]
    g = Guest(tavrel, samples, size)
    # The start screen has no menus: F10 and Alt leave the keys on its one button.
    g.expect_focus(["Click to begin"], "the start screen")
    g.keys("F10", "alt")
    g.expect_focus(["Click to begin"], "F10 and Alt on the start screen")
    g.begin()
    g.expect_focus(["Create random shape"], "after Click to begin")
    visited = set()
    for keys, where in WALK:
        g.keys(*keys)
        g.expect_focus(where, " ".join(keys))
        visited.update(where)
        # Whatever menu is open lies whole on the screen.
        for node, role, name, states in g.nodes():
            if role == "popup menu" and "showing" in states:
                x, y, w, h = g.extents(node)
                if x < 0 or y < 0 or x + w > g.width or y + h > g.height:
                    fail(f"{' '.join(keys)}: a menu at {x},{y} {w}x{h} leaves the screen")
    shown = {n for _, r, n, s in g.nodes() if r == "menu item" and "visible" in s}
    if shown - visited:
        fail(f"the walk missed {sorted(shown - visited)}")
    for keys, entry in CHOSEN:
        g.keys(*keys)
        wait(f"{' '.join(keys)} ticks {entry}", lambda: g.ticked(entry))
        g.expect_focus(["Create random shape"], " ".join(keys))
    # Alt+I opens the information page, Esc leaves it; Ctrl+Q ends the program.
    g.keys("alt+i")
    wait("Alt+I opens the information page", lambda: not g.showing("Create random shape"))
    g.keys("Escape")
    wait("Esc leaves it", lambda: g.showing("Create random shape"))
    g.keys("ctrl+q")
    wait("Ctrl+Q ends the program", lambda: g.app.poll() is not None)
    if g.app.returncode != 0:
        fail(f"Ctrl+Q ended with status {g.app.returncode}: {g.log()}")


main(test)
