// What a generator needs of the window it draws in. The Qt window implements
// it, and so do the headless hosts of the renderer, the screen-saver module
// and the tests: the same generator code runs in all of them.
#pragma once

#include <string>

#include "canvas/surface.h"

namespace tavrel {

// Thrown by hosts that can't stop the process, when the program ends.
struct ProgramEnded {};

// The input fields. The generators read and write back Text1 to Text5.
enum class Field { Text1, Text2, Text3, Text4, Text5, Text6, Text7 };
inline constexpr int kFieldCount = 7;

class GeneratorHost {
 public:
  virtual ~GeneratorHost() = default;

  virtual std::string text(Field f) = 0;
  virtual void setText(Field f, const std::string& s) = 0;
  // Whether the option button "Shapes Fancy" is selected.
  virtual bool option2Value() = 0;

  // WindowState = 2: maximise the window before anything is measured.
  virtual void maximize() = 0;
  // Hand pending events to their handlers; may run a nested generation.
  virtual void DoEvents() = 0;
  // Stop the program at once.
  [[noreturn]] virtual void End() = 0;

  // The window's client area; its size is ScaleWidth x ScaleHeight.
  virtual Surface& SurfaceWindow() = 0;
  // The picture box that receives the finished picture.
  virtual Surface& SurfacePicture1() = 0;

  float ScaleWidth() { return static_cast<float>(SurfaceWindow().width()); }
  float ScaleHeight() { return static_cast<float>(SurfaceWindow().height()); }
};

// A host without a window: fields held as plain strings, no events.
class HeadlessHost : public virtual GeneratorHost {
 public:
  HeadlessHost(int width, int height) : window_(width, height, kBlack), picture1_(201, 161) {}

  std::string fields[kFieldCount] = {"0", "100", "16", "4", "10", "1", "2"};
  bool option2 = true;
  int doEventsCalls = 0;

  std::string text(Field f) override { return fields[static_cast<int>(f)]; }
  void setText(Field f, const std::string& s) override { fields[static_cast<int>(f)] = s; }
  bool option2Value() override { return option2; }
  void maximize() override {}
  void DoEvents() override { ++doEventsCalls; }
  [[noreturn]] void End() override { throw ProgramEnded{}; }
  Surface& SurfaceWindow() override { return window_; }
  Surface& SurfacePicture1() override { return picture1_; }

 private:
  Surface window_;
  Surface picture1_;
};

// What one generation did, for the renderer and the benchmarks.
struct GenerationStats {
  long restarts = 0;  // strokes thrown away
  long turns = 0;     // walker turns, all strokes counted
};

}  // namespace tavrel
