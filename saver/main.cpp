// tavrel-saver: the screen-saver module. A daemon (XScreenSaver, xsecurelock)
// blanks the screen and runs it on a window of its own; it shows the
// generators' pictures there, bouncing on black, until it is told to stop.
#include <poll.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <span>

#include "canvas/display_scale.h"
#include "cli/program.h"
#include "saver/settings.h"
#include "saver/show.h"
#include "saver/signals.h"
#include "saver/x_screen.h"
#ifdef TAVREL_SAVER_WAYLAND
#include "saver/wayland_screen.h"
#endif

namespace tavrel::saver {
namespace {

using Clock = Timeline::Clock;

Layout layoutOf(const XScreen& screen) {
  const char* scale = std::getenv(kScaleVariable);
  return layoutFor(screen.width(), screen.height(),
                   scale ? std::optional<std::string_view>(scale) : std::nullopt);
}

// Runs until a signal or the window ends it; the message when the display
// failed it.
std::variant<Ending, std::string> run(XScreen& screen, const Settings& s, std::uint32_t seed) {
  Layout layout = layoutOf(screen);
  Show show(s, seed);
  const Bounce* bounce = &show.place(0, layout.width, layout.height);
  for (;;) {
    if (auto end = screen.handleEvents()) {
      if (end->empty()) return Ending{};
      return *end;
    }
    if (screen.takeResize()) {
      const Layout next = layoutOf(screen);
      bounce = &show.place(0, next.width, next.height);
      screen.clear();
      if (show.picture() && next.zoom != layout.zoom) screen.setPicture(*show.picture(), next.zoom);
      layout = next;
    }
    const Clock::time_point now = Clock::now();
    const Show::Frame frame = show.frame(now);
    if (frame.picture) screen.setPicture(*show.picture(), layout.zoom);
    const bool drew = screen.show(bounce->left() * layout.zoom, bounce->top() * layout.zoom);
    if (s.fps && (show.drew(now) || drew)) screen.showText(show.rateText(), layout.zoom);
    if (!screen.flush()) return screen.lost();

    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(frame.wake - Clock::now());
    pollfd fds[] = {{screen.fd(), POLLIN, 0}, {signalDescriptor(), POLLIN, 0}};
    if (poll(fds, 2, static_cast<int>(std::max<long long>(0, wait.count()))) < 0) continue;
    while (const int signal = takeSignal()) {
      if (ends(signal)) return Ending{0, signal};
      show.pictureNow(Clock::now());
    }
  }
}

int fail(const std::string& message, int status) {
  std::cerr << "tavrel-saver: " << message << "\n";
  return status;
}

}  // namespace
}  // namespace tavrel::saver

namespace tavrel::saver {
namespace {

int runModule(int argc, char** argv) {
  const auto parsed =
      parseSettings(std::span<char* const>(argv + 1, static_cast<std::size_t>(argc - 1)));
  if (const auto* message = std::get_if<std::string>(&parsed))
    return fail(*message + " (see --help)", 2);
  const Settings& settings = std::get<Settings>(parsed);
  if (settings.help) {
    std::cout << helpText();
    return 0;
  }
  if (settings.version) {
    std::cout << tavrel::cli::versionText("tavrel-saver");
    return 0;
  }
  const auto target =
      chooseTarget(settings, std::getenv("XSCREENSAVER_WINDOW"), std::getenv("WAYLAND_DISPLAY"));
  if (const auto* message = std::get_if<std::string>(&target)) return fail(*message, 2);

  if (!catchSignals()) return fail("cannot wait for signals", 1);
  const std::uint32_t seed = settings.seed.value_or(tavrel::cli::seedFromClock());
  const Resolved& where = std::get<Resolved>(target);
#ifdef TAVREL_SAVER_WAYLAND
  if (where.target == Target::wayland) {
    auto ending = runWayland(settings, seed);
    if (const auto* message = std::get_if<std::string>(&ending)) return fail(*message, 1);
    return finish(std::get<Ending>(ending));
  }
#else
  if (where.target == Target::wayland) return fail("this build does not draw on Wayland", 1);
#endif
  std::variant<Ending, std::string> ending;
  {
    auto opened = XScreen::open(where);
    if (const auto* refusal = std::get_if<Refusal>(&opened))
      return fail(refusal->message, refusal->status);
    ending = run(*std::get<std::unique_ptr<XScreen>>(opened), settings, seed);
  }
  if (const auto* message = std::get_if<std::string>(&ending)) return fail(*message, 1);
  return finish(std::get<Ending>(ending));
}

}  // namespace
}  // namespace tavrel::saver

int main(int argc, char** argv) {
  return tavrel::cli::guardedMain("tavrel-saver",
                                  [&] { return tavrel::saver::runModule(argc, argv); });
}
