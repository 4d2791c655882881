#include "window/menu_bar.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QProxyStyle>
#include <QStyleOptionMenuItem>
#include <QTimer>
#include <algorithm>

namespace tavrel {

namespace {

// Menu entries show a tick when ticked and nothing when not: no empty box,
// and a tick, not a dot, in a group of choices too. Alt alone takes the
// keyboard to the bar, whatever the platform's style says.
class MenuStyle : public QProxyStyle {
 public:
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override {
    if (element == CE_MenuItem) {
      if (const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
          item && item->checkType != QStyleOptionMenuItem::NotCheckable) {
        QStyleOptionMenuItem plain = *item;
        plain.checkType =
            item->checked ? QStyleOptionMenuItem::NonExclusive : QStyleOptionMenuItem::NotCheckable;
        QProxyStyle::drawControl(element, &plain, painter, widget);
        return;
      }
    }
    // The style marks a title only while its menu is open: the title the
    // keys are on after Alt is marked too.
    if (element == CE_MenuBarItem && widget && widget->hasFocus() &&
        option->state & State_Selected) {
      if (const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option)) {
        QStyleOptionMenuItem marked = *item;
        marked.state |= State_Sunken;
        QProxyStyle::drawControl(element, &marked, painter, widget);
        return;
      }
    }
    QProxyStyle::drawControl(element, option, painter, widget);
  }
  // The style draws the tick column about as wide as an entry is high, but
  // sizes the entry for a column of a few fixed pixels: with a large font
  // the caption would be cut short. The entry gets that room.
  QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                         const QWidget* widget) const override {
    QSize s = QProxyStyle::sizeFromContents(type, option, size, widget);
    if (type == CT_MenuItem) s.rwidth() += s.height();
    return s;
  }
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* returned) const override {
    if (hint == SH_MenuBar_AltKeyNavigation) return 1;
    return QProxyStyle::styleHint(hint, option, widget, returned);
  }
};

// The choices that exclude each other; `none` for commands and menus.
enum class Group { none, mode, speed, colours, pattern, layout, fancy };

struct Entry {
  Menu name;
  Menu parent;          // the menu it belongs to; itself for the bar's own entries
  const char* caption;  // the design caption, "&" before the letter of its mnemonic
  Group group;
  bool ticked, enabled;
  bool shown;  // ever on the screen; an entry that is not belongs to no menu
  bool heads;  // heads a submenu
  const char* shortcut;
};

constexpr Entry kTree[] = {
    {Menu::options, Menu::options, "&Options", Group::none, false, true, true, true, ""},
    {Menu::regmode, Menu::options, "&Regular mode", Group::mode, true, true, true, false, ""},
    {Menu::ssaver, Menu::options, "Screen-Sa&ver mode", Group::mode, false, true, true, false, ""},
    {Menu::hfggf, Menu::options, "&Animation speed", Group::none, false, true, true, true, ""},
    {Menu::tslow, Menu::hfggf, "&Slow", Group::speed, false, true, true, false, ""},
    {Menu::tfast, Menu::hfggf, "&Fast", Group::speed, true, true, true, false, ""},
    {Menu::impcolor, Menu::options, "&Import color scale", Group::none, false, true, true, false,
     ""},
    {Menu::colormode, Menu::options, "&Color mode", Group::none, false, true, true, true, ""},
    {Menu::uedit, Menu::colormode, "&User defined colors", Group::colours, false, true, true, false,
     ""},
    {Menu::tcolorm, Menu::colormode, "&True color (16000000 colors)", Group::colours, true, true,
     true, false, ""},
    {Menu::bcolorm, Menu::colormode, "&Basic color (15 colors)", Group::colours, false, true, true,
     false, ""},
    {Menu::fgdfgfg, Menu::options, "&Edit colors", Group::none, false, true, true, false, ""},
    {Menu::hgfhg, Menu::options, "&Print pattern (press \"P\")", Group::none, false, true, true,
     false, "P"},
    {Menu::sdfdssdf, Menu::options, "&Save shape (press \"S\")", Group::none, false, true, true,
     false, "S"},
    {Menu::prevpic, Menu::options, "Previ&ous picture", Group::none, false, true, true, false,
     "Alt+Left"},
    {Menu::nextpic, Menu::options, "&Next picture", Group::none, false, true, true, false,
     "Alt+Right"},
    {Menu::fgdgf, Menu::options, "Auto-print", Group::none, false, false, false, false, ""},
    {Menu::dfsdffd, Menu::options, "Auto-save", Group::none, false, false, false, false, ""},
    {Menu::fghfghg, Menu::options, "Save se&ttings", Group::none, false, true, true, false, ""},
    {Menu::restored, Menu::options, "Restore &default settings", Group::none, false, true, true,
     false, ""},
    {Menu::sfancy, Menu::options, "sfancy", Group::fancy, true, true, false, false, ""},
    {Menu::quit, Menu::options, "&Quit", Group::none, false, true, true, false, "Ctrl+Q"},
    {Menu::patmode5, Menu::patmode5, "&Pattern mode", Group::none, false, true, true, true, ""},
    {Menu::csingle, Menu::patmode5, "Create &single shape", Group::pattern, true, true, true, false,
     ""},
    {Menu::cpp9, Menu::patmode5, "Create pa&rt of pattern", Group::pattern, false, true, true,
     false, ""},
    {Menu::cpattern, Menu::patmode5, "Create &pattern", Group::pattern, false, true, true, false,
     ""},
    {Menu::tyhfghgfh, Menu::tyhfghgfh, "Complexity of shape", Group::none, false, true, false, true,
     ""},
    {Menu::snormal, Menu::tyhfghgfh, "Shapes simple", Group::layout, false, true, false, false, ""},
    {Menu::scenter, Menu::tyhfghgfh, "Shapes complex", Group::layout, true, true, false, false, ""},
    {Menu::orderinfo, Menu::orderinfo, "Ordering &information", Group::none, false, true, true,
     false, ""},
};

}  // namespace

