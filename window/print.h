// A picture on paper: the print dialog, and the page itself.
#pragma once

#include <functional>

#include "canvas/surface.h"
#include "modes/pictures.h"

class QPrinter;
class QWidget;

namespace tavrel {

// Paints the page crisply, every picture pixel a square of whole printer
// dots: a tile (the 98-pixel period inside its frame) repeated edge to edge
// over the page, or the picture in the middle. `centimetres`: the printed
// size of 100 picture pixels.
void paintPage(QPrinter& printer, const ImageData& picture, bool repeatTile, double centimetres);

// Opens the print dialog, titled as the menu entry, with a choice of size
// (`centimetres` first) and returns; prints when the user accepts, and gives
// the size printed at to `printed`.
void printWithDialog(QWidget* parent, const ImageData& picture, bool repeatTile, double centimetres,
                     std::function<void(double)> printed);

}  // namespace tavrel
