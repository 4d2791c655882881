#include "modes/modes.h"

#include <exception>

#include "pattern/makeshape2.h"
#include "shape/makeshape.h"
#include "stages/stages.h"

namespace tavrel {

namespace {

// From the first picture load on, a step that fails is skipped and the next
// one runs: the start-up and the main loop never stop on a failure. Only
// ordinary errors are passed over; the end of the program goes through.
template <typename Step>
void skipOnError(Step&& step) {
  try {
    step();
  } catch (const std::exception&) {
  }
}

double direction(AppState& st) {
  return Int(2 * st.Rnd()) + 1 == 1 ? 0.01 : -0.01;
}

void loadBackdrop(RunHost& host, int slot) {
  Picture p;
  if (host.LoadPicture(backdropFile(slot), p)) host.SurfaceWindow().setPicture(std::move(p));
}

// Whether a new picture is repeated over the window: a tile in regular mode
// under "Create pattern".
bool repeatsTile(const AppState& st) {
  return st.tilerepeat == 1 && st.ssmode == 0 && st.picture1Recipe.generator == Generator::pattern;
}

// The tile in Picture1 repeated edge to edge over the whole window, the
// picture's top left pixel (1, 1) landing at (left, top). Neighbouring tiles
// share their frame lines, so the repeat reads as one pattern.
void repeatTile(RunHost& host, const AppState& st, double left, double top, bool repeat) {
  if (!repeat) return;
  const Picture tile = host.SurfacePicture1().Image();
  Surface& win = host.SurfaceWindow();
  const int period = static_cast<int>(st.swidth) - 2;
  const int x0 = static_cast<int>(left) % period - period,
            y0 = static_cast<int>(top) % period - period;
  for (int y = y0; y < win.height(); y += period)
    for (int x = x0; x < win.width(); x += period)
      win.PaintPicture(*tile, x, y, period, period, 1, 1, period, period);
}

// The generators' own square on the window, where Picture1's pixel (1, 1) came from.
double squareLeft(RunHost& host, const AppState& st) {
  return Int(host.ScaleWidth() / 2.0) - st.swidth / 2 + 1;
}
double squareTop(RunHost& host, const AppState& st) {
  return Int(host.ScaleHeight() / 2.0) - st.swidth / 2 + 1;
}

// A picture a generation has just left in Picture1, kept for stepping back
// to it.
void keepShown(AppState& st) {
  st.shown.push_back({st.picture1Recipe, repeatsTile(st)});
  if (st.shown.size() > kShownKept) st.shown.pop_front();
  st.onShow = st.shown.size() - 1;
  ++st.picturesMade;
}

// A new picture by the chosen generator: two tests of their own, so that a
// choice made during the first generation's event pump runs the other
// generator right after it.
void newPicture(RunHost& host, AppState& st, double choice) {
  if (choice == 0) {
    makeshape(host, st);
    keepShown(st);
  }
  if (choice == 1) {
    makeshape2(host, st);
    keepShown(st);
  }
}

void blackBox(RunHost& host) {
  host.SurfaceWindow().Line(LineFlags::FilledBox, 0, 0, 1000, 1000, QBColor(0));
}

// Clears slots 1 to 7 once all of them are marked: a new cycle begins.
void startNewCycleIfDone(AppState& st) {
  for (int i = 1; i <= 7; ++i)
    if (st.slideshown[i] != 1) return;
  for (int i = 1; i <= 7; ++i) st.slideshown[i] = 0;
}

}  // namespace

std::string backdropFile(int slot) {
  return "example" + std::to_string(slot) + ".bmp";
}

void startScreen(RunHost& host, AppState& st) {
  // The colour mode matches the tick of the colour menu: true colours by
  // design, or what the saved settings chose.
  st.tcolor = host.isChecked(Menu::bcolorm) ? kBasicColours
              : host.isChecked(Menu::uedit) ? kUserColours
                                            : kTrueColours;
  st.seed = host.secondsSinceMidnight();
  st.rnd.Randomize(st.seed);
  int pick = 0;
  do pick = static_cast<int>(Int(st.Rnd() * 7) + 1);
  while (pick == 1);
  skipOnError([&] { loadBackdrop(host, pick); });
  skipOnError([&] {
    st.slideshown[pick] = 1;
    st.slideshown[1] = 1;
    st.lastpic = pick;
    st.centerf = 0;
    host.setMenuVisible(Menu::options, false);
    host.setMenuVisible(Menu::patmode5, false);
    host.setMenuVisible(Menu::orderinfo, false);
  });
}

void leaveStartScreen(RunHost& host, AppState&) {
  skipOnError([&] { host.setTimerEnabled(TimerId::Timer4, false); });
  skipOnError([&] { host.SurfaceWindow().setPicture(nullptr); });
  skipOnError([&] { blackBox(host); });
}

void firstPicture(RunHost& host, AppState& st) {
  for (int i = 1; i <= 7; ++i) st.slideshown[i] = 0;
  skipOnError([&] {
    firstValues(st, host.ScaleWidth(), host.ScaleHeight());
    st.abb = Int(st.Rnd() * ((host.ScaleWidth() - st.swidth / 2) - 10)) + 1;
    st.dbb = Int(st.Rnd() * ((host.ScaleHeight() - st.swidth / 2) - 10)) + 1;
    st.awb = direction(st);
    st.bwb = direction(st);
  });
  skipOnError([&] {
    if (st.mpattern != 0) return;
    makeshape(host, st);
    keepShown(st);
  });
  skipOnError([&] {
    if (st.mpattern != 1) return;
    makeshape2(host, st);
    keepShown(st);
  });
  skipOnError(
      [&] { repeatTile(host, st, squareLeft(host, st), squareTop(host, st), repeatsTile(st)); });
}

void command3Click(RunHost& host, AppState&) {
  host.setVisible(Control::Command3, false);
  host.setMenuVisible(Menu::options, true);
  host.setMenuVisible(Menu::patmode5, true);
  host.setMenuVisible(Menu::orderinfo, true);
  host.showControlPanel();
}

void bounceSteps(RunHost& host, AppState& st, int steps) {
  if (!st.bounce || steps <= 0) return;
  Bounce& b = *st.bounce;
  b.resize(static_cast<int>(host.ScaleWidth()), static_cast<int>(host.ScaleHeight()));
  for (int i = 0; i < steps; ++i) b.step();
  st.abb = b.left();
  st.dbb = b.top();
  host.movePicture1(static_cast<float>(st.abb), static_cast<float>(st.dbb));
}

void command1Click(RunHost& host, AppState& st) {
  st.circle2 = 0;
  newPicture(host, st, st.mpattern);
  repeatTile(host, st, squareLeft(host, st), squareTop(host, st), repeatsTile(st));
}

void timer1Tick(RunHost& host, AppState& st) {
  newPicture(host, st, st.ggmbj);
}

void ssaverClick(RunHost& host, AppState& st) {
  if (st.ssmode == 1) return;
  if (Val(host.text(Field::Text2)) < 40) host.setText(Field::Text2, "40");
  if (Val(host.text(Field::Text3)) < 1) host.setText(Field::Text3, "1");
  st.ssmode = 1;
  // Tiles may cover the window beyond the box: what they painted goes.
  host.SurfaceWindow().Cls();
  blackBox(host);
  host.showAsScreenSaver(true);
  Surface& pic = host.SurfacePicture1();
  const int side = static_cast<int>(st.swidth + 2);
  pic.resize(side, pic.height());  // Width first, then Height
  pic.resize(side, side);
  host.setVisible(Control::Picture1, true);
  double s = Val(host.text(Field::Text5));
  if (s < 1) s = 1;
  if (s > 50) s = 50;
  host.setText(Field::Text5, LTrim(Str(s)));
  host.setTimerInterval(TimerId::Timer1, CLng(Val(host.text(Field::Text5)) * 1000));
  host.setTimerEnabled(TimerId::Timer1, true);
  host.setChecked(Menu::regmode, false);
  host.setChecked(Menu::ssaver, true);
  host.hideControlPanel();
  st.awb = direction(st);
  st.bwb = direction(st);
  // The bounce starts where the shape stood.
  st.abb = Int(host.ScaleWidth() / 2.0) - st.swidth / 2;
  st.dbb = Int(host.ScaleHeight() / 2.0) - st.swidth / 2;
  st.bounce.emplace(static_cast<int>(host.ScaleWidth()), static_cast<int>(host.ScaleHeight()),
                    static_cast<int>(st.swidth), static_cast<int>(st.abb), static_cast<int>(st.dbb),
                    st.awb > 0, st.bwb > 0);
  host.movePicture1(CSng(st.abb), CSng(st.dbb));
}

void regmodeClick(RunHost& host, AppState& st) {
  if (st.ssmode == 0) return;
  blackBox(host);
  host.showAsScreenSaver(false);
  host.setVisible(Control::Picture1, false);
  host.setTimerEnabled(TimerId::Timer1, false);
  host.setChecked(Menu::regmode, true);
  host.setChecked(Menu::ssaver, false);
  st.ssmode = 0;
  st.bounce.reset();
  if (!host.isVisible(Control::Label6)) host.showControlPanel();
  // The newest shape comes back onto the window, one pixel up and to the
  // left of where it was drawn and one pixel larger.
  const double side = st.swidth + 1;
  const double left = squareLeft(host, st) - 1, top = squareTop(host, st) - 1;
  bool ok = false;
  try {
    const Picture shape = host.SurfacePicture1().Image();
    ok = host.SurfaceWindow().PaintPicture(*shape, left, top, side, side, 1, 1, side, side);
  } catch (const std::exception&) {
    ok = false;
  }
  if (!ok) host.End();
  repeatTile(host, st, left, top, repeatsTile(st));
}

namespace {

// Picture `index` of the run back on the window as it was shown. Made again
// on a window of its own with a state of its own: the run's state, its
// random source above all, stays as it is.
void showAgain(RunHost& host, AppState& st, std::size_t index) {
  const AppState::Shown& p = st.shown.at(index);
  HeadlessHost again(p.recipe.width, p.recipe.height);
  AppState was;
  stages::startFrom(p.recipe, again, was);
  if (p.recipe.generator == Generator::pattern) {
    makeshape2(again, was);
  } else {
    makeshape(again, was);
  }
  // Picture1 holds it, for Save shape, printing and the screen-saver mode.
  const Picture image = again.SurfacePicture1().Image();
  Surface& pic = host.SurfacePicture1();
  pic.resize(image->width, image->height);
  pic.setPicture(image);
  st.picture1Recipe = p.recipe;
  st.onShow = index;
  Surface& win = host.SurfaceWindow();
  const int w = win.width(), h = win.height();
  if (p.recipe.ssmode == 0 && p.recipe.width == w && p.recipe.height == h) {
    // In regular mode a generation leaves the whole window as it drew it.
    win.PaintPicture(again.SurfaceWindow(), 0, 0, w, h, 0, 0, w, h);
    repeatTile(host, st, squareLeft(host, st), squareTop(host, st), p.repeated);
    return;
  }
  // One the screen-saver mode made, or made on a window of another size:
  // as the return to regular mode brings a picture back.
  blackBox(host);
  const double side = st.swidth + 1;
  const double left = squareLeft(host, st) - 1, top = squareTop(host, st) - 1;
  win.PaintPicture(*image, left, top, side, side, 1, 1, side, side);
  repeatTile(host, st, left, top, p.repeated);
}

}  // namespace

void prevpicClick(RunHost& host, AppState& st) {
  if (st.ssmode != 0 || st.onShow == 0 || st.onShow >= st.shown.size()) return;
  showAgain(host, st, st.onShow - 1);
}

void nextpicClick(RunHost& host, AppState& st) {
  if (st.ssmode != 0 || st.onShow + 1 >= st.shown.size()) return;
  showAgain(host, st, st.onShow + 1);
}

void windowResized(RunHost& host, const AppState& st, int oldWidth, int oldHeight) {
  // Before the first picture the window shows its start screen as it is.
  if (st.picture1Recipe.width == 0) return;
  Surface& win = host.SurfaceWindow();
  if (win.width() > oldWidth && oldWidth <= 1000)
    win.Line(LineFlags::FilledBox, oldWidth, 0, 1000, 1000, OutlineColor);
  if (win.height() > oldHeight && oldHeight <= 1000)
    win.Line(LineFlags::FilledBox, 0, oldHeight, 1000, 1000, OutlineColor);
}

void nextslide(RunHost& host, AppState& st) {
  startNewCycleIfDone(st);
  st.slideshown[2] = 1;  // slot 2 holds no slide
  int pick = 0;
  do pick = static_cast<int>(Int(st.Rnd() * 7) + 1);
  while (st.slideshown[pick] == 1 || pick == st.lastslide);
  // Slot 1 is Picture4, slots 3 to 7 are Picture5 to Picture9.
  host.setPicture2(host.slidePicture(pick == 1 ? 4 : pick + 2));
  st.slideshown[pick] = 1;
  st.lastslide = pick;
}

void orderinfoClick(RunHost& host, AppState& st) {
  if (host.isVisible(Control::Label6)) return;
  host.setVisible(Control::Label6, true);
  host.setVisible(Control::Picture2, true);
  host.hideControlPanel();
  nextslide(host, st);
  host.setTimerEnabled(TimerId::Timer2, true);
}

void timer2Tick(RunHost& host, AppState& st) {
  nextslide(host, st);
}

void windowMouseDown(RunHost& host, AppState& st) {
  if (!host.isVisible(Control::Label6)) return;
  host.setVisible(Control::Label6, false);
  host.setTimerEnabled(TimerId::Timer2, false);
  host.setVisible(Control::Picture2, false);
  if (st.ssmode == 0) host.showControlPanel();
}

void timer4Tick(RunHost& host, AppState& st) {
  startNewCycleIfDone(st);
  int pick = 0;
  for (;;) {
    do pick = static_cast<int>(Int(st.Rnd() * 7) + 1);
    while (st.slideshown[pick] == 1 || pick == st.lastpic);
    if (pick != 1) break;  // the embedded picture stays out of the rotation
  }
  skipOnError([&] { loadBackdrop(host, pick); });
  st.slideshown[pick] = 1;
  st.slideshown[1] = 1;
  st.lastpic = pick;
}

}  // namespace tavrel
