#include "window/embedded.h"

#include "window/form.h"
#include "window/picture_file.h"

static void initPictures() {
  Q_INIT_RESOURCE(pictures);
}

namespace tavrel {

Picture embeddedPicture(int holder) {
  initPictures();
  auto img = readBitmap(QString(":/pictures/picture%1.bmp").arg(holder));
  if (!img) return nullptr;
  return std::make_shared<const ImageData>(std::move(*img));
}

void loadEmbeddedPictures(Form& form) {
  for (int holder = 4; holder <= 9; ++holder) form.setSlidePicture(holder, embeddedPicture(holder));
  // The window shows the picture of Picture9 until the start-up replaces it.
  form.SurfaceWindow().setPicture(form.slidePicture(9));
  form.setPicture2(embeddedPicture(2));
}

}  // namespace tavrel
