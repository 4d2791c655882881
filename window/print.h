// A picture on paper: the print dialog, and the page itself.
#pragma once

#include "canvas/surface.h"

class QPrinter;
class QWidget;

namespace tavrel {

// The sizes the print dialog offers for the 100-pixel picture, in centimetres.
inline constexpr double kPrintSizes[] = {2.5, 5, 10, 20};

// Paints the page crisply, every picture pixel a square of whole printer
// dots: a tile (the 98-pixel period inside its frame) repeated edge to edge
// over the page, or the picture in the middle. `centimetres`: the printed
// size of 100 picture pixels.
void paintPage(QPrinter& printer, const ImageData& picture, bool repeatTile, double centimetres);

// Opens the print dialog with a choice of size and returns; prints when the
// user accepts.
void printWithDialog(QWidget* parent, const ImageData& picture, bool repeatTile);

}  // namespace tavrel
