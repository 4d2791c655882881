// The controls of the window's client area, made and placed from one table
// of their design rectangles (in twips, 15 to a program pixel) at the
// display scale. What they do is the Form's business.
#pragma once

#include <QWidget>
#include <array>
#include <memory>
#include <vector>

#include "canvas/surface.h"
#include "stages/host.h"

class QLabel;
class QLineEdit;
class QObject;
class QPushButton;
class QRadioButton;

namespace tavrel {

class SurfaceView;

struct Controls {
  QPushButton *command1, *command3;
  QLabel *label6, *note, *picture2;
  SurfaceView* picture1;
  QRadioButton *option1, *option2;
  std::array<QLineEdit*, kFieldCount> fields{};
  // What "the control panel" shows and hides as one step, as one reads it.
  std::vector<QWidget*> panel;
  // The holder of what never comes on the screen (Text1, Text4 and their
  // labels): no part of the window.
  std::unique_ptr<QWidget> offstage;
};

// Makes the controls on `view`, each hidden but "Click to begin" and the
// button under it; the fields send their keys to `keys` first.
Controls buildControls(QWidget* view, Surface& picture1, double scale, QObject* keys);

// A solid background of the colour for a widget and what it holds.
void setBackground(QWidget* w, int r, int g, int b);

}  // namespace tavrel
