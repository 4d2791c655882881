#include "window/image_convert.h"

namespace tavrel {

void copyPixels(const Colour* from, int stride, int left, int top, int right, int bottom,
                QImage& to) {
  for (int y = top; y <= bottom; ++y) {
    const Colour* in = from + static_cast<std::size_t>(y) * stride;
    auto* out = reinterpret_cast<QRgb*>(to.scanLine(y));
    for (int x = left; x <= right; ++x) out[x] = toQRgb(in[x]);
  }
}

QImage toQImage(const ImageData& picture, QRect part) {
  if (part.isNull()) part = QRect(0, 0, picture.width, picture.height);
  part = part.intersected(QRect(0, 0, picture.width, picture.height));
  QImage img(part.size(), QImage::Format_RGB32);
  for (int y = 0; y < part.height(); ++y) {
    const Colour* in = picture.pixels.data() +
                       static_cast<std::size_t>(part.top() + y) * picture.width + part.left();
    auto* out = reinterpret_cast<QRgb*>(img.scanLine(y));
    for (int x = 0; x < part.width(); ++x) out[x] = toQRgb(in[x]);
  }
  return img;
}

ImageData fromQImage(const QImage& image) {
  ImageData out;
  out.width = image.width();
  out.height = image.height();
  out.pixels.resize(static_cast<std::size_t>(out.width) * out.height);
  for (int y = 0; y < out.height; ++y) {
    const auto* in = reinterpret_cast<const QRgb*>(image.constScanLine(y));
    Colour* row = out.pixels.data() + static_cast<std::size_t>(y) * out.width;
    for (int x = 0; x < out.width; ++x) row[x] = fromQRgb(in[x]);
  }
  return out;
}

}  // namespace tavrel
