// The main window "Tavrel": its controls with their design values, the menu
// tree, the field handlers, the four timers and the event pump. It is the
// window the generators and the run modes draw in and steer.
#pragma once

#include <QMainWindow>
#include <chrono>
#include <functional>
#include <map>

#include "modes/run_host.h"
#include "state/app_state.h"

class QAction;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QRadioButton;

namespace tavrel {

class SurfaceView;

// A timer that ticks only inside DoEvents or the idle loop, on the classic
// clock of 1/64 s; one overdue several times ticks once.
struct FormTimer {
  bool enabled = false;
  Long interval = 0;
  std::chrono::steady_clock::time_point due{};
  std::function<void()> tick;
};

class Form : public QMainWindow, public RunHost {
 public:
  // `scale`: device pixels per program pixel.
  explicit Form(double scale, QWidget* parent = nullptr);
  ~Form() override;

  AppState st;

  // Handlers the run modes fill in; empty ones do nothing.
  std::function<void()> onCommand1, onCommand3, onRegmode, onSsaver, onOrderinfo, onMouseDown;
  std::function<void()> onStartup;  // called once, when the window is on the screen
  // The end of the program: the process ends at once unless a test replaces it.
  std::function<void()> endHook;

  double scale() const { return scale_; }

  // GeneratorHost
  std::string text(Field f) override;
  void setText(Field f, const std::string& s) override;
  bool option2Value() override;
  void maximize() override;
  void DoEvents() override;
  [[noreturn]] void End() override;
  Surface& SurfaceWindow() override { return window_; }
  Surface& SurfacePicture1() override { return picture1_; }

  // RunHost
  bool isVisible(Control c) override;
  void setVisible(Control c, bool visible) override;
  void showControlPanel() override;
  void hideControlPanel() override;
  void setMenuVisible(Menu m, bool visible) override;
  void setChecked(Menu m, bool checked) override;
  void setTimerEnabled(TimerId t, bool enabled) override;
  void setTimerInterval(TimerId t, Long milliseconds) override;
  void movePicture1(float left, float top) override;
  bool LoadPicture(const std::string& fileName, Picture& out) override;
  Picture slidePicture(int box) override;
  void setPicture2(Picture p) override;
  std::uint32_t secondsSinceMidnight() override;

  // Controls and menu entries, by their names, for the handlers and tests.
  QPushButton *Command1, *Command3;
  QLabel *Label1, *Label2, *Label3, *Label4, *Label5, *Label6, *Label7, *Label8;
  QLineEdit *Text1, *Text2, *Text3, *Text4, *Text5, *Text6, *Text7;
  QRadioButton *Option1, *Option2;
  QLabel* Picture2;
  SurfaceView* Picture1;
  QMenu *options, *hfggf, *colormode, *patmode5, *tyhfghgfh;
  QAction *regmode, *ssaver, *tslow, *tfast, *impcolor, *uedit, *tcolorm, *bcolorm, *fgdfgfg,
      *hgfhg, *sdfdssdf, *fgdgf, *dfsdffd, *fghfghg, *restored, *sfancy, *quit, *csingle, *cpp9,
      *cpattern, *snormal, *scenter, *orderinfo;
  FormTimer Timer1, Timer2, Timer4, Timer7;
  Picture slides[10];  // the pictures of Picture4 .. Picture9

  bool ticked(QAction* a) const;
  FormTimer& timer(TimerId t);

 protected:
  void closeEvent(QCloseEvent* e) override;
  bool eventFilter(QObject* watched, QEvent* e) override;
  void resizeEvent(QResizeEvent* e) override;

 private:
  void buildControls();
  void buildMenus();
  void tick(QAction* a, bool on);
  QAction* entry(QMenu* menu, const char* caption, bool checked, bool enabled, bool visible,
                 std::function<void()> handler = {});
  void fireDueTimers();
  void bringScreenUpToDate();
  void armTimer(FormTimer& t);
  int px(double twips) const;

  double scale_;
  Surface window_;
  Surface picture1_;
  SurfaceView* view_;
  std::map<QAction*, bool> ticks_;
  double picture1Left_ = 0, picture1Top_ = 0;
  bool picture1Visible_ = false;
  std::uint64_t activity_ = 0, activitySeen_ = 0;
  std::chrono::steady_clock::time_point lastFrame_{};
  bool started_ = false;
};

}  // namespace tavrel
