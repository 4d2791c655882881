#include "window/menu_bar.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QProxyStyle>
#include <QStyleOptionMenuItem>

namespace tavrel {

namespace {

// Menu entries show a tick when ticked and nothing when not: no empty box.
class PlainTicks : public QProxyStyle {
 public:
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override {
    if (element == CE_MenuItem) {
      if (const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
          item && item->checkType != QStyleOptionMenuItem::NotCheckable && !item->checked) {
        QStyleOptionMenuItem plain = *item;
        plain.checkType = QStyleOptionMenuItem::NotCheckable;
        QProxyStyle::drawControl(element, &plain, painter, widget);
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
};

}  // namespace

std::map<Menu, QAction*> buildMenuBar(QMenuBar* bar, std::function<void(Menu)> clicked) {
  auto* ticks = new PlainTicks;
  ticks->setParent(bar);
  std::map<Menu, QAction*> actions;
  struct Entry {
    Menu name;
    Menu parent;  // the menu it belongs to; itself for the bar's own entries
    const char* caption;
    bool ticked, enabled, visible;
    bool heads;  // heads a submenu
  };
  const Entry tree[] = {
      {Menu::options, Menu::options, "Options", false, true, true, true},
      {Menu::regmode, Menu::options, "Regular mode", true, true, true, false},
      {Menu::ssaver, Menu::options, "Screen-Saver mode", false, true, true, false},
      {Menu::hfggf, Menu::options, "Animation speed", false, true, true, true},
      {Menu::tslow, Menu::hfggf, "Slow", false, true, true, false},
      {Menu::tfast, Menu::hfggf, "Fast", true, true, true, false},
      {Menu::impcolor, Menu::options, "Import color scale", false, true, true, false},
      {Menu::colormode, Menu::options, "Color mode", false, true, true, true},
      {Menu::uedit, Menu::colormode, "User defined colors", false, true, true, false},
      {Menu::tcolorm, Menu::colormode, "True color (16000000 colors)", true, true, true, false},
      {Menu::bcolorm, Menu::colormode, "Basic color (15 colors)", false, true, true, false},
      {Menu::fgdfgfg, Menu::options, "Edit colors", false, true, true, false},
      {Menu::hgfhg, Menu::options, "Print pattern (press \"P\")", false, true, true, false},
      {Menu::sdfdssdf, Menu::options, "Save shape (press \"S\")", false, true, true, false},

      {Menu::prevpic, Menu::options, "Previous picture", false, true, true, false},
      {Menu::nextpic, Menu::options, "Next picture", false, true, true, false},

      {Menu::fgdgf, Menu::options, "Auto-print", false, false, false, false},
      {Menu::dfsdffd, Menu::options, "Auto-save", false, false, false, false},
      {Menu::fghfghg, Menu::options, "Save settings", false, true, true, false},
      {Menu::restored, Menu::options, "Restore default settings", false, true, true, false},
      {Menu::sfancy, Menu::options, "sfancy", true, true, false, false},
      {Menu::quit, Menu::options, "Quit", false, true, true, false},
      {Menu::patmode5, Menu::patmode5, "Pattern mode", false, true, true, true},
      {Menu::csingle, Menu::patmode5, "Create single shape", true, true, true, false},
      {Menu::cpp9, Menu::patmode5, "Create part of pattern", false, true, true, false},
      {Menu::cpattern, Menu::patmode5, "Create pattern", false, true, true, false},
      {Menu::tyhfghgfh, Menu::tyhfghgfh, "Complexity of shape", false, true, false, true},
      {Menu::snormal, Menu::tyhfghgfh, "Shapes simple", false, true, true, false},
      {Menu::scenter, Menu::tyhfghgfh, "Shapes complex", true, true, true, false},
      {Menu::orderinfo, Menu::orderinfo, "Ordering information", false, true, true, false},
  };
  std::map<Menu, QMenu*> submenus;
  for (const Entry& e : tree) {
    QAction* a = nullptr;
    const bool onBar = e.parent == e.name;
    if (e.heads) {
      QMenu* m = onBar ? bar->addMenu(e.caption) : submenus.at(e.parent)->addMenu(e.caption);
      m->setStyle(ticks);
      submenus[e.name] = m;
      a = m->menuAction();
    } else {
      a = onBar ? bar->addAction(e.caption) : submenus.at(e.parent)->addAction(e.caption);
      a->setCheckable(!onBar);
      a->setChecked(e.ticked);
      const Menu name = e.name;
      QObject::connect(a, &QAction::triggered, bar, [a, name, clicked](bool checked) {
        // Ticks move only by the handlers, not by the click itself.
        if (a->isCheckable()) a->setChecked(!checked);
        clicked(name);
      });
    }
    a->setEnabled(e.enabled);
    a->setVisible(e.visible);
    actions[e.name] = a;
  }

  actions[Menu::prevpic]->setShortcut(QKeySequence(Qt::ALT | Qt::Key_Left));
  actions[Menu::nextpic]->setShortcut(QKeySequence(Qt::ALT | Qt::Key_Right));

  return actions;
}

}  // namespace tavrel
