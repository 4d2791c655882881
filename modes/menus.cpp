#include "modes/menus.h"

namespace tavrel {

namespace {

// Ticks the first entry of a group and unticks the others.
void tickOnly(RunHost& host, Menu on, std::initializer_list<Menu> off) {
  for (Menu m : off) host.setChecked(m, false);
  host.setChecked(on, true);
}

}  // namespace

void tcolormClick(RunHost& host, AppState& st) {
  tickOnly(host, Menu::tcolorm, {Menu::bcolorm, Menu::uedit});
  st.tcolor = kTrueColours;
}

void bcolormClick(RunHost& host, AppState& st) {
  tickOnly(host, Menu::bcolorm, {Menu::tcolorm, Menu::uedit});
  st.tcolor = kBasicColours;
}

void ueditClick(RunHost& host, AppState& st) {
  tickOnly(host, Menu::uedit, {Menu::tcolorm, Menu::bcolorm});
  st.tcolor = kUserColours;
}

void tfastClick(RunHost& host, AppState& st) {
  if (host.isChecked(Menu::tfast)) return;
  st.nwait4 = 0;
  tickOnly(host, Menu::tfast, {Menu::tslow});
}

void tslowClick(RunHost& host, AppState& st) {
  if (host.isChecked(Menu::tslow)) return;
  st.nwait4 = 1;
  tickOnly(host, Menu::tslow, {Menu::tfast});
}

void csingleClick(RunHost& host, AppState& st) {
  if (st.mpattern == 0) return;
  st.ggmbj = 0;
  st.mpattern = 0;
  st.tilerepeat = 0;
  tickOnly(host, Menu::csingle, {Menu::cpattern, Menu::cpp9});
}

void cpp9Click(RunHost& host, AppState& st) {
  if (st.mpattern == 1) return;
  st.ggmbj = 1;
  st.mpattern = 1;
  st.tilerepeat = 0;
  tickOnly(host, Menu::cpp9, {Menu::csingle, Menu::cpattern});
}

void cpatternClick(RunHost& host, AppState& st) {
  if (host.isChecked(Menu::cpattern)) return;
  // Tiles from the button and from the screen-saver's timer alike.
  st.ggmbj = 1;
  st.mpattern = 1;
  st.tilerepeat = 1;
  tickOnly(host, Menu::cpattern, {Menu::csingle, Menu::cpp9});
}

void snormalClick(RunHost& host, AppState& st) {
  st.centerf = 0;
  tickOnly(host, Menu::snormal, {Menu::scenter});
}

void scenterClick(RunHost& host, AppState& st) {
  st.centerf = 1;
  tickOnly(host, Menu::scenter, {Menu::snormal});
}

void optionClick(AppState& st, bool fancy) {
  st.complexy = fancy ? 2 : 1;
}

void clampFieldToLimit(RunHost& host, Field f) {
  double limit = 0;
  switch (f) {
    case Field::Text2:
      limit = 400;
      break;
    case Field::Text3:
    case Field::Text6:
      limit = 25;
      break;
    case Field::Text5:
      limit = 50;
      break;
    case Field::Text7:
      limit = 9;
      break;
    default:
      return;
  }
  if (Val(host.text(f)) > limit) host.setText(f, LTrim(Str(limit)));
}

void text4KeyDown(RunHost& host, AppState& st, int keyCode) {
  if ((keyCode == kKeyLeft || keyCode == kKeyDown) && st.ssg > 4) st.ssg = st.ssg / 2;
  if ((keyCode == kKeyUp || keyCode == kKeyRight) && st.ssg < 64) st.ssg = st.ssg * 2;
  host.setText(Field::Text4, LTrim(Str(st.ssg)));
  st.ssg = Val(host.text(Field::Text4));
}

}  // namespace tavrel
