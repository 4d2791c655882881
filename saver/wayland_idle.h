// Idleness as the compositor tells it: ext-idle-notify-v1 where offered,
// else KDE's org_kde_kwin_idle (sway 1.7). Both honour the compositor's idle
// inhibitors, so a playing video keeps the pictures away.
#pragma once

#include <wayland-client.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include "ext-idle-notify-v1-client-protocol.h"
#include "kde-idle-client-protocol.h"

namespace tavrel::saver {

class IdleWatch {
 public:
  IdleWatch() = default;
  ~IdleWatch();
  IdleWatch(const IdleWatch&) = delete;
  IdleWatch& operator=(const IdleWatch&) = delete;

  // Binds the global when it is an idle interface; whether it was.
  bool bind(wl_registry* registry, std::uint32_t name, std::string_view interface,
            std::uint32_t version);
  bool offered() const { return notifier_ || kde_; }
  // Watches `seat` for `milliseconds` without input, made anew: the period
  // counts from now, so an event of an earlier watch never comes late.
  void arm(wl_seat* seat, std::uint32_t milliseconds);
  // The desktop has been idle for the period since the last call.
  bool takeIdle() { return std::exchange(idle_, false); }
  // The user came back since the last call.
  bool takeResumed() { return std::exchange(resumed_, false); }

 private:
  void disarm();
  static const ext_idle_notification_v1_listener kNotificationListener;
  static const org_kde_kwin_idle_timeout_listener kTimeoutListener;

  ext_idle_notifier_v1* notifier_ = nullptr;
  org_kde_kwin_idle* kde_ = nullptr;
  ext_idle_notification_v1* notification_ = nullptr;
  org_kde_kwin_idle_timeout* timeout_ = nullptr;
  bool idle_ = false, resumed_ = false;
};

}  // namespace tavrel::saver
