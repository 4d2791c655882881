// Seats and input on a Wayland desktop: what of the user's input lands on
// the module's own surfaces, and whether they hold the keyboard.
#pragma once

#include <wayland-client.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace tavrel::saver {

// What a surface is to the module.
enum class Whose { other, ours, oursShown };

class Seats {
 public:
  explicit Seats(std::function<Whose(const wl_surface*)> whose) : whose_(std::move(whose)) {}
  ~Seats();
  Seats(const Seats&) = delete;
  Seats& operator=(const Seats&) = delete;

  void add(wl_display* display, wl_seat* seat);
  // The seat the idle watch follows; null when there is none.
  wl_seat* first() const { return seats_.empty() ? nullptr : seats_.front()->seat; }

  // A new show: what was seen of the pointer and the keyboard before counts
  // no more.
  void startShow();
  // Whether the user acted on the pictures since the last call: a pointer
  // that moved to another place, or a key or button pressed on them and
  // released. The release, not the press, ends the show, so neither reaches
  // the application that has the focus after it.
  bool takeInput() { return std::exchange(input_, false); }
  // A key or button pressed on the pictures and not yet released.
  bool held() const;
  // Whether a keyboard exists and the compositor has said where its focus is.
  bool keyboardSettled() const;
  // Whether one of the module's surfaces has the keyboard.
  bool keyboardOnPictures() const;
  // Whether the pictures had the keyboard in this show and lost it.
  bool keyboardLost() const { return hadKeyboard_ && !keyboardOnPictures(); }
  // Whether the keyboard left a surface of the pictures and came straight
  // back since the last call. Sway 1.7 does so to an overlay when a window
  // appears, and when a locker takes the input, which it then shows under
  // the older overlay.
  bool takeRefocused() { return std::exchange(refocused_, false); }

 private:
  struct Seat {
    Seats* seats = nullptr;
    wl_display* display = nullptr;
    wl_seat* seat = nullptr;
    wl_keyboard* keyboard = nullptr;
    wl_callback* settling = nullptr;  // a round trip after the keyboard came
    bool settled = false;
    bool focused = false;  // the keyboard is on one of the module's surfaces
    wl_pointer* pointer = nullptr;
    bool placed = false;  // where the pointer stands is known
    wl_fixed_t x = 0, y = 0;
    std::set<std::uint32_t> keys, buttons;  // pressed on the pictures
  };
  static const wl_seat_listener kSeatListener;
  static const wl_keyboard_listener kKeyboardListener;
  static const wl_pointer_listener kPointerListener;
  static const wl_callback_listener kSettledListener;
  void capabilities(Seat& seat, std::uint32_t caps);
  void dropKeyboard(Seat& seat);
  void pointerAt(Seat& seat, wl_fixed_t x, wl_fixed_t y, bool counts);

  std::function<Whose(const wl_surface*)> whose_;
  std::vector<std::unique_ptr<Seat>> seats_;
  bool input_ = false;
  bool hadKeyboard_ = false;
  bool refocused_ = false;
  const wl_surface* left_ = nullptr;  // the surface of the pictures the keyboard left
};

}  // namespace tavrel::saver
