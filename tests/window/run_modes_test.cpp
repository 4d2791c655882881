// The whole program in its real window on the off-screen platform, from the
// start screen to Quit, with End replaced so that the never-returning start-up
// can be left.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <vector>

#include "modes/modes.h"
#include "window/embedded.h"
#include "window/form.h"
#include "window/run.h"
#include "window/surface_view.h"

namespace tavrel {
namespace {

struct Ended {};

// Runs the program; `steps` run one after another from its event pump, each
// `gap` ms after the last. The last step should end the program.
void runProgram(Form& f, std::vector<std::function<void()>> steps, int gap = 150) {
  f.endHook = [] { throw Ended{}; };
  connectRunModes(f);
  f.onStartup = nullptr;
  f.show();
  for (std::size_t i = 0; i < steps.size(); ++i)
    QTimer::singleShot(static_cast<int>(gap * (i + 1)), &f, steps[i]);
  EXPECT_THROW(startup(f, f.st), Ended);
}

class InFolder : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.isValid());
    old_ = QDir::currentPath();
    QDir::setCurrent(dir_.path());
  }
  void TearDown() override { QDir::setCurrent(old_); }
  QTemporaryDir dir_;
  QString old_;
};

using RunModes = InFolder;

TEST_F(RunModes, StartScreenFirstShapeButtonAndQuit) {
  Form f(1);
  f.resize(800, 600);
  loadEmbeddedPictures(f);
  const Picture embedded = f.slides[9];
  Picture firstPicture1;
  runProgram(f, {[&] {
                   // No backdrop files here: the embedded picture stays up.
                   EXPECT_EQ(f.SurfaceWindow().picture(), embedded);
                   EXPECT_FALSE(f.options->menuAction()->isVisible());
                   EXPECT_FALSE(f.orderinfo->isVisible());
                   const QPoint middle = f.Command3->geometry().center();
                   EXPECT_EQ(f.centralWidget()->childAt(middle), f.Command3);
                   QTest::mouseClick(f.Command3, Qt::LeftButton);
                 },
                 [&] {
                   EXPECT_TRUE(f.Command3->isHidden());
                   EXPECT_TRUE(f.options->menuAction()->isVisible());
                   EXPECT_TRUE(f.Text5->isVisible());
                   EXPECT_EQ(f.SurfaceWindow().picture(), nullptr);
                   for (int i = 1; i <= 7; ++i) EXPECT_EQ(f.st.slideshown[i], 0);
                   // The first shape stands in the middle, on the boundary colour.
                   const Surface& win = f.SurfaceWindow();
                   EXPECT_EQ(win.pixel(5, 5), OutlineColor);
                   EXPECT_EQ(f.SurfacePicture1().width(), 102);
                   firstPicture1 = f.SurfacePicture1().Image();
                   f.cpp9->trigger();
                   QTest::mouseClick(f.Command1, Qt::LeftButton);
                 },
                 [&] {
                   // A tile now: its frame runs 49 pixels out from the middle.
                   EXPECT_NE(*f.SurfacePicture1().Image(), *firstPicture1);
                   EXPECT_EQ(f.SurfacePicture1().pixel(1, 50), OutlineColor);
                   EXPECT_EQ(f.SurfacePicture1().pixel(99, 50), OutlineColor);
                   f.quit->trigger();
                 }});
}

TEST_F(RunModes, ScreenSaverBouncesTicksAndComesBack) {
  Form f(1);
  f.resize(800, 600);
  QRect before;
  runProgram(f,
             {[&] { f.Command3->click(); },
              [&] {
                f.Text5->setText("0");
                f.ssaver->trigger();
                EXPECT_TRUE(f.isVisible(Control::Picture1));
                EXPECT_EQ(f.Text5->text(), "1");
                EXPECT_EQ(f.Timer1.interval, 1000);
                EXPECT_TRUE(f.Timer1.enabled);
                EXPECT_FALSE(f.Command1->isVisible());
                EXPECT_EQ(f.SurfaceWindow().pixel(f.SurfaceWindow().width() / 2, 300), 0);
                before = f.Picture1->geometry();
              },
              [&] {
                EXPECT_NE(f.Picture1->geometry(), before);  // it moves
                const Picture old = f.SurfacePicture1().Image();
                f.Timer1.tick();
                EXPECT_NE(*f.SurfacePicture1().Image(), *old);
                EXPECT_EQ(f.SurfaceWindow().pixel(400, 300), OutlineColor);  // the cover
                // The menus work here too: the information page over the black window.
                f.orderinfo->trigger();
                EXPECT_TRUE(f.Label6->isVisible());
                QTest::mouseClick(f.Label6, Qt::LeftButton);  // a press on the page: nothing
                EXPECT_TRUE(f.Label6->isVisible());
                QTest::mouseClick(f.centralWidget(), Qt::LeftButton, {}, QPoint(700, 500));
                EXPECT_FALSE(f.Label6->isVisible());
                EXPECT_FALSE(f.Command1->isVisible());  // still the screen-saver
              },
              [&] {
                const Picture shape = f.SurfacePicture1().Image();
                f.regmode->trigger();
                EXPECT_FALSE(f.isVisible(Control::Picture1));
                EXPECT_TRUE(f.Command1->isVisible());
                // Copied back one pixel up and left, one pixel larger.
                const Surface& win = f.SurfaceWindow();
                const int left = win.width() / 2 - 50, top = win.height() / 2 - 50;
                for (int y = 0; y <= 100; ++y)
                  for (int x = 0; x <= 100; ++x)
                    ASSERT_EQ(win.pixel(left + x, top + y), shape->at(x + 1, y + 1));
                // Slow, then close the window in the middle of a paced wait.
                f.tslow->trigger();
                f.ssaver->trigger();
                f.Timer7.tick = [&] { f.close(); };
              }},
             300);
}

TEST_F(RunModes, BackdropsRotateUntilTheClick) {
  const std::filesystem::path samples = TAVREL_SAMPLES;
  for (int i = 2; i <= 7; ++i) {
    const std::string name = "example" + std::to_string(i) + ".bmp";
    std::filesystem::copy_file(samples / name, name);
  }
  Form f(1);
  f.resize(800, 600);
  std::vector<Picture> shown;
  runProgram(f, {[&] {
                   shown.push_back(f.SurfaceWindow().picture());
                   for (int i = 0; i < 11; ++i) {
                     f.Timer4.tick();
                     shown.push_back(f.SurfaceWindow().picture());
                   }
                   f.Command3->click();
                 },
                 [&] {
                   EXPECT_FALSE(f.Timer4.enabled);
                   f.quit->trigger();
                 }});
  ASSERT_EQ(shown.size(), 12u);
  for (std::size_t i = 0; i < shown.size(); ++i) {
    ASSERT_NE(shown[i], nullptr);
    EXPECT_EQ(shown[i]->width, 408);
    if (i > 0) {
      EXPECT_NE(*shown[i], *shown[i - 1]);
    }
  }
}

}  // namespace
}  // namespace tavrel
