// The connection to a Wayland compositor: its globals, the outputs as they
// come and go, the seats and the idle watch; and the pieces of a wait on it
// that never blocks anything else the loop waits for.
#pragma once

#include <wayland-client.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "saver/wayland_idle.h"
#include "saver/wayland_output.h"
#include "saver/wayland_seat.h"

namespace tavrel::saver {

// Set to "xdg", full-screen xdg-shell windows even where layer-shell is offered.
inline constexpr const char* kShellVariable = "TAVREL_SAVER_SHELL";

class WaylandDisplay {
  // Declared first, so that it ends last: every proxy below is destroyed
  // while the connection is still there.
  struct Connection {
    wl_display* display = nullptr;
    ~Connection() {
      if (display == nullptr) return;
      wl_display_flush(display);
      wl_display_disconnect(display);
    }
  } connection_;

 public:
  WaylandDisplay();
  ~WaylandDisplay();
  WaylandDisplay(const WaylandDisplay&) = delete;
  WaylandDisplay& operator=(const WaylandDisplay&) = delete;

  // Connects and binds the globals; the message when it cannot draw there.
  std::optional<std::string> connect();

  Globals globals;
  IdleWatch idle;
  Seats seats;
  std::vector<std::unique_ptr<Output>> outputs;

  // Covers every output, those that come later too, or takes the surfaces away.
  void cover(bool on);
  bool covering() const { return covering_; }
  // Whether the compositor has shown everything asked before the last
  // call of confirm(): the surfaces taken away are gone from the screen.
  void confirm();
  bool confirmed() const { return confirm_ == nullptr; }

  // A wait on the compositor in three steps: prepare() before the poll
  // gives the events to wait for (0 when the connection broke), read()
  // after it takes what came and runs the listeners; false when the
  // connection broke.
  int fd() const { return wl_display_get_fd(connection_.display); }
  short prepare();
  bool read(short revents);
  // Why the connection broke, in one line.
  std::string lost() const;

 private:
  static const wl_registry_listener kRegistryListener;
  static const xdg_wm_base_listener kWmBaseListener;
  static const wl_callback_listener kConfirmListener;
  void global(wl_registry* registry, std::uint32_t name, std::string_view interface,
              std::uint32_t version);
  Whose whose(const wl_surface* surface) const;

  wl_registry* registry_ = nullptr;
  wl_callback* confirm_ = nullptr;
  bool covering_ = false;
  bool reading_ = false;
  int outputsSeen_ = 0;
};

}  // namespace tavrel::saver
