#include "saver/wayland_seat.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace tavrel::saver {

Seats::~Seats() {
  for (const auto& seat : seats_) {
    dropKeyboard(*seat);
    if (seat->pointer) wl_pointer_release(seat->pointer);
    wl_seat_destroy(seat->seat);
  }
}

void Seats::add(wl_display* display, wl_seat* seat) {
  auto added = std::make_unique<Seat>();
  added->seats = this;
  added->display = display;
  added->seat = seat;
  wl_seat_add_listener(seat, &kSeatListener, added.get());
  seats_.push_back(std::move(added));
}

void Seats::startShow() {
  input_ = false;
  hadKeyboard_ = refocused_ = false;
  left_ = nullptr;
  for (const auto& seat : seats_) {
    seat->placed = false;
    seat->keys.clear();
    seat->buttons.clear();
  }
}

bool Seats::held() const {
  return std::ranges::any_of(seats_,
                             [](const auto& s) { return !s->keys.empty() || !s->buttons.empty(); });
}

bool Seats::keyboardSettled() const {
  return std::ranges::any_of(seats_, [](const auto& s) { return s->keyboard && s->settled; });
}

bool Seats::keyboardOnPictures() const {
  return std::ranges::any_of(seats_, [](const auto& s) { return s->focused; });
}

const wl_seat_listener Seats::kSeatListener = {
    .capabilities =
        [](void* data, wl_seat*, uint32_t caps) {
          auto* seat = static_cast<Seat*>(data);
          seat->seats->capabilities(*seat, caps);
        },
    .name = [](void*, wl_seat*, const char*) {},
};

void Seats::capabilities(Seat& seat, std::uint32_t caps) {
  const bool keyboard = caps & WL_SEAT_CAPABILITY_KEYBOARD;
  const bool pointer = caps & WL_SEAT_CAPABILITY_POINTER;
  if (keyboard && !seat.keyboard) {
    seat.keyboard = wl_seat_get_keyboard(seat.seat);
    wl_keyboard_add_listener(seat.keyboard, &kKeyboardListener, &seat);
    // The compositor says where the focus is in answer to the request:
    // after this round trip, no word means elsewhere.
    seat.settled = false;
    seat.settling = wl_display_sync(seat.display);
    wl_callback_add_listener(seat.settling, &kSettledListener, &seat);
  } else if (!keyboard && seat.keyboard) {
    dropKeyboard(seat);
  }
  if (pointer && !seat.pointer) {
    seat.pointer = wl_seat_get_pointer(seat.seat);
    wl_pointer_add_listener(seat.pointer, &kPointerListener, &seat);
  } else if (!pointer && seat.pointer) {
    wl_pointer_release(seat.pointer);
    seat.pointer = nullptr;
    seat.buttons.clear();
  }
}

void Seats::dropKeyboard(Seat& seat) {
  if (seat.settling) wl_callback_destroy(seat.settling);
  if (seat.keyboard) wl_keyboard_release(seat.keyboard);
  seat.settling = nullptr;
  seat.keyboard = nullptr;
  seat.settled = seat.focused = false;
  seat.keys.clear();
}

const wl_callback_listener Seats::kSettledListener = {
    .done =
        [](void* data, wl_callback* callback, uint32_t) {
          wl_callback_destroy(callback);
          auto* seat = static_cast<Seat*>(data);
          seat->settling = nullptr;
          seat->settled = true;
        },
};

const wl_keyboard_listener Seats::kKeyboardListener = {
    .keymap = [](void*, wl_keyboard*, uint32_t, int32_t fd, uint32_t) { close(fd); },
    .enter =
        [](void* data, wl_keyboard*, uint32_t, wl_surface* surface, wl_array*) {
          auto* seat = static_cast<Seat*>(data);
          Seats& seats = *seat->seats;
          seat->focused = seats.whose_(surface) != Whose::other;
          seats.hadKeyboard_ = seats.hadKeyboard_ || seat->focused;
          if (seat->focused && surface == seats.left_) seats.refocused_ = true;
          seats.left_ = nullptr;
        },
    .leave =
        [](void* data, wl_keyboard*, uint32_t, wl_surface* surface) {
          auto* seat = static_cast<Seat*>(data);
          Seats& seats = *seat->seats;
          if (seat->focused && seats.whose_(surface) != Whose::other) seats.left_ = surface;
          seat->focused = false;
          seat->keys.clear();
        },
    .key =
        [](void* data, wl_keyboard*, uint32_t, uint32_t, uint32_t key, uint32_t state) {
          auto* seat = static_cast<Seat*>(data);
          if (!seat->focused) return;
          if (state == WL_KEYBOARD_KEY_STATE_PRESSED) {
            seat->keys.insert(key);
          } else if (seat->keys.erase(key)) {
            seat->seats->input_ = true;
          }
        },
    .modifiers = [](void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {},
    .repeat_info = [](void*, wl_keyboard*, int32_t, int32_t) {},
};

// A pointer that merely finds itself over a new surface has not moved: only
// a place other than the one known counts. Where none is known, an enter on
// a surface already on the screen is the pointer arriving there (mutter
// tells of its first motion so), while one in answer to the surface's
// appearing is not.
void Seats::pointerAt(Seat& seat, wl_fixed_t x, wl_fixed_t y, bool counts) {
  if (seat.placed ? x != seat.x || y != seat.y : counts) input_ = true;
  seat.placed = true;
  seat.x = x;
  seat.y = y;
}

const wl_pointer_listener Seats::kPointerListener = {
    .enter =
        [](void* data, wl_pointer* pointer, uint32_t serial, wl_surface* surface, wl_fixed_t x,
           wl_fixed_t y) {
          auto* seat = static_cast<Seat*>(data);
          const Whose whose = seat->seats->whose_(surface);
          if (whose == Whose::other) return;
          wl_pointer_set_cursor(pointer, serial, nullptr, 0, 0);
          seat->seats->pointerAt(*seat, x, y, whose == Whose::oursShown);
        },
    .leave = [](void* data, wl_pointer*, uint32_t,
                wl_surface*) { static_cast<Seat*>(data)->buttons.clear(); },
    .motion =
        [](void* data, wl_pointer*, uint32_t, wl_fixed_t x, wl_fixed_t y) {
          auto* seat = static_cast<Seat*>(data);
          seat->seats->pointerAt(*seat, x, y, true);
        },
    .button =
        [](void* data, wl_pointer*, uint32_t, uint32_t, uint32_t button, uint32_t state) {
          auto* seat = static_cast<Seat*>(data);
          if (state == WL_POINTER_BUTTON_STATE_PRESSED) {
            seat->buttons.insert(button);
          } else if (seat->buttons.erase(button)) {
            seat->seats->input_ = true;
          }
        },
    .axis = [](void*, wl_pointer*, uint32_t, uint32_t, wl_fixed_t) {},
    .frame = [](void*, wl_pointer*) {},
    .axis_source = [](void*, wl_pointer*, uint32_t) {},
    .axis_stop = [](void*, wl_pointer*, uint32_t, uint32_t) {},
    .axis_discrete = [](void*, wl_pointer*, uint32_t, int32_t) {},
    .axis_value120 = nullptr,
};

}  // namespace tavrel::saver
