#include "saver/wayland_idle.h"

namespace tavrel::saver {

IdleWatch::~IdleWatch() {
  disarm();
  if (notifier_) ext_idle_notifier_v1_destroy(notifier_);
  if (kde_) org_kde_kwin_idle_destroy(kde_);
}

bool IdleWatch::bind(wl_registry* registry, std::uint32_t name, std::string_view interface,
                     std::uint32_t) {
  if (interface == ext_idle_notifier_v1_interface.name) {
    notifier_ = static_cast<ext_idle_notifier_v1*>(
        wl_registry_bind(registry, name, &ext_idle_notifier_v1_interface, 1));
    return true;
  }
  if (interface == org_kde_kwin_idle_interface.name) {
    kde_ = static_cast<org_kde_kwin_idle*>(
        wl_registry_bind(registry, name, &org_kde_kwin_idle_interface, 1));
    return true;
  }
  return false;
}

void IdleWatch::disarm() {
  if (notification_) ext_idle_notification_v1_destroy(notification_);
  if (timeout_) org_kde_kwin_idle_timeout_release(timeout_);
  notification_ = nullptr;
  timeout_ = nullptr;
  idle_ = resumed_ = false;
}

void IdleWatch::arm(wl_seat* seat, std::uint32_t milliseconds) {
  disarm();
  if (notifier_) {
    notification_ = ext_idle_notifier_v1_get_idle_notification(notifier_, milliseconds, seat);
    ext_idle_notification_v1_add_listener(notification_, &kNotificationListener, this);
  } else if (kde_) {
    timeout_ = org_kde_kwin_idle_get_idle_timeout(kde_, seat, milliseconds);
    org_kde_kwin_idle_timeout_add_listener(timeout_, &kTimeoutListener, this);
  }
}

const ext_idle_notification_v1_listener IdleWatch::kNotificationListener = {
    .idled = [](void* data,
                ext_idle_notification_v1*) { static_cast<IdleWatch*>(data)->idle_ = true; },
    .resumed = [](void* data,
                  ext_idle_notification_v1*) { static_cast<IdleWatch*>(data)->resumed_ = true; },
};

const org_kde_kwin_idle_timeout_listener IdleWatch::kTimeoutListener = {
    .idle = [](void* data,
               org_kde_kwin_idle_timeout*) { static_cast<IdleWatch*>(data)->idle_ = true; },
    .resumed = [](void* data,
                  org_kde_kwin_idle_timeout*) { static_cast<IdleWatch*>(data)->resumed_ = true; },
};

}  // namespace tavrel::saver
