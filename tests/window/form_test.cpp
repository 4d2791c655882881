// The window's own duties, with real key and mouse events on Qt's off-screen
// platform: its timers in Qt's loop, what reaches the handlers, and how
// captions and ticks are shown.
#include <gtest/gtest.h>

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPrinter>
#include <QProcess>
#include <QPushButton>
#include <QStyle>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <vector>

#include "window/print.h"
#include "window/session.h"

namespace tavrel {
namespace {

// Records what the window reports.
struct Recorder : RunEvents {
  std::vector<TimerId> ticks;
  std::vector<Menu> menus;
  int presses = 0, advances = 0;
  bool moving = false;  // asks for the next step 10 ms on
  void startup() override {}
  std::optional<Clock::time_point> advance(Clock::time_point now) override {
    ++advances;
    return moving ? std::optional(now + std::chrono::milliseconds(10)) : std::nullopt;
  }
  void answer(const std::function<void()>& handler) override { handler(); }
  void click(Control) override {}
  void optionClick(bool) override {}
  void menuClick(Menu m) override { menus.push_back(m); }
  void timerTick(TimerId t) override { ticks.push_back(t); }
  void mouseDown() override { ++presses; }
  void keyUp(Field) override {}
  void keyDown(Field, int) override {}
  void textChanged(Field) override {}
  void resized(int, int) override {}
};

struct FormTest : testing::Test {
  Session session{1.0};
  Form& form = session.form();
  Recorder events;
  void SetUp() override {
    form.setEvents(&events);
    form.show();
  }
};

TEST_F(FormTest, TimersTickInQtsLoopTheFrameTimerOnlyWhileSomethingMoves) {
  form.setTimerEnabled(TimerId::Timer4, false);
  form.setTimerInterval(TimerId::Timer2, 20);
  form.setTimerEnabled(TimerId::Timer2, true);
  QTest::qWait(110);
  EXPECT_GE(events.ticks.size(), 2u);
  EXPECT_EQ(std::count(events.ticks.begin(), events.ticks.end(), TimerId::Timer2),
            static_cast<long>(events.ticks.size()));
  form.setTimerEnabled(TimerId::Timer2, false);
  form.setTimerInterval(TimerId::Timer1, 0);  // interval 0: never
  form.setTimerEnabled(TimerId::Timer1, true);
  const std::size_t before = events.ticks.size();
  QTest::qWait(60);
  EXPECT_EQ(events.ticks.size(), before);

  // The frame timer runs while the program says something moves, and not at
  // all once nothing does. Menu clicks reach the handlers.
  events.moving = true;
  form.action(Menu::tslow)->trigger();
  QTest::qWait(100);
  EXPECT_GE(events.advances, 4);
  events.moving = false;
  form.action(Menu::tfast)->trigger();
  const int atRest = events.advances;
  QTest::qWait(100);
  EXPECT_LE(events.advances, atRest + 1);  // the step already asked for, then nothing
  form.action(Menu::dfsdffd)->trigger();   // not enabled: no click
  EXPECT_EQ(events.menus, (std::vector<Menu>{Menu::tslow, Menu::tfast}));
}

TEST_F(FormTest, PressesReachOnlyTheBareWindowAndClosingEnds) {
  form.setVisible(Control::Label6, true);
  form.setVisible(Control::Picture2, true);
  for (const char* name : {"Label6", "Picture2"})
    QTest::mouseClick(form.findChild<QWidget*>(name), Qt::LeftButton);
  EXPECT_EQ(events.presses, 0);
  QTest::mouseClick(form.centralWidget(), Qt::RightButton, {}, QPoint(400, 400));
  EXPECT_EQ(events.presses, 1);
  form.close();
  EXPECT_TRUE(form.ended());
  QTest::mouseClick(form.centralWidget(), Qt::RightButton, {}, QPoint(400, 400));
  EXPECT_EQ(events.presses, 1);  // nothing reaches the program once it ended
  // The information page's slides fill boxes 4 to 9.
  for (int box = 3; box <= 10; ++box) EXPECT_EQ(!form.slidePicture(box), box < 4 || box > 9) << box;
}

// Captions wrap in the window's one font, and they and the information
// page's text show whole, inside their margins, at every display scale.
TEST(Captions, WholeInTheWindowsOneFontAtEveryScale) {
  for (double scale : {1.0, 1.92, 2.56, 3.84}) {
    Session session{scale};
    Form& form = session.form();
    for (const char* name : {"Command1", "Option1", "Option2", "Label5", "Label6"}) {
      QWidget* w = form.findChild<QWidget*>(name);
      EXPECT_EQ(w->font(), form.font()) << name;
      const auto* label = qobject_cast<QLabel*>(w);
      const int m = label ? label->margin() : 0;  // inside a label's margin
      const QRect room = w->contentsRect().adjusted(m, m, -m, -m);
      const QString caption = w->property("text").toString();
      const QRect needed = w->fontMetrics().boundingRect(QRect(0, 0, room.width(), 10000),
                                                         Qt::TextWordWrap, caption);
      EXPECT_LE(needed.height(), room.height()) << name << " at scale " << scale;
      EXPECT_LE(needed.width(), room.width()) << name << " at scale " << scale;
    }
    EXPECT_GE(qobject_cast<QLabel*>(form.findChild<QWidget*>("Label6"))->margin(), 3 * scale);
    // Menu entries have room for the tick column (about an entry's height)
    // and the whole caption; the option buttons' dots grow with the scale.
    std::vector<QMenu*> menus;
    for (QAction* top : form.menuBar()->actions())
      if (top->menu()) menus.push_back(top->menu());
    for (std::size_t i = 0; i < menus.size(); ++i) {
      QMenu* menu = menus[i];
      menu->ensurePolished();
      for (QAction* a : menu->actions()) {
        if (a->menu()) menus.push_back(a->menu());
        if (!a->isVisible()) continue;
        const QRect entry = menu->actionGeometry(a);
        const QString caption = QString(a->text()).remove('&');
        EXPECT_GE(entry.width(), menu->fontMetrics().horizontalAdvance(caption) + entry.height())
            << caption.toStdString() << " at scale " << scale;
      }
    }
    QWidget* option = form.findChild<QWidget*>("Option1");
    EXPECT_GE(option->style()->pixelMetric(QStyle::PM_ExclusiveIndicatorWidth, nullptr, option),
              10 * scale);
  }
}

// A picture printed to a PDF file, each picture pixel a square of nine by
// nine dots at 300 dots an inch: a tile repeats edge to edge over the page
// from its corner, a shape stands alone in the middle on white paper.
TEST(Printing, ATileFillsAPdfPageAndAShapeStandsInItsMiddleCrisply) {
  if (std::system("command -v pdftoppm >/dev/null") != 0) GTEST_SKIP() << "needs pdftoppm";
  ImageData picture{102, 102, std::vector<Colour>(102 * 102, 0)};
  for (int y = 1; y <= 98; ++y)
    for (int x = 1; x <= 98; ++x)
      picture.pixels[y * 102 + x] = (x * 7 + y * 13) * 0x010101 % 0xFFFFFF;
  for (const bool tile : {true, false}) {
    SCOPED_TRACE(tile ? "tile" : "shape");
    QTemporaryDir dir;
    QRect area;  // the printable part of the page, in dots
    {
      QPrinter printer(QPrinter::HighResolution);
      printer.setResolution(300);
      printer.setOutputFileName(dir.filePath("page.pdf"));
      paintPage(printer, picture, tile, 2.54 * 3);
      area = printer.pageRect(QPrinter::DevicePixel).toRect();
    }
    const QString page = dir.filePath("page");
    ASSERT_EQ(
        QProcess::execute("pdftoppm", {"-r", "300", "-png", "-singlefile", page + ".pdf", page}),
        0);
    const QImage image(page + ".png");
    // The shape's corner on the page, in dots from the printable area's.
    const QPoint corner((area.width() - 102 * 9) / 2, (area.height() - 102 * 9) / 2);
    // Tile pixel 1 + d / 9 (mod 98), or shape pixel d / 9 from its corner, at
    // dot d each way, in every block of nine dots but at its edges, where the
    // rasteriser may blend; its colour conversion may move a channel by a
    // step or two. Around the shape the paper stays white.
    const auto inside = [](int d) { return d % 9 == 7 ? d + 3 : d + 2; };  // 1, 3, 5, 7, 10, ...
    for (int y = 1; y < area.height(); y = inside(y))
      for (int x = 1; x < area.width(); x = inside(x)) {
        Colour want = kWhite;
        if (tile) {
          want = picture.at(1 + x / 9 % 98, 1 + y / 9 % 98);
        } else if (const QPoint at(x - corner.x(), y - corner.y());
                   at.x() >= 0 && at.y() >= 0 && at.x() < 102 * 9 && at.y() < 102 * 9) {
          if (at.x() % 9 == 0 || at.y() % 9 == 0) continue;  // the block's edge
          want = picture.at(at.x() / 9, at.y() / 9);
        }
        const QRgb got = image.pixel(area.topLeft() + QPoint(x, y));
        ASSERT_LE(std::abs(qRed(got) - int(want & 0xFF)) +
                      std::abs(qGreen(got) - int(want >> 8 & 0xFF)) +
                      std::abs(qBlue(got) - int(want >> 16)),
                  6)
            << x << "," << y;
      }
  }
}

}  // namespace
}  // namespace tavrel
