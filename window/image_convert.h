// The one conversion between the engine's pixels (0x00BBGGRR) and Qt's
// (QRgb, 0xAARRGGBB), for the views, printing, the slides, bitmap files and
// the colour editor.
#pragma once

#include <QColor>
#include <QImage>

#include "canvas/surface.h"

namespace tavrel {

inline QRgb toQRgb(Colour c) {
  return qRgb(static_cast<int>(c & 0xFF), static_cast<int>((c >> 8) & 0xFF),
              static_cast<int>((c >> 16) & 0xFF));
}
inline Colour fromQRgb(QRgb c) {
  return static_cast<Colour>(qRed(c) | qGreen(c) << 8 | qBlue(c) << 16);
}
inline QColor toQColor(Colour c) {
  return QColor(toQRgb(c));
}

// Rows `top` to `bottom`, columns `left` to `right` of `from` into the same
// places of `to` (an RGB32 image at least that large).
void copyPixels(const Colour* from, int stride, int left, int top, int right, int bottom,
                QImage& to);

// A part of a picture as an RGB32 image; the whole picture by default.
QImage toQImage(const ImageData& picture, QRect part = {});
// An RGB32 or ARGB32 image as a picture; alpha is dropped.
ImageData fromQImage(const QImage& image);

}  // namespace tavrel