MenuBar::MenuBar(QMenuBar* bar, std::function<void(Menu)> clicked) : QObject(bar), bar_(bar) {
  // A bar that shows no title (the start screen) gives back the keys that
  // Alt took to it.
  connect(qApp, &QApplication::focusChanged, this, [this](QWidget* old, QWidget* now) {
    if (now == bar_ && old && !showsTitles())
      QTimer::singleShot(0, old, [old] { old->setFocus(Qt::OtherFocusReason); });
  });
  auto* style = new MenuStyle;
  style->setParent(bar);
  bar->setStyle(style);
  std::map<Menu, QMenu*> submenus;
  std::map<Group, QActionGroup*> groups;
  for (const Entry& e : kTree) {
    QAction* a = nullptr;
    const bool onBar = e.parent == e.name;
    if (!e.shown) {
      // Never on the screen: an action of no menu, for the handlers alone.
      a = new QAction(QString(e.caption), bar);
    } else if (e.heads) {
      QMenu* m = onBar ? bar->addMenu(e.caption) : submenus.at(e.parent)->addMenu(e.caption);
      m->setStyle(style);
      m->installEventFilter(this);
      submenus[e.name] = m;
      a = m->menuAction();
    } else {
      a = onBar ? bar->addAction(e.caption) : submenus.at(e.parent)->addAction(e.caption);
      a->setShortcut(QKeySequence(e.shortcut));
    }
    if (e.group != Group::none) {
      QActionGroup*& g = groups[e.group];
      if (!g) g = new QActionGroup(bar);
      a->setCheckable(true);
      a->setChecked(e.ticked);
      g->addAction(a);
      ticked_[e.name] = e.ticked;
    }
    if (!e.heads) {
      const Menu name = e.name;
      QObject::connect(a, &QAction::triggered, bar, [this, name, clicked] {
        clicked(name);
        settle();
      });
    }
    a->setEnabled(e.enabled);
    actions_[e.name] = a;
  }
}

bool MenuBar::isChecked(Menu m) const {
  const auto it = ticked_.find(m);
  return it != ticked_.end() && it->second;
}

void MenuBar::setChecked(Menu m, bool checked) {
  const auto it = ticked_.find(m);
  if (it == ticked_.end()) return;
  it->second = checked;
  actions_.at(m)->setChecked(checked);
}

// The group ticked the clicked entry by itself; every tick goes back to
// where the handlers left it. An entry is unticked before another one of its
// group is ticked, so an exclusive group never refuses the change.
void MenuBar::settle() {
  for (const bool pass : {false, true})
    for (const auto& [m, on] : ticked_)
      if (on == pass && actions_.at(m)->isChecked() != on) actions_.at(m)->setChecked(on);
}

// The open menus are watched for the title without a menu, "Ordering
// information".
bool MenuBar::eventFilter(QObject*, QEvent* e) {
  // The arrows in a menu opened by the mouse can move on to it; the keys
  // stay with the bar then, so that Return chooses it.
  if (e->type() == QEvent::KeyPress) {
    const int key = static_cast<QKeyEvent*>(e)->key();
    if (key == Qt::Key_Left || key == Qt::Key_Right)
      QTimer::singleShot(0, this, [this] {
        const QAction* at = bar_->activeAction();
        if (at && !at->menu() && !bar_->hasFocus() && !QApplication::activePopupWidget())
          takeKeys();
      });
    return false;
  }
  // A press on it goes to the open menu, which closes and lets the press go:
  // the entry would need a second click. The press chooses it, as on the
  // bare bar.
  if (e->type() != QEvent::MouseButtonPress) return false;
  const auto* press = static_cast<QMouseEvent*>(e);
  const QPoint at = bar_->mapFromGlobal(press->globalPosition().toPoint());
  QAction* a = bar_->rect().contains(at) ? bar_->actionAt(at) : nullptr;
  if (press->button() != Qt::LeftButton || !a || a->menu() || !a->isVisible() || !a->isEnabled())
    return false;
  while (QWidget* popup = QApplication::activePopupWidget()) popup->close();
  a->trigger();
  return true;
}

void MenuBar::setVisible(Menu m, bool visible) {
  actions_.at(m)->setVisible(visible);
}

bool MenuBar::showsTitles() const {
  const auto actions = bar_->actions();
  return std::any_of(actions.begin(), actions.end(), [](QAction* a) { return a->isVisible(); });
}

// The bar's own way into its keyboard mode is Alt pressed and released
// alone; only in that mode does it keep the keys when they move on to a
// title without a menu ("Ordering information").
void MenuBar::takeKeys() {
  if (!showsTitles()) return;
  QWidget* to = QApplication::focusWidget() ? QApplication::focusWidget() : bar_->window();
  for (const auto& [type, modifiers] : {std::pair{QEvent::ShortcutOverride, Qt::AltModifier},
                                        std::pair{QEvent::KeyPress, Qt::AltModifier},
                                        std::pair{QEvent::KeyRelease, Qt::NoModifier}}) {
    QKeyEvent alt(type, Qt::Key_Alt, modifiers);
    QCoreApplication::sendEvent(to, &alt);
  }
}

}  // namespace tavrel
