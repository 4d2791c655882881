// The main window "Tavrel": it composes the controls (window/controls.h), the
// menu bar (window/menu_bar.h) and the views of the surfaces, keeps the
// program's timers in Qt's loop, provides the services the generators and
// the run modes draw and steer through, and hands every event to the run
// modes, one at a time.
#pragma once

#include <QMainWindow>
#include <QTimer>
#include <array>
#include <chrono>
#include <functional>
#include <memory>

#include "modes/run_host.h"

class QAction;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QRadioButton;
class QShortcut;

namespace tavrel {

class MenuBar;
class RestingPointer;
class SurfaceView;

class Form : public QMainWindow, public RunHost {
 public:
  // `scale`: device pixels per program pixel.
  explicit Form(double scale, QWidget* parent = nullptr);
  ~Form() override;

  // Where the events of the controls go; none: they go nowhere.
  void setEvents(RunEvents* events) { events_ = events; }
  // Whether the program has ended: the window closed, or Quit. Qt's event
  // loop then ends; no event reaches the program any more.
  bool ended() const { return ended_; }
  // The entry of the menu tree, as the menu bar shows it.
  QAction* action(Menu m) const;
  // Whether the frame timer runs: something moves.
  bool stepping() const { return frame_.isActive(); }

  double scale() const { return scale_; }

  // GeneratorHost
  std::string text(Field f) override;
  void setText(Field f, const std::string& s) override;
  bool option2Value() override;
  void maximize() override;
  void DoEvents() override;
  // Ends the program: the handler under way ends, and then the event loop.
  [[noreturn]] void End() override;
  Surface& SurfaceWindow() override { return window_; }
  Surface& SurfacePicture1() override { return picture1_; }

  // RunHost; QWidget's own setVisible stays in reach.
  using QMainWindow::setVisible;
  bool isVisible(Control c) override;
  void setVisible(Control c, bool visible) override;
  void showControlPanel() override;
  void hideControlPanel() override;
  void selectOption2(bool fancy) override;
  void setMenuVisible(Menu m, bool visible) override;
  bool isChecked(Menu m) override;
  void setChecked(Menu m, bool checked) override;
  void showAsScreenSaver(bool on) override;
  void setTimerEnabled(TimerId t, bool enabled) override;
  void setTimerInterval(TimerId t, Long milliseconds) override;
  void movePicture1(float left, float top) override;
  bool LoadPicture(const std::string& fileName, Picture& out) override;
  Picture slidePicture(int box) override;
  void setPicture2(Picture p) override;
  std::uint32_t secondsSinceMidnight() override;
  void namePicture(const std::string& name) override;
  std::string picturesFolder() override;
  void showNote(const std::string& text) override;
  void showMessage(const std::string& text) override;
  void printPicture(const ImageData& picture, bool repeatTile, double centimetres,
                    std::function<void(double)> chosen) override;
  void editColours(const UserPalette& current,
                   std::function<void(const UserPalette&)> edited) override;
  void choosePaletteFile(std::function<void(const std::string&)> chosen) override;

  // Where backdrops are read by name; empty: the working directory.
  void setBackdropFolder(const QString& folder) { backdrops_ = folder; }

  // The pictures of Picture4 .. Picture9, and the window's start picture.
  void setSlidePicture(int box, Picture p);

 protected:
  void closeEvent(QCloseEvent* e) override;
  bool eventFilter(QObject* watched, QEvent* e) override;
  void resizeEvent(QResizeEvent* e) override;

 private:
  using Clock = std::chrono::steady_clock;

  void connectControls();
  QLineEdit* field(Field f) const { return fields_[static_cast<int>(f)]; }
  void report(const std::function<void(RunEvents&)>& event);
  void present();
  void finish();
  void placePicture1();
  int px(double twips) const;

  double scale_;
  RunEvents* events_ = nullptr;
  Surface window_;
  Surface picture1_;
  SurfaceView* view_;

  QPushButton *command1_, *command3_;
  QLabel* label6_;
  QLabel* note_;
  QTimer noteTimer_;
  QLabel* picture2_;
  SurfaceView* picture1View_;
  QRadioButton *option1_, *option2_;
  std::array<QLineEdit*, kFieldCount> fields_{};
  std::vector<QWidget*> panel_;
  std::unique_ptr<QWidget> offstage_;
  std::unique_ptr<MenuBar> menus_;
  std::vector<QShortcut*> pageKeys_;  // Esc and the like, while the information page is up
  std::array<Picture, 10> slides_{};

  // Timer1, Timer2, Timer4: each ticks while enabled with an interval.
  struct FormTimer {
    QTimer timer;
    bool enabled = false;
    Long interval = 0;
  };
  std::array<FormTimer, 3> timers_;
  FormTimer& timer(TimerId t) { return timers_[static_cast<int>(t)]; }
  void armTimer(FormTimer& t);
  QTimer frame_;  // the next step of what goes by itself
  bool saver_ = false;
  RestingPointer* pointer_;
  bool ended_ = false;
  QString backdrops_;

  float picture1Left_ = 0, picture1Top_ = 0;
  bool picture1Visible_ = false;
};

}  // namespace tavrel
