#include "window/embedded.h"

#include <QFile>

#include "canvas/image_io.h"
#include "window/form.h"

static void initPictures() {
  Q_INIT_RESOURCE(pictures);
}

namespace tavrel {

Picture embeddedPicture(int holder) {
  initPictures();
  QFile file(QString(":/pictures/picture%1.bmp").arg(holder));
  if (!file.open(QIODevice::ReadOnly)) return nullptr;
  const QByteArray bytes = file.readAll();
  auto img = decodeBmp(std::span(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                                 static_cast<std::size_t>(bytes.size())));
  if (!img) return nullptr;
  return std::make_shared<const ImageData>(std::move(*img));
}

void loadEmbeddedPictures(Form& form) {
  for (int holder = 4; holder <= 9; ++holder)
    form.setSlidePicture(holder, embeddedPicture(holder));
  // The window shows the picture of Picture9 until the start-up replaces it.
  form.SurfaceWindow().setPicture(form.slidePicture(9));
  form.setPicture2(embeddedPicture(2));
}

}  // namespace tavrel
