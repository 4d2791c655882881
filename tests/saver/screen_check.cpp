// Looks at the whole screen of $DISPLAY for the module's first picture of a
// seed, as a person would see it: that picture, mirror-symmetric, on black.
// Exit status 0 when it is there; a one-line reason else.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "saver/show.h"
#include "x_probe.h"

int main(int argc, char** argv) {
  using namespace tavrel::saver;
  if (argc != 2) {
    std::fprintf(stderr, "usage: saver_screen_check SEED\n");
    return 2;
  }
  xcb_connection_t* c = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(c)) {
    std::fprintf(stderr, "cannot open the display\n");
    return 1;
  }
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
  const auto shot = test::grab(c, screen->root);
  if (!shot) {
    std::fprintf(stderr, "cannot read the screen\n");
    return 1;
  }
  const Layout layout = layoutFor(shot->width, shot->height, std::nullopt);
  Pictures pictures(Settings{}, static_cast<std::uint32_t>(std::stoul(argv[1])), layout.width,
                    layout.height);
  const tavrel::Picture first = pictures.next();
  const auto at = test::locate(*shot, *first, layout.zoom, 2 * layout.zoom);
  if (!at) {
    std::fprintf(stderr, "the picture is not on the screen\n");
    return 1;
  }
  if (!test::aloneOnBlack(*shot, *at, first->width * layout.zoom)) {
    std::fprintf(stderr, "the picture is not alone on black, or not mirror-symmetric\n");
    return 1;
  }
  std::printf("the picture at %d,%d, mirror-symmetric, alone on black\n", at->x, at->y);
  xcb_disconnect(c);
  return 0;
}
