// A window without a toolkit, built on the headless host: controls, menus
// and timers as plain values, dialogs that answer at once, and an event
// queue that a generator's DoEvents drains, as a window that pumped would.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <set>
#include <tuple>

#include "modes/run_host.h"

namespace tavrel {

class FakeRunHost : public HeadlessHost, public RunHost {
 public:
  // The entries the window ticks at the start.
  FakeRunHost(int w, int h) : HeadlessHost(w, h) {
    for (Menu m : {Menu::regmode, Menu::tfast, Menu::tcolorm, Menu::csingle, Menu::scenter})
      checked[m] = true;
  }

  std::map<Control, bool> visible{{Control::Command1, true}, {Control::Command3, true}};
  bool panelShown = false, fullScreen = false;
  std::map<Menu, bool> checked;
  std::map<TimerId, bool> enabled{{TimerId::Timer4, true}};
  std::map<TimerId, Long> interval{{TimerId::Timer2, 3000}, {TimerId::Timer4, 5000}};
  float left = 0, top = 0;
  std::set<std::string> files;     // bitmaps that load
  std::vector<std::string> loads;  // every load asked for
  Picture picture2;
  std::deque<std::function<void()>> events;  // handed out by DoEvents

  void DoEvents() override {
    HeadlessHost::DoEvents();
    // Only what is pending now; handlers may post more for the next call.
    std::deque<std::function<void()>> pending;
    pending.swap(events);
    for (auto& e : pending) e();
  }

  bool isVisible(Control c) override { return visible[c]; }
  void setVisible(Control c, bool v) override { visible[c] = v; }
  void showControlPanel() override { panelShown = visible[Control::Command1] = true; }
  void hideControlPanel() override { panelShown = visible[Control::Command1] = false; }
  void selectOption2(bool fancy) override { option2 = fancy; }
  void setMenuVisible(Menu, bool) override {}
  bool isChecked(Menu m) override { return checked[m]; }
  void setChecked(Menu m, bool c) override { checked[m] = c; }
  void showAsScreenSaver(bool on) override { fullScreen = on; }
  void setTimerEnabled(TimerId t, bool e) override { enabled[t] = e; }
  void setTimerInterval(TimerId t, Long ms) override { interval[t] = ms; }
  void movePicture1(float l, float t) override { std::tie(left, top) = std::pair(l, t); }
  bool LoadPicture(const std::string& name, Picture& out) override {
    loads.push_back(name);
    if (files.count(name)) out = filled(name[7] - '0');  // slot number as colour
    return files.count(name);
  }
  static Picture filled(Colour c) { return std::make_shared<ImageData>(ImageData{1, 1, {c}}); }
  Picture slidePicture(int box) override { return filled(box); }
  void setPicture2(Picture p) override { picture2 = std::move(p); }
  std::uint32_t secondsSinceMidnight() override { return 4242; }
  void namePicture(const std::string&) override {}

  // The desktop's services: what was shown, and the answers of the dialogs.
  std::string pictures, chosenFile;
  std::vector<std::string> notes, messages;
  int prints = 0;
  bool printedRepeat = false;
  double offeredSize = 0, printedSize = 0;  // printedSize: the size the user picks; 0 keeps
  std::optional<UserPalette> editedPalette;
  std::string picturesFolder() override { return pictures; }
  void showNote(const std::string& t) override { notes.push_back(t); }
  void showMessage(const std::string& t) override { messages.push_back(t); }
  void printPicture(const ImageData&, bool repeat, double centimetres,
                    std::function<void(double)> chosen) override {
    ++prints;
    std::tie(printedRepeat, offeredSize) = std::pair(repeat, centimetres);
    chosen(printedSize > 0 ? printedSize : centimetres);
  }
  void editColours(const UserPalette&, std::function<void(const UserPalette&)> edited) override {
    if (editedPalette) edited(*editedPalette);
  }
  void choosePaletteFile(std::function<void(const std::string&)> chosen) override {
    if (!chosenFile.empty()) chosen(chosenFile);
  }
};

}  // namespace tavrel
