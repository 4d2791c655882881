// The root window of a plain X11 desktop: its size, and a picture as its
// background pixmap.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cli/program.h"
#include "wallpaper/wallpaper.h"

#ifdef TAVREL_WALLPAPER_X
#include <xcb/xcb.h>

#include "saver/pixels.h"
#endif

namespace tavrel::wallpaper {

#ifndef TAVREL_WALLPAPER_X

std::vector<Output> xRoot(std::string& why) {
  why = "this build does not speak to X servers";
  return {};
}

std::optional<std::string> setRootPixmap(const ImageData&) {
  return "this build does not speak to X servers";
}

#else

namespace {

struct Connection {
  xcb_connection_t* c;
  int screenNumber = 0;
  explicit Connection() : c(xcb_connect(nullptr, &screenNumber)) {}
  ~Connection() { xcb_disconnect(c); }
  bool ok() const { return xcb_connection_has_error(c) == 0; }
  const xcb_screen_t* screen() const {
    auto it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && it.rem; ++i) xcb_screen_next(&it);
    return it.rem ? it.data : nullptr;
  }
};

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;
template <typename T>
Reply<T> reply(T* r) {
  return Reply<T>(r, &std::free);
}

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
  const auto r = reply(xcb_intern_atom_reply(
      c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
  return r ? r->atom : XCB_NONE;
}

// The pixmap a property of the root window names, or none.
xcb_pixmap_t pixmapIn(xcb_connection_t* c, xcb_window_t root, xcb_atom_t property) {
  const auto r = reply(xcb_get_property_reply(
      c, xcb_get_property(c, 0, root, property, XCB_ATOM_PIXMAP, 0, 1), nullptr));
  if (!r || r->type != XCB_ATOM_PIXMAP || r->format != 32 ||
      xcb_get_property_value_length(r.get()) != 4)
    return XCB_NONE;
  xcb_pixmap_t p = XCB_NONE;
  std::memcpy(&p, xcb_get_property_value(r.get()), 4);
  return p;
}

// The root window's pixel format: TrueColor in 16, 24 or 32 bits.
std::optional<saver::PixelFormat> formatOf(xcb_connection_t* c, const xcb_screen_t* s) {
  const xcb_setup_t* setup = xcb_get_setup(c);
  for (auto d = xcb_screen_allowed_depths_iterator(s); d.rem; xcb_depth_next(&d))
    for (auto v = xcb_depth_visuals_iterator(d.data); v.rem; xcb_visualtype_next(&v)) {
      if (v.data->visual_id != s->root_visual) continue;
      if (v.data->_class != XCB_VISUAL_CLASS_TRUE_COLOR) return std::nullopt;
      saver::PixelFormat f;
      f.redMask = v.data->red_mask;
      f.greenMask = v.data->green_mask;
      f.blueMask = v.data->blue_mask;
      const std::uint32_t depthBits = s->root_depth >= 32 ? 0xFFFFFFFFu : (1u << s->root_depth) - 1;
      f.alphaMask = depthBits & ~(f.redMask | f.greenMask | f.blueMask);
      f.msbFirst = setup->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
      f.bitsPerPixel = 0;
      for (auto pf = xcb_setup_pixmap_formats_iterator(setup); pf.rem; xcb_format_next(&pf))
        if (pf.data->depth == s->root_depth) {
          f.bitsPerPixel = pf.data->bits_per_pixel;
          f.scanlinePad = pf.data->scanline_pad;
        }
      if (!saver::supported(f)) return std::nullopt;
      return f;
    }
  return std::nullopt;
}

}  // namespace

std::vector<Output> xRoot(std::string& why) {
  Connection x;
  const xcb_screen_t* s = x.ok() ? x.screen() : nullptr;
  if (s == nullptr) {
    why = cli::displayProblem(std::getenv("DISPLAY"));
    return {};
  }
  const int w = s->width_in_pixels, h = s->height_in_pixels;
  return {Output{"", 0, 0, w, h, w, h}};
}

std::optional<std::string> setRootPixmap(const ImageData& image) {
  Connection x;
  const xcb_screen_t* s = x.ok() ? x.screen() : nullptr;
  if (s == nullptr) return cli::displayProblem(std::getenv("DISPLAY"));
  xcb_connection_t* c = x.c;
  if (image.width != s->width_in_pixels || image.height != s->height_in_pixels)
    return "the root window changed its size";
  const auto format = formatOf(c, s);
  if (!format) return "the root window is not TrueColor of 16, 24 or 32 bits";

  const xcb_window_t root = s->root;
  const xcb_pixmap_t pixmap = xcb_generate_id(c);
  const xcb_gcontext_t gc = xcb_generate_id(c);
  xcb_create_pixmap(c, s->root_depth, pixmap, root, static_cast<std::uint16_t>(image.width),
                    static_cast<std::uint16_t>(image.height));
  xcb_create_gc(c, gc, pixmap, 0, nullptr);
  // Rows in requests the server takes whole.
  const std::vector<std::uint8_t> bytes = saver::serverImage(image, 1, *format);
  const std::size_t row = static_cast<std::size_t>(saver::bytesPerRow(*format, image.width));
  const std::size_t maxBytes = static_cast<std::size_t>(xcb_get_maximum_request_length(c)) * 4 - 64;
  const int rows = static_cast<int>(std::max<std::size_t>(1, maxBytes / row));
  for (int y = 0; y < image.height; y += rows) {
    const int n = std::min(rows, image.height - y);
    xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, gc, static_cast<std::uint16_t>(image.width),
                  static_cast<std::uint16_t>(n), 0, static_cast<std::int16_t>(y), 0, s->root_depth,
                  static_cast<std::uint32_t>(row * n),
                  bytes.data() + row * static_cast<std::size_t>(y));
  }
  xcb_free_gc(c, gc);

  // The swap under a grab, so that no other setter comes between. The
  // pixmap of an earlier setter lives on after its client, as this one will:
  // killing that client frees it, when both properties still name it.
  const xcb_atom_t rootId = atom(c, "_XROOTPMAP_ID"), setRootId = atom(c, "ESETROOT_PMAP_ID");
  xcb_grab_server(c);
  const xcb_pixmap_t old = pixmapIn(c, root, rootId);
  if (old != XCB_NONE && old == pixmapIn(c, root, setRootId))
    std::free(xcb_request_check(c, xcb_kill_client_checked(c, old)));
  for (xcb_atom_t property : {rootId, setRootId})
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, root, property, XCB_ATOM_PIXMAP, 32, 1, &pixmap);
  xcb_change_window_attributes(c, root, XCB_CW_BACK_PIXMAP, &pixmap);
  xcb_clear_area(c, 0, root, 0, 0, 0, 0);
  xcb_ungrab_server(c);
  xcb_set_close_down_mode(c, XCB_CLOSE_DOWN_RETAIN_PERMANENT);
  // A round trip: every request above reached the server and was taken.
  xcb_generic_error_t* error = nullptr;
  std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), &error));
  bool failed = error != nullptr || !x.ok();
  std::free(error);
  // The errors of the requests above come as events.
  while (xcb_generic_event_t* e = xcb_poll_for_event(c)) {
    failed = failed || e->response_type == 0;
    std::free(e);
  }
  if (failed) return "the X server refused the new background";
  return std::nullopt;
}

#endif

}  // namespace tavrel::wallpaper
