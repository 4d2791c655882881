// Looks at the whole screen of $DISPLAY for the module's first picture of a
// seed, as a person would see it: that picture, mirror-symmetric, on black.
// Exit status 0 when it is there; a one-line reason else.
#include <cstdio>
#include <string>

#include "saver/show.h"
#include "x_probe.h"

int main(int argc, char** argv) {
  using namespace tavrel::saver;
  xcb_connection_t* c = xcb_connect(nullptr, nullptr);
  const auto shot = argc == 2 && !xcb_connection_has_error(c)
                        ? test::grab(c, xcb_setup_roots_iterator(xcb_get_setup(c)).data->root)
                        : std::nullopt;
  if (!shot) return std::fprintf(stderr, "usage: saver_screen_check SEED, on a display\n"), 2;
  const Layout layout = layoutFor(shot->width, shot->height, std::nullopt);
  const auto seed = static_cast<std::uint32_t>(std::stoul(argv[1]));
  const tavrel::Picture first = Pictures(Settings{}, seed, layout.width, layout.height).next();
  const auto at = test::locate(*shot, *first, layout.zoom);
  if (!at || !test::aloneOnBlack(*shot, *at, layout.zoom))
    return std::fprintf(stderr, "the picture is not on the screen, alone on black\n"), 1;
  std::printf("the picture at %d,%d, mirror-symmetric, alone on black\n", at->x, at->y);
  xcb_disconnect(c);
  return 0;
}
