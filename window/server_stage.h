// A picture that moves over the window's own image, both kept on the X
// server, as the screen-saver module keeps its picture: the stage is a
// child window of the main window over the view, whose background is what
// the view shows (one colour, or its image), and the picture is sent once
// into a pixmap. A move is then one copy of the picture's box to its new
// place and a clearing of what it left, which the server paints from the
// stage's background: Qt's backing store, which would scroll, repaint and
// send the strip and copy the old and new box, takes no part, and no
// exposure comes back to Qt. Presses on the stage go on to the main window.
#pragma once

#include <QPoint>
#include <QRect>
#include <QRgb>
#include <QSize>
#include <array>
#include <memory>

class QImage;
class QWidget;

namespace tavrel {

// What a picture standing at `was` leaves bare when it stands at `now`:
// a strip beside it and one above or below it for a step, all of `was`
// for a jump, one rectangle on each side at most when its size changed.
struct Uncovered {
  std::array<QRect, 4> rects;
  int count = 0;
};
Uncovered uncovered(const QRect& was, const QRect& now);

class ServerStage {
 public:
  // None unless Qt draws `window` on X in a visual that holds QImage's
  // 32-bit pixels as they are.
  static std::unique_ptr<ServerStage> create(QWidget* window);
  ~ServerStage();
  ServerStage(const ServerStage&) = delete;
  ServerStage& operator=(const ServerStage&) = delete;

  // Whether it still stands in the window's native window: Qt makes a new
  // one when some of a window's attributes change, and the stage went with
  // the old.
  bool childOf(const QWidget* window) const;

  // What lies under the picture, in device pixels: one colour over `size`,
  // or an image, of which only `changed` is sent when the stage holds an
  // image of that size already.
  void setGround(QRgb colour, QSize size);
  void setGround(const QImage& image, const QRect& changed);
  QSize size() const { return size_; }
  bool groundIsColour() const { return colourGround_; }
  // The picture, in device pixels.
  void setPicture(const QImage& picture);

  // Shows the stage with its top left corner at `at` in the window and the
  // picture's at `picture` on the stage, in device pixels; sends only what
  // changed since the last call.
  void show(QPoint at, QPoint picture);
  void hide();

 private:
  struct X;
  explicit ServerStage(std::unique_ptr<X> x);
  void resize(QSize size);
  void put(unsigned drawable, const QImage& image, const QRect& part);
  void clear(const QRect& r);

  std::unique_ptr<X> x_;
  QSize size_;
  bool colourGround_ = true;
  QRect picture_;  // where the picture stands on the stage; empty: not drawn
  bool redraw_ = false;
  QPoint at_;
  bool shown_ = false;
};

}  // namespace tavrel
