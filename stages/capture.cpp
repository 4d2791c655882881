#include <utility>
#include <vector>

#include "stages/stages.h"

namespace tavrel::stages {

void sizePicture1(GeneratorHost& host, const AppState& st) {
  Surface& pic = host.SurfacePicture1();
  const int side = static_cast<int>(st.swidth + 2);
  pic.resize(pic.width(), side);  // Height first, then Width
  pic.resize(side, side);
}

void applyUserColours(Surface& win, const AppState& st, Centre c) {
  if (st.tcolor != kUserColours) return;
  // Grey (7) and white (15) are never a region's colour.
  std::vector<std::pair<Colour, Colour>> map;
  for (int n = 1; n <= 14; ++n)
    if (n != 7) map.emplace_back(QBColor(n), st.userColors[n]);
  const int half = static_cast<int>(st.swidth / 2);
  const int left = static_cast<int>(c.x) - half + 1, top = static_cast<int>(c.y) - half + 1;
  const int side = static_cast<int>(st.swidth);
  win.recolour({left, top, left + side - 1, top + side - 1}, map);
}

void copyToPicture1(GeneratorHost& host, AppState& st, Centre c, Recipe made) {
  Surface& pic = host.SurfacePicture1();
  Surface& win = host.SurfaceWindow();
  applyUserColours(win, st, c);
  pic.setPicture(nullptr);
  pic.Cls();
  const double w = st.swidth;
  if (!pic.PaintPicture(win, 1, 1, w, w, c.x - w / 2 + 1, c.y - w / 2 + 1, w, w)) host.End();
  Picture drawn = pic.Image();
  if (!drawn) host.End();
  pic.setPicture(std::move(drawn));
  st.picture1Recipe = std::move(made);
  if (st.ssmode == 1) win.Line(LineFlags::FilledBox, 0, 0, 1000, 1000, OutlineColor);
  st.centerf = 0;
}

}  // namespace tavrel::stages
