// The window driven with real key and mouse events on Qt's off-screen platform.
#include "window/form.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include "modes/modes.h"
#include "shape/makeshape.h"
#include "window/display_scale.h"
#include "window/embedded.h"
#include "window/surface_view.h"

namespace tavrel {
namespace {

struct Ended {};

TEST(DisplayScale, KeepsTheProgramNearAThousandPixelsWide) {
  EXPECT_EQ(chooseDisplayScale(1024, 718), 1);
  EXPECT_EQ(chooseDisplayScale(800, 550), 1);
  for (auto [w, h] : {std::pair{1920, 1030}, {2560, 1390}, {3840, 2110}}) {
    const double s = chooseDisplayScale(w, h);
    EXPECT_NEAR(w / s, 1000, 1) << w;
    EXPECT_GE(h / s, 500) << w;
  }
  EXPECT_GE(1050 / chooseDisplayScale(2400, 1050), 500);  // a wide, low screen: height wins
  EXPECT_EQ(chooseDisplayScale(1920, 1030, "2"), 2);
  EXPECT_EQ(chooseDisplayScale(1024, 718, "abc"), 1);
}

TEST(Form, DesignValuesAndStartVisibility) {
  Form f(1);
  EXPECT_EQ(f.windowTitle(), "Tavrel");
  EXPECT_EQ(f.Command3->text(), "Click to begin");
  EXPECT_EQ(f.Command1->text(), "Create random shape");
  EXPECT_EQ(f.Command3->geometry(), QRect(8, 16, 81, 33));
  EXPECT_EQ(f.Command1->geometry(), f.Command3->geometry());
  EXPECT_EQ(f.Label5->text(), "Seconds waited (scr-mode):");
  EXPECT_EQ(f.Text5->geometry(), QRect(144, 480, 25, 19));
  for (QWidget* w : std::initializer_list<QWidget*>{f.Label1, f.Label2, f.Label6, f.Text1, f.Text3,
                                                    f.Option1, f.Picture2})
    EXPECT_TRUE(w->isHidden());
  EXPECT_FALSE(f.isVisible(Control::Picture1));
  EXPECT_EQ(f.Text3->maxLength(), 2);
  EXPECT_EQ(f.Text2->maxLength(), 3);
  EXPECT_FALSE(f.Text2->isEnabled());
  EXPECT_FALSE(f.Text4->isEnabled());
  EXPECT_TRUE(f.Text5->isEnabled());
  EXPECT_TRUE(f.Option2->isChecked());
  EXPECT_EQ(f.Timer4.interval, 5000);
  EXPECT_TRUE(f.Timer4.enabled);
  EXPECT_FALSE(f.Timer1.enabled);
  EXPECT_EQ(f.Timer2.interval, 3000);

  Form big(2);
  EXPECT_EQ(big.Command3->geometry(), QRect(16, 32, 162, 66));
}

TEST(Form, ControlPanelShowsThirteenAndHidesFour) {
  Form f(1);
  f.show();
  f.showControlPanel();
  f.showControlPanel();  // twice: nothing more
  int shown = 0;
  for (QWidget* w : std::initializer_list<QWidget*>{f.Command1, f.Label2, f.Text2, f.Label3,
                                                    f.Text3, f.Label5, f.Text5, f.Label7, f.Text6,
                                                    f.Label8, f.Text7, f.Option1, f.Option2})
    shown += w->isVisible();
  EXPECT_EQ(shown, 13);
  for (QWidget* w : std::initializer_list<QWidget*>{f.Label1, f.Text1, f.Label4, f.Text4})
    EXPECT_FALSE(w->isVisible());
  f.hideControlPanel();
  EXPECT_FALSE(f.Command1->isVisible());
  EXPECT_FALSE(f.Option2->isVisible());
}

TEST(Form, MenuTreeAndHandlers) {
  Form f(1);
  EXPECT_TRUE(f.ticked(f.regmode));
  EXPECT_TRUE(f.ticked(f.tfast));
  EXPECT_TRUE(f.ticked(f.tcolorm));
  EXPECT_TRUE(f.ticked(f.csingle));
  EXPECT_TRUE(f.ticked(f.scenter));
  EXPECT_FALSE(f.cpattern->isEnabled());
  EXPECT_FALSE(f.impcolor->isVisible());
  EXPECT_FALSE(f.sfancy->isVisible());
  EXPECT_FALSE(f.tyhfghgfh->menuAction()->isVisible());
  EXPECT_FALSE(f.uedit->isEnabled());
  EXPECT_EQ(f.hgfhg->text(), "Print pattern (press \"P\")");

  f.cpp9->trigger();
  EXPECT_EQ(f.st.mpattern, 1);
  EXPECT_EQ(f.st.ggmbj, 1);
  f.csingle->trigger();
  EXPECT_EQ(f.st.mpattern, 0);
  EXPECT_EQ(f.st.ggmbj, 0);
  EXPECT_TRUE(f.ticked(f.csingle));
  EXPECT_FALSE(f.ticked(f.cpp9));

  f.bcolorm->trigger();
  EXPECT_EQ(f.st.tcolor, 0);
  EXPECT_FALSE(f.tcolorm->isChecked());
  f.scenter->trigger();
  EXPECT_EQ(f.st.centerf, 1);
  f.snormal->trigger();
  EXPECT_EQ(f.st.centerf, 0);

  f.show();
  QTest::mouseClick(f.Option1, Qt::LeftButton);
  EXPECT_EQ(f.st.complexy, 1);
  EXPECT_FALSE(f.option2Value());
}

TEST(Form, FieldsClampAtTheKeyRelease) {
  Form f(1);
  f.show();
  f.showControlPanel();
  f.Text3->clear();
  QTest::keyClick(f.Text3, Qt::Key_9);
  EXPECT_EQ(f.Text3->text(), "9");
  QTest::keyClick(f.Text3, Qt::Key_9);
  EXPECT_EQ(f.Text3->text(), "25");
  f.Text5->clear();
  QTest::keyClicks(f.Text5, "99");
  EXPECT_EQ(f.Text5->text(), "50");
  f.Text5->clear();
  QTest::keyClicks(f.Text5, "0");
  EXPECT_EQ(f.Text5->text(), "0");  // the lower limit waits for the next generation
  QTest::keyClicks(f.Text2, "55");
  EXPECT_EQ(f.Text2->text(), "100");  // not enabled: no input
  // The side stepper doubles and halves between 4 and 64.
  f.st.ssg = 4;
  f.Text4->setEnabled(true);
  f.Text4->show();
  for (int i = 0; i < 6; ++i) QTest::keyClick(f.Text4, Qt::Key_Up);
  EXPECT_EQ(f.Text4->text(), "64");
  QTest::keyClick(f.Text4, Qt::Key_Left);
  EXPECT_EQ(f.Text4->text(), "32");
}

TEST(Form, EndStopsFromANestedHandlerAndPressesReachOnlyTheBareWindow) {
  Form f(1);
  f.endHook = [] { throw Ended{}; };
  f.show();
  int presses = 0;
  f.onMouseDown = [&] { ++presses; };
  f.Label6->show();
  QTest::mouseClick(f.Label6, Qt::LeftButton);
  QTest::mouseClick(f.Picture2, Qt::LeftButton);
  EXPECT_EQ(presses, 0);
  QTest::mouseClick(f.centralWidget(), Qt::RightButton, {}, QPoint(400, 400));
  EXPECT_EQ(presses, 1);

  // Quit, reached through the event pump while a handler runs.
  f.onCommand1 = [&] {
    QMetaObject::invokeMethod(f.quit, &QAction::trigger, Qt::QueuedConnection);
    f.DoEvents();
  };
  EXPECT_THROW(f.Command1->click(), Ended);
}

TEST(Form, GeneratorsDrawThroughTheWindowAndTimersTickOnlyInTheirTime) {
  Form f(1);
  f.show();
  f.resize(700, 560);
  QApplication::processEvents();
  f.st.rnd.Randomize(3);
  f.st.tcolor = 1;
  makeshape(f, f.st);
  EXPECT_EQ(f.SurfacePicture1().width(), 102);
  EXPECT_EQ(f.SurfaceWindow().width(), f.centralWidget()->width());

  int ticks = 0;
  f.Timer2.tick = [&] { ++ticks; };
  f.setTimerEnabled(TimerId::Timer2, true);
  f.setTimerInterval(TimerId::Timer2, 1);
  f.DoEvents();
  EXPECT_EQ(ticks, 0);  // no sooner than the next tick of the 1/64 s clock
  QTest::qWait(80);     // overdue several times
  f.DoEvents();
  EXPECT_EQ(ticks, 1);
  f.DoEvents();
  EXPECT_EQ(ticks, 1);
}

TEST(Form, GuardsOfTheTickGroupsAndTheChangeClamps) {
  Form f(1);
  f.tfast->trigger();  // already ticked: nothing
  EXPECT_EQ(f.st.nwait4, 0);
  f.st.nwait4 = 7;
  f.tslow->trigger();
  f.tfast->trigger();
  EXPECT_EQ(f.st.nwait4, 0);
  EXPECT_TRUE(f.ticked(f.tfast));
  EXPECT_FALSE(f.ticked(f.tslow));

  // cpattern sets the mode but leaves ggmbj and cpp9 alone; cpp9 is then guarded.
  f.st.ggmbj = 0;
  f.cpattern->setEnabled(true);  // only to reach its handler
  f.cpattern->trigger();
  EXPECT_EQ(f.st.mpattern, 1);
  EXPECT_EQ(f.st.ggmbj, 0);
  EXPECT_TRUE(f.ticked(f.cpattern));
  EXPECT_FALSE(f.ticked(f.csingle));
  f.cpp9->trigger();
  EXPECT_EQ(f.st.ggmbj, 0);
  EXPECT_FALSE(f.ticked(f.cpp9));
  EXPECT_TRUE(f.ticked(f.cpattern));
  f.csingle->trigger();
  EXPECT_TRUE(f.ticked(f.csingle));
  EXPECT_FALSE(f.ticked(f.cpattern));

  // A chosen tick that is already set writes its value again.
  f.st.tcolor = 5;
  f.tcolorm->trigger();
  EXPECT_EQ(f.st.tcolor, 1);
  EXPECT_TRUE(f.tcolorm->isChecked());
  EXPECT_FALSE(f.bcolorm->isChecked());

  // A disabled entry cannot be chosen.
  f.uedit->trigger();
  EXPECT_FALSE(f.ticked(f.uedit));

  f.Text6->setText("30");
  EXPECT_EQ(f.Text6->text(), "25");
  f.Text7->setText("10");
  EXPECT_EQ(f.Text7->text(), "9");
  f.Text7->setText("abc");  // no number: no upper limit to pass
  EXPECT_EQ(f.Text7->text(), "abc");
}

TEST(Form, LoadPictureKeepsTheOldOneAndClosingEnds) {
  Form f(1);
  const QString dir = QDir::temp().filePath("tavrel-form-test");
  QDir().mkpath(dir);
  const QString old = QDir::currentPath();
  QDir::setCurrent(dir);
  {
    QFile broken("broken.bmp");
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("BM not a bitmap at all");
  }
  Picture p = embeddedPicture(4);
  ASSERT_TRUE(p);
  Picture kept = p;
  EXPECT_FALSE(f.LoadPicture("missing.bmp", p));
  EXPECT_FALSE(f.LoadPicture("broken.bmp", p));
  EXPECT_EQ(p, kept);
  QDir::setCurrent(old);

  f.endHook = [] { throw Ended{}; };
  f.show();
  EXPECT_THROW(f.close(), Ended);
}

TEST(EmbeddedPictures, SizesOfTheTableAndMirrorImages) {
  const struct {
    int holder, width, height;
  } table[] = {{9, 203, 201}, {2, 201, 203}, {4, 198, 202}, {5, 201, 203},
               {6, 201, 203}, {7, 201, 203}, {8, 201, 203}};
  for (const auto& row : table) {
    Picture p = embeddedPicture(row.holder);
    ASSERT_TRUE(p) << row.holder;
    EXPECT_EQ(p->width, row.width) << row.holder;
    EXPECT_EQ(p->height, row.height) << row.holder;
    // Mirror symmetric about some axis within three pixels of the middle.
    auto mirrored = [&](bool across) {
      const int n = across ? p->width : p->height;
      for (int shift = -6; shift <= 6; ++shift) {  // in half pixels
        bool same = true;
        for (int y = 0; y < p->height && same; ++y)
          for (int x = 0; x < p->width && same; ++x) {
            const int m = n - 1 + shift - (across ? x : y);
            if (m < 0 || m >= n) continue;
            same = p->at(x, y) == (across ? p->at(m, y) : p->at(x, m));
          }
        if (same) return true;
      }
      return false;
    };
    EXPECT_TRUE(mirrored(true)) << row.holder;
    EXPECT_TRUE(mirrored(false)) << row.holder;
  }
}

}  // namespace
}  // namespace tavrel
