#include "stages/stages.h"

namespace tavrel::stages {

Centre centreOf(GeneratorHost& host) {
  return {Int(host.ScaleWidth() / 2.0), Int(host.ScaleHeight() / 2.0)};
}

void readFields(GeneratorHost& host, AppState& st) {
  double waitsec = Val(host.text(Field::Text5));
  if (waitsec < 1) waitsec = 1;
  if (waitsec > 50) waitsec = 50;
  host.setText(Field::Text5, LTrim(Str(waitsec)));

  st.detailf = Val(host.text(Field::Text3));
  if (st.detailf < 1) st.detailf = 1;
  if (st.detailf > 25) st.detailf = 25;
  host.setText(Field::Text3, CStr(Val(CStr(st.detailf))));
  st.detailfz = (25 - st.detailf) + 1;

  st.swidth = 100;
  host.setText(Field::Text2, CStr(Val(CStr(st.swidth))));

  st.complexy2 = Val(host.text(Field::Text1));
  if (st.complexy2 > 20) st.complexy2 = 20;
  if (st.complexy2 < 0) st.complexy2 = 0;
  host.setText(Field::Text1, CStr(Val(CStr(st.complexy2))));
}

void deriveParameters(GeneratorHost& host, AppState& st) {
  st.nsides = Val(host.text(Field::Text4));
  st.complexy = 1;
  if (host.option2Value()) st.complexy = 2;
  st.detailfz = Int((st.swidth / 200) * st.detailfz);
  st.sharpf = 1;
  if (st.sharpf == 1) st.circle2 = 1;
}

void clearColoursAndWindow(GeneratorHost& host, AppState& st) {
  // `a` is the loop counter here, as it always was; the restart point sets it anew.
  for (st.a = 1; st.a <= 15; ++st.a) st.usedcolors[static_cast<std::size_t>(st.a)] = 0;
  st.usedcolors[7] = 1;
  st.usedcolors[0] = 1;
  st.usedcolors[15] = 1;
  Surface& win = host.SurfaceWindow();
  win.setBackColor(OutlineColor);
  win.setBackColor(QBColor(15));
}

Recipe recipeNow(GeneratorHost& host, const AppState& st, Generator g) {
  Recipe r;
  r.generator = g;
  r.width = host.SurfaceWindow().width();
  r.height = host.SurfaceWindow().height();
  r.text1 = host.text(Field::Text1);
  r.text3 = host.text(Field::Text3);
  r.text4 = host.text(Field::Text4);
  r.style = host.option2Value() ? Style::fancy : Style::regular;
  r.colours = colourModeOf(st.tcolor);
  r.ssmode = st.ssmode;
  r.lastcolor = st.lastcolor;
  r.random = st.rnd.state();
  r.palette = st.userColors;
  return r;
}

void startFrom(const Recipe& r, HeadlessHost& host, AppState& st) {
  host.SurfaceWindow().resize(r.width, r.height);
  host.setText(Field::Text1, r.text1);
  host.setText(Field::Text3, r.text3);
  host.setText(Field::Text4, r.text4);
  host.option2 = r.style == Style::fancy;
  st.tcolor = tcolorOf(r.colours);
  st.ssmode = r.ssmode;
  st.lastcolor = r.lastcolor;
  st.rnd.setState(r.random);
  st.userColors = r.palette;
  firstValues(st, host.ScaleWidth(), host.ScaleHeight());
}

Recipe setUp(GeneratorHost& host, AppState& st, Generator g) {
  host.maximize();
  readFields(host, st);
  host.DoEvents();
  if (g == Generator::pattern) {
    // A tile owns the whole window: the backdrop goes.
    host.SurfaceWindow().setPicture(nullptr);
    host.SurfaceWindow().Cls();
  }
  Recipe made = recipeNow(host, st, g);
  readFields(host, st);
  deriveParameters(host, st);
  st.centerf = g == Generator::pattern ? 1 : 0;
  clearColoursAndWindow(host, st);
  return made;
}

}  // namespace tavrel::stages
