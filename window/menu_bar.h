// The menu bar: the menu tree as one table, entries by their names.
#pragma once

#include <QObject>
#include <functional>
#include <map>

#include "modes/run_host.h"

class QAction;
class QMenuBar;

namespace tavrel {

// The tree on a QMenuBar with its design captions, ticks and visibility,
// each caption with a mnemonic and the commands with their shortcuts.
// Commands are plain actions; each group of choices is a QActionGroup. Ticks
// move only as the handlers decide: a handler reads and sets them here, and
// where it refuses a choice, the tick the group gave the click is taken back.
// Entries that never come on the screen (the hidden menu, "sfancy", ...)
// are kept as actions of no menu, so that nothing shows them, to the eye or
// to a screen reader.
class MenuBar : public QObject {
 public:
  // `clicked` gets every click of an entry and runs its handler at once.
  MenuBar(QMenuBar* bar, std::function<void(Menu)> clicked);

  QAction* action(Menu m) const { return actions_.at(m); }
  // The tick as the handlers left it.
  bool isChecked(Menu m) const;
  void setChecked(Menu m, bool checked);
  void setVisible(Menu m, bool visible);
  // The keys go to the bar, its first title marked, as after Alt: F10.
  void takeKeys();

 protected:
  // Watches the bar and its menus.
  bool eventFilter(QObject* watched, QEvent* e) override;

 private:
  void settle();
  bool showsTitles() const;

  QMenuBar* bar_;
  std::map<Menu, QAction*> actions_;
  std::map<Menu, bool> ticked_;  // the checkable entries
};

}  // namespace tavrel
