// What a view of a surface shows, and when it repaints: every changed pixel
// reaches the screen at the display scale, and pixels drawn over with the
// colour they held ask for no repaint at all.
#include "window/surface_view.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPaintEvent>
#include <QtTest/QTest>

#include "window/image_convert.h"
#include "window/server_stage.h"

namespace tavrel {
namespace {

constexpr Colour kRed = 0x0000FF, kBlue = 0xFF0000, kGreen = 0x00FF00;

// The view's pixel under the middle of program pixel (x, y).
Colour shown(SurfaceView& view, double scale, int x, int y) {
  const QImage img = view.grab().toImage();
  return fromQRgb(
      img.pixel(static_cast<int>((x + 0.5) * scale), static_cast<int>((y + 0.5) * scale)));
}

// Only real changes repaint; each reaches the screen, and what the view asks
// Qt to repaint covers it at the display scale, so nothing stale stays.
TEST(SurfaceView, OnlyRealChangesRepaintAndEachReachesTheScreen) {
  struct Painted : QObject {
    QRegion region;
    bool eventFilter(QObject*, QEvent* e) override {
      if (e->type() == QEvent::Paint) region += static_cast<QPaintEvent*>(e)->region();
      return false;
    }
  };
  for (const double scale : {1.0, 2.0, 1.5}) {
    SCOPED_TRACE(scale);
    Surface s(12, 10, kBlue);
    SurfaceView view(s, scale);
    view.resize(static_cast<int>(20 * scale), static_cast<int>(20 * scale));
    view.show();
    EXPECT_TRUE(view.refresh());  // the first copy
    EXPECT_FALSE(view.refresh());
    QCoreApplication::processEvents();  // the first paint, of everything
    Painted painted;
    view.installEventFilter(&painted);

    // A whole-surface wipe to the colour it has, as a generation in
    // screen-saver mode leaves the window: nothing to repaint.
    s.Line(LineFlags::FilledBox, 0, 0, 100, 100, kBlue);
    EXPECT_TRUE(view.stale());
    EXPECT_FALSE(view.refresh());
    EXPECT_FALSE(view.stale());

    // Drawn over and back within one step: still nothing.
    s.Line(LineFlags::FilledBox, 2, 2, 9, 7, kRed);
    s.Line(LineFlags::FilledBox, 2, 2, 9, 7, kBlue);
    EXPECT_FALSE(view.refresh());

    // Changes in two far corners, inside a wipe: both shown, the rest kept.
    s.Line(LineFlags::FilledBox, 0, 0, 100, 100, kBlue);
    s.plot(0, 0, kRed);
    s.plot(11, 9, kGreen);
    EXPECT_TRUE(view.refresh());
    for (int i = 0; i < 100 && painted.region.isEmpty(); ++i) QTest::qWait(5);
    for (const QPoint at : {QPoint(0, 0), QPoint(11, 9)})
      EXPECT_TRUE(painted.region.contains(QRectF(at * scale, QSizeF(scale, scale)).toAlignedRect()))
          << painted.region.boundingRect().x() << "," << painted.region.boundingRect().y();
    EXPECT_EQ(shown(view, scale, 0, 0), kRed);
    EXPECT_EQ(shown(view, scale, 11, 9), kGreen);
    EXPECT_EQ(shown(view, scale, 5, 5), kBlue);

    // And back: the old colour returns on the screen.
    s.plot(0, 0, kBlue);
    EXPECT_TRUE(view.refresh());
    EXPECT_EQ(shown(view, scale, 0, 0), kBlue);
    EXPECT_EQ(shown(view, scale, 11, 9), kGreen);

    // A new size is copied whole, the new pixels in the back colour.
    s.resize(16, 12);
    s.plot(15, 11, kRed);
    EXPECT_TRUE(view.refresh());
    EXPECT_EQ(shown(view, scale, 14, 10), kBlue);
    EXPECT_EQ(shown(view, scale, 15, 11), kRed);
    EXPECT_EQ(shown(view, scale, 11, 9), kGreen);
    s.Line(LineFlags::FilledBox, 0, 0, 5, 5, kBlue);  // same size, same pixels: nothing
    EXPECT_FALSE(view.refresh());
  }
}

// A picture kept on the server leaves bare exactly what it stood on and no
// longer covers: no trail, and nothing under its new place painted over.
TEST(ServerStage, WhatAMoveLeavesBareIsTheOldBoxLessTheNew) {
  const QRect at(100, 50, 102, 102);
  const std::pair<QRect, int> rows[] = {
      {at.translated(1, 1), 2},
      {at.translated(-1, -1), 2},
      {at.translated(4, 0), 1},
      {at.translated(0, -3), 1},
      {at, 0},
      {at.translated(102, 0), 1},
      {at.adjusted(2, 2, -2, -2), 4},  // a smaller picture
      {at.adjusted(-5, 0, 5, 0), 0},   // a wider one
      {QRect(), 1},                    // nothing drawn now: all of it
  };
  for (const auto& [now, count] : rows) {
    SCOPED_TRACE(testing::Message() << now.x() << "," << now.y() << " " << now.width());
    const Uncovered bare = uncovered(at, now);
    EXPECT_EQ(bare.count, count);
    QRegion region;
    for (int k = 0; k < bare.count; ++k) {
      const QRect& r = bare.rects[static_cast<std::size_t>(k)];
      EXPECT_FALSE(region.intersects(r)) << "painted twice";
      region += r;
    }
    EXPECT_EQ(region, QRegion(at).subtracted(now));
  }
  EXPECT_EQ(uncovered(QRect(), at).count, 0);  // nothing was drawn
}

}  // namespace
}  // namespace tavrel
