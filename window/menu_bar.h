// The menu bar: the menu tree as one table, entries by their names.
#pragma once

#include <functional>
#include <map>

#include "modes/run_host.h"

class QAction;
class QMenuBar;

namespace tavrel {

// Builds the tree on `bar` with its design captions, ticks and visibility;
// `clicked` gets every click of an entry. A click moves no tick: only the
// handlers do.
std::map<Menu, QAction*> buildMenuBar(QMenuBar* bar, std::function<void(Menu)> clicked);

}  // namespace tavrel
