// The whole program in its real window on the off-screen platform, from the
// start screen to Quit, wired up as the executable does it and run by Qt's
// event loop until the program ends it.
#include <gtest/gtest.h>

#include <QAction>
#include <QDir>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <functional>
#include <vector>

#include "window/embedded.h"
#include "window/session.h"

namespace tavrel {
namespace {

// From the start screen through both modes to a close, run by Qt's loop: each
// step 300 ms after the last, the last one ending the program with status 0.
TEST(RunModes, FromTheStartScreenThroughBothModesToAClose) {
  QTemporaryDir dir;
  const QString old = QDir::currentPath();
  QDir::setCurrent(dir.path());  // no backdrop files here
  Session session{1.0};
  Form& form = session.form();
  form.resize(800, 600);
  const auto child = [&](const char* name) { return form.findChild<QWidget*>(name); };
  const auto shown = [&](const char* name) { return child(name)->isVisible(); };
  const auto menu = [&](Menu m) { form.action(m)->trigger(); };
  const Picture embedded = form.slidePicture(9);
  QRect before;
  const std::vector<std::function<void()>> steps{
      [&] {
        // No backdrop files here: the embedded picture stays up, no menus.
        EXPECT_EQ(form.SurfaceWindow().picture(), embedded);
        EXPECT_FALSE(form.menuBar()->actions().at(0)->isVisible());
        QTest::mouseClick(form.findChild<QPushButton*>("Command3"), Qt::LeftButton);
      },
      [&] {
        EXPECT_TRUE(form.menuBar()->actions().at(0)->isVisible());
        EXPECT_EQ(form.SurfaceWindow().pixel(5, 5), OutlineColor);  // the first shape's
      },
      [&] {
        // At rest nothing moves, and no frame timer runs.
        EXPECT_FALSE(form.stepping());
        form.findChild<QLineEdit*>("Text5")->setText("0");
        menu(Menu::ssaver);
        EXPECT_TRUE(shown("Picture1"));
        EXPECT_EQ(form.findChild<QLineEdit*>("Text5")->text(), "1");
        EXPECT_FALSE(shown("Command1"));
        EXPECT_EQ(form.SurfaceWindow().pixel(form.SurfaceWindow().width() / 2, 300), 0);
        EXPECT_TRUE(form.stepping());
        before = child("Picture1")->geometry();
      },
      [&] {
        EXPECT_NE(child("Picture1")->geometry(), before);  // it moves
        const Picture old = form.SurfacePicture1().Image();
        session.program().timerTick(TimerId::Timer1);
        EXPECT_NE(*form.SurfacePicture1().Image(), *old);
        EXPECT_EQ(form.SurfaceWindow().pixel(400, 300), OutlineColor);  // the cover
      },
      [&] {
        const Picture shape = form.SurfacePicture1().Image();
        menu(Menu::regmode);
        EXPECT_FALSE(shown("Picture1"));
        EXPECT_TRUE(shown("Command1"));
        // Copied back one pixel up and left, one pixel larger.
        const Surface& win = form.SurfaceWindow();
        const int left = win.width() / 2 - 50, top = win.height() / 2 - 50;
        for (int y = 0; y <= 100; ++y)
          for (int x = 0; x <= 100; ++x)
            ASSERT_EQ(win.pixel(left + x, top + y), shape->at(x + 1, y + 1));
        // Slow, then close the window while the picture travels.
        menu(Menu::tslow);
        menu(Menu::ssaver);
      },
      [&] { form.close(); }};
  form.show();
  for (std::size_t i = 0; i < steps.size(); ++i)
    QTimer::singleShot(300 * static_cast<int>(i + 1), &form, steps[i]);
  QTimer::singleShot(300 * static_cast<int>(steps.size()) + 5000, &form, [] {
    ADD_FAILURE() << "the program did not end";
    QCoreApplication::exit(1);
  });
  EXPECT_EQ(QApplication::exec(), 0);
  EXPECT_TRUE(form.ended());
  QDir::setCurrent(old);
}

}  // namespace
}  // namespace tavrel
