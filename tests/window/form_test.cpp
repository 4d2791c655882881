// The window's own duties, with real key and mouse events on Qt's off-screen
// platform: the event pump and its timers, what reaches the handlers, and
// how captions and ticks are shown.
#include "window/session.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <vector>

namespace tavrel {
namespace {

// Records what the window reports.
struct Recorder : RunEvents {
  std::vector<TimerId> ticks;
  std::vector<Menu> menus;
  int presses = 0;
  std::function<void()> onClick;
  void startup() override {}
  void click(Control) override {
    if (onClick) onClick();
  }
  void optionClick(bool) override {}
  void menuClick(Menu m) override { menus.push_back(m); }
  void timerTick(TimerId t) override { ticks.push_back(t); }
  void mouseDown() override { ++presses; }
  void keyUp(Field) override {}
  void keyDown(Field, int) override {}
  void textChanged(Field) override {}
};

struct FormTest : testing::Test {
  Session session{1.0};
  Form& form = session.form();
  Recorder events;
  void SetUp() override {
    form.setEvents(&events);
    form.endHook = [] { throw ProgramEnded{}; };
    form.show();
  }
  template <typename T>
  T* child(const char* name) {
    return form.findChild<T*>(name);
  }
  QAction* entry(const char* caption) {
    for (QAction* top : form.menuBar()->actions()) {
      if (top->text() == caption) return top;
      if (QMenu* m = top->menu())
        for (QAction* a : m->actions()) {
          if (a->text() == caption) return a;
          if (a->menu())
            for (QAction* b : a->menu()->actions())
              if (b->text() == caption) return b;
        }
    }
    return nullptr;
  }
};

TEST_F(FormTest, TimersTickOnTheirClockAndOnceWhenOverdue) {
  form.setTimerInterval(TimerId::Timer2, 1);
  form.setTimerEnabled(TimerId::Timer2, true);
  form.setTimerEnabled(TimerId::Timer4, false);
  // The pump waits for the tick (or for the window's own events) at rest.
  for (int i = 0; i < 50 && events.ticks.empty(); ++i) form.DoEvents();
  EXPECT_EQ(events.ticks, std::vector<TimerId>{TimerId::Timer2});
  QTest::qWait(80);  // overdue several times
  form.DoEvents();
  EXPECT_EQ(events.ticks.size(), 2u);
  form.setTimerEnabled(TimerId::Timer2, false);
  form.setTimerInterval(TimerId::Timer1, 0);  // interval 0: never
  form.setTimerEnabled(TimerId::Timer1, true);
  QTest::qWait(40);
  QTimer::singleShot(30, [] {});  // something to end the wait
  form.DoEvents();
  EXPECT_EQ(events.ticks.size(), 2u);
}

TEST_F(FormTest, APumpNestedInAHandlerNeverWaits) {
  form.setTimerEnabled(TimerId::Timer4, false);  // nothing due: an outer pump would wait
  long waitsInside = -1;
  events.onClick = [&] {
    const long before = form.waits();
    form.DoEvents();
    waitsInside = form.waits() - before;
  };
  QMetaObject::invokeMethod(child<QPushButton>("Command3"), &QPushButton::click,
                            Qt::QueuedConnection);
  form.DoEvents();
  EXPECT_EQ(waitsInside, 0);
}

TEST_F(FormTest, MenuClicksReachTheHandlersButMoveNoTick) {
  QAction* slow = entry("Slow");
  QAction* fast = entry("Fast");
  slow->trigger();
  fast->trigger();
  EXPECT_EQ(events.menus, (std::vector<Menu>{Menu::tslow, Menu::tfast}));
  EXPECT_FALSE(slow->isChecked());
  EXPECT_TRUE(fast->isChecked());
  entry("Edit colors")->trigger();  // not enabled: no click
  EXPECT_EQ(events.menus.size(), 2u);
}

TEST_F(FormTest, PressesReachOnlyTheBareWindowAndClosingEnds) {
  form.setVisible(Control::Label6, true);
  form.setVisible(Control::Picture2, true);
  QTest::mouseClick(child<QWidget>("Label6"), Qt::LeftButton);
  QTest::mouseClick(child<QWidget>("Picture2"), Qt::LeftButton);
  EXPECT_EQ(events.presses, 0);
  QTest::mouseClick(form.centralWidget(), Qt::RightButton, {}, QPoint(400, 400));
  EXPECT_EQ(events.presses, 1);
  EXPECT_THROW(form.close(), ProgramEnded);
}

TEST_F(FormTest, NoKeyReachesTheButtonUnderClickToBegin) {
  QPushButton* command1 = child<QPushButton>("Command1");
  int clicks = 0;
  events.onClick = [&] { ++clicks; };
  QTest::mouseClick(form.centralWidget(), Qt::LeftButton, {}, QPoint(300, 300));
  QTest::keyClick(&form, Qt::Key_Space);
  QTest::keyClick(&form, Qt::Key_Return);
  EXPECT_EQ(clicks, 0);
  EXPECT_NE(QApplication::focusWidget(), command1);
  form.setVisible(Control::Command3, false);
  command1->setFocus();
  QTest::keyClick(command1, Qt::Key_Space);
  EXPECT_EQ(clicks, 1);
}

TEST_F(FormTest, CaptionsWrapInTheWindowsOneFont) {
  form.showControlPanel();
  for (const char* name : {"Command1", "Option1", "Option2", "Label5"}) {
    QWidget* w = child<QWidget>(name);
    EXPECT_EQ(w->font(), form.font()) << name;
    const QString caption = w->property("text").toString();
    const QRect needed = w->fontMetrics().boundingRect(QRect(0, 0, w->width(), 1000),
                                                       Qt::TextWordWrap, caption);
    EXPECT_LE(needed.height(), w->height()) << name;
  }
}

}  // namespace
}  // namespace tavrel
