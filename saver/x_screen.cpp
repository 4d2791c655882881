#include "saver/x_screen.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "canvas/text.h"
#include "cli/program.h"

namespace tavrel::saver {

namespace {

// Frees what xcb hands out with malloc.
struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeDeleter>;

constexpr int kOwnWidth = 800, kOwnHeight = 600;
constexpr std::uint32_t kEvents = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_EXPOSURE;

std::string hexId(std::uint32_t id) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", id);
  return text;
}

const xcb_screen_t* screenOfRoot(const xcb_setup_t* setup, xcb_window_t root) {
  for (auto it = xcb_setup_roots_iterator(setup); it.rem; xcb_screen_next(&it))
    if (it.data->root == root) return it.data;
  return nullptr;
}

const xcb_screen_t* screenNumbered(const xcb_setup_t* setup, int n) {
  auto it = xcb_setup_roots_iterator(setup);
  for (int i = 0; i < n && it.rem; ++i) xcb_screen_next(&it);
  return it.rem ? it.data : nullptr;
}

const xcb_visualtype_t* findVisual(const xcb_screen_t* screen, xcb_visualid_t id) {
  for (auto d = xcb_screen_allowed_depths_iterator(screen); d.rem; xcb_depth_next(&d))
    for (auto v = xcb_depth_visuals_iterator(d.data); v.rem; xcb_visualtype_next(&v))
      if (v.data->visual_id == id) return v.data;
  return nullptr;
}

// An X error in one line: its name and the request it answered.
std::string errorText(const xcb_generic_error_t& e) {
  static constexpr const char* kNames[] = {
      "",          "BadRequest", "BadValue",    "BadWindow",   "BadPixmap", "BadAtom",
      "BadCursor", "BadFont",    "BadMatch",    "BadDrawable", "BadAccess", "BadAlloc",
      "BadColor",  "BadGC",      "BadIDChoice", "BadName",     "BadLength", "BadImplementation"};
  const std::string name = e.error_code < std::size(kNames) && e.error_code > 0
                               ? kNames[e.error_code]
                               : "error " + std::to_string(e.error_code);
  return "the X server refused a request: " + name + " (request " + std::to_string(e.major_code) +
         ", resource " + hexId(e.resource_id) + ")";
}

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
  const Reply<xcb_intern_atom_reply_t> r(xcb_intern_atom_reply(
      c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
  return r ? r->atom : XCB_NONE;
}

}  // namespace

std::variant<std::unique_ptr<XScreen>, Refusal> XScreen::open(const Resolved& target) {
  int screenNumber = 0;
  xcb_connection_t* c = xcb_connect(nullptr, &screenNumber);
  if (xcb_connection_has_error(c)) {
    xcb_disconnect(c);
    return Refusal{cli::displayProblem(std::getenv("DISPLAY"))};
  }
  std::unique_ptr<XScreen> screen(new XScreen(c, XCB_NONE));
  const char* display = std::getenv("DISPLAY");
  screen->displayName_ = display ? display : "";
  if (auto problem = screen->bind(target, screenNumber)) return *problem;
  return screen;
}

std::optional<Refusal> XScreen::bind(const Resolved& target, int screenNumber) {
  const xcb_setup_t* setup = xcb_get_setup(c_);
  const xcb_screen_t* screen = screenNumbered(setup, screenNumber);
  if (screen == nullptr)
    return Refusal{"the display has no screen " + std::to_string(screenNumber)};
  xcb_visualid_t visual = screen->root_visual;
  if (target.target == Target::ownWindow) {
    if (!createOwnWindow(screen)) return Refusal{"cannot create a window"};
    depth_ = screen->root_depth;
    colormap_ = screen->default_colormap;
  } else {
    window_ = target.target == Target::root ? screen->root : target.windowId;
    xcb_generic_error_t* error = nullptr;
    const Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(c_, xcb_get_geometry(c_, window_), &error));
    const Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
        c_, xcb_get_window_attributes(c_, window_), error ? nullptr : &error));
    std::free(error);
    if (!geometry || !attributes)
      return Refusal{"there is no window " + hexId(window_) + " on the display", 2};
    screen = screenOfRoot(setup, geometry->root);
    if (screen == nullptr) return Refusal{"the window " + hexId(window_) + " is on no screen"};
    width_ = geometry->width;
    height_ = geometry->height;
    depth_ = geometry->depth;
    visual = attributes->visual;
    colormap_ = attributes->colormap;
    const std::uint32_t events = kEvents;
    xcb_change_window_attributes(c_, window_, XCB_CW_EVENT_MASK, &events);
  }

  const xcb_visualtype_t* v = findVisual(screen, visual);
  const bool mapped = v && (v->_class == XCB_VISUAL_CLASS_PSEUDO_COLOR ||
                            v->_class == XCB_VISUAL_CLASS_STATIC_COLOR);
  if (v == nullptr || (v->_class != XCB_VISUAL_CLASS_TRUE_COLOR && !mapped))
    return Refusal{"the window " + hexId(window_) + " has neither TrueColor nor a colour map"};
  if (mapped) {
    // Colours come from the window's colour map, allocated per picture.
    format_.cells = &cells_;
    allocateColours(ImageData{2, 1, {kBlack, kWhite}});
  } else {
    format_.redMask = v->red_mask;
    format_.greenMask = v->green_mask;
    format_.blueMask = v->blue_mask;
    const std::uint32_t depthBits = depth_ >= 32 ? 0xFFFFFFFFu : (1u << depth_) - 1;
    format_.alphaMask = depthBits & ~(v->red_mask | v->green_mask | v->blue_mask);
  }
  format_.msbFirst = setup->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
  format_.bitsPerPixel = 0;
  for (auto f = xcb_setup_pixmap_formats_iterator(setup); f.rem; xcb_format_next(&f)) {
    if (f.data->depth != depth_) continue;
    format_.bitsPerPixel = f.data->bits_per_pixel;
    format_.scanlinePad = f.data->scanline_pad;
  }
  if (!supported(format_)) {
    return Refusal{"the window " + hexId(window_) + " has " + std::to_string(format_.bitsPerPixel) +
                   " bits per pixel; 16, 24 or 32 are needed"};
  }
  maxRequestBytes_ = static_cast<std::size_t>(xcb_get_maximum_request_length(c_)) * 4;

  gc_ = xcb_generate_id(c_);
  const std::uint32_t values[] = {pixelOf(format_, kBlack), 0};
  xcb_create_gc(c_, gc_, window_, XCB_GC_FOREGROUND | XCB_GC_GRAPHICS_EXPOSURES, values);
  if (ownWindow_) xcb_map_window(c_, window_);
  clear();
  flush();
  return std::nullopt;
}

bool XScreen::createOwnWindow(const xcb_screen_t* screen) {
  ownWindow_ = true;
  window_ = xcb_generate_id(c_);
  width_ = kOwnWidth;
  height_ = kOwnHeight;
  const std::uint32_t values[] = {screen->black_pixel, kEvents};
  const xcb_void_cookie_t made =
      xcb_create_window_checked(c_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, kOwnWidth,
                                kOwnHeight, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                                XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
  if (xcb_generic_error_t* error = xcb_request_check(c_, made)) {
    std::free(error);
    return false;
  }
  const char name[] = "Tavrel";
  xcb_change_property(c_, XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                      sizeof name - 1, name);
  const char wmClass[] = "tavrel-saver\0Tavrel";
  xcb_change_property(c_, XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                      sizeof wmClass, wmClass);
  // Closing by the window manager comes as a message, not a destroyed window.
  const xcb_atom_t protocols = atom(c_, "WM_PROTOCOLS");
  deleteWindow_ = atom(c_, "WM_DELETE_WINDOW");
  if (protocols != XCB_NONE && deleteWindow_ != XCB_NONE) {
    xcb_change_property(c_, XCB_PROP_MODE_REPLACE, window_, protocols, XCB_ATOM_ATOM, 32, 1,
                        &deleteWindow_);
  }
  return true;
}

XScreen::~XScreen() {
  if (pixmap_) xcb_free_pixmap(c_, pixmap_);
  if (textPixmap_) xcb_free_pixmap(c_, textPixmap_);
  if (gc_) xcb_free_gc(c_, gc_);
  if (ownWindow_) xcb_destroy_window(c_, window_);
  xcb_disconnect(c_);
}

std::string XScreen::lost() const {
  return "lost the connection to the display " + quotedText(displayName_);
}

std::optional<std::string> XScreen::handleEvents() {
  while (xcb_generic_event_t* raw = xcb_poll_for_event(c_)) {
    const Reply<xcb_generic_event_t> event(raw);
    switch (event->response_type & 0x7F) {
      case 0: {
        // The daemon destroyed its window under a request: a quiet end, as
        // a destroyed window is. Any other error is a fault.
        const auto* e = reinterpret_cast<const xcb_generic_error_t*>(raw);
        if ((e->error_code == XCB_WINDOW || e->error_code == XCB_DRAWABLE) &&
            e->resource_id == window_)
          return std::string();
        return errorText(*e);
      }
      case XCB_EXPOSE: {
        const auto* e = reinterpret_cast<const xcb_expose_event_t*>(raw);
        fill({e->x, e->y, e->width, e->height});
        redraw_ = true;
        break;
      }
      case XCB_CONFIGURE_NOTIFY: {
        const auto* e = reinterpret_cast<const xcb_configure_notify_event_t*>(raw);
        if (e->window == window_ && (e->width != width_ || e->height != height_)) {
          width_ = e->width;
          height_ = e->height;
          resized_ = true;
        }
        break;
      }
      case XCB_DESTROY_NOTIFY:
        if (reinterpret_cast<const xcb_destroy_notify_event_t*>(raw)->window == window_)
          return std::string();
        break;
      case XCB_CLIENT_MESSAGE: {
        const auto* e = reinterpret_cast<const xcb_client_message_event_t*>(raw);
        if (ownWindow_ && e->format == 32 && e->data.data32[0] == deleteWindow_)
          return std::string();
        break;
      }
      default:
        break;
    }
  }
  if (xcb_connection_has_error(c_)) return lost();
  return std::nullopt;
}

bool XScreen::takeResize() {
  return std::exchange(resized_, false);
}

void XScreen::clear() {
  fill({0, 0, width_, height_});
  shown_.reset();
  redraw_ = true;
}

void XScreen::fill(const Rect& r) {
  const xcb_rectangle_t rect{static_cast<std::int16_t>(r.x), static_cast<std::int16_t>(r.y),
                             static_cast<std::uint16_t>(r.width),
                             static_cast<std::uint16_t>(r.height)};
  xcb_poly_fill_rectangle(c_, window_, gc_, 1, &rect);
}

void XScreen::setPicture(const ImageData& img, int zoom) {
  const int width = img.width * zoom, height = img.height * zoom;
  if (width != picture_.width || height != picture_.height) {
    if (pixmap_) xcb_free_pixmap(c_, pixmap_);
    pixmap_ = xcb_generate_id(c_);
    xcb_create_pixmap(c_, depth_, pixmap_, window_, static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(height));
    picture_ = {0, 0, width, height};
  }
  if (format_.cells) allocateColours(img);
  putImage(pixmap_, img, zoom, 0, 0);
  redraw_ = true;
}

bool XScreen::show(int x, int y) {
  if (!pixmap_) return false;
  const Rect now{x, y, picture_.width, picture_.height};
  if (shown_ && *shown_ == now && !redraw_) return false;
  xcb_copy_area(c_, pixmap_, window_, gc_, 0, 0, static_cast<std::int16_t>(x),
                static_cast<std::int16_t>(y), static_cast<std::uint16_t>(now.width),
                static_cast<std::uint16_t>(now.height));
  if (shown_)
    for (const Rect& r : uncovered(*shown_, now)) fill(r);
  shown_ = now;
  redraw_ = false;
  return true;
}

void XScreen::putImage(xcb_drawable_t to, const ImageData& img, int zoom, int x, int y) {
  const int width = img.width * zoom, height = img.height * zoom;
  const std::vector<std::uint8_t> bytes = serverImage(img, zoom, format_);
  const int stride = bytesPerRow(format_, width);
  // Strips that each fit in one request, its header included.
  const int rowsPerRequest =
      std::max(1, static_cast<int>((maxRequestBytes_ - 64) / static_cast<std::size_t>(stride)));
  for (int row = 0; row < height; row += rowsPerRequest) {
    const int rows = std::min(rowsPerRequest, height - row);
    xcb_put_image(c_, XCB_IMAGE_FORMAT_Z_PIXMAP, to, gc_, static_cast<std::uint16_t>(width),
                  static_cast<std::uint16_t>(rows), static_cast<std::int16_t>(x),
                  static_cast<std::int16_t>(y + row), 0, depth_,
                  static_cast<std::uint32_t>(rows * stride),
                  bytes.data() + static_cast<std::size_t>(row) * stride);
  }
}

void XScreen::allocateColours(const ImageData& img) {
  std::unordered_set<Colour> needed(img.pixels.begin(), img.pixels.end());
  needed.insert({kBlack, kWhite});
  // Cells the pictures before used and this one does not go back to the map.
  std::vector<std::uint32_t> unused;
  for (auto it = cells_.begin(); it != cells_.end();) {
    if (needed.contains(it->first)) {
      ++it;
      continue;
    }
    if (allocated_.erase(it->first)) unused.push_back(it->second);
    it = cells_.erase(it);
  }
  if (!unused.empty())
    xcb_free_colors(c_, colormap_, 0, static_cast<std::uint32_t>(unused.size()), unused.data());
  std::vector<Colour> wanted;
  for (Colour c : needed)
    if (!cells_.contains(c)) wanted.push_back(c);
  std::vector<xcb_alloc_color_cookie_t> asked;
  const auto level = [](Colour c, int shift) {
    return static_cast<std::uint16_t>((c >> shift & 0xFF) * 257);
  };
  for (Colour c : wanted)
    asked.push_back(xcb_alloc_color(c_, colormap_, level(c, 0), level(c, 8), level(c, 16)));
  std::vector<Colour> unmatched;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const Reply<xcb_alloc_color_reply_t> r(xcb_alloc_color_reply(c_, asked[i], nullptr));
    if (r) {
      cells_[wanted[i]] = r->pixel;
      allocated_.insert(wanted[i]);
    } else {
      unmatched.push_back(wanted[i]);
    }
  }
  if (unmatched.empty()) return;
  // The map is full: the nearest colour it holds.
  std::vector<std::uint32_t> all(std::size_t{1} << std::min<int>(depth_, 8));
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<std::uint32_t>(i);
  const Reply<xcb_query_colors_reply_t> map(xcb_query_colors_reply(
      c_, xcb_query_colors(c_, colormap_, static_cast<std::uint32_t>(all.size()), all.data()),
      nullptr));
  const xcb_rgb_t* rgb = map ? xcb_query_colors_colors(map.get()) : nullptr;
  const int count = map ? xcb_query_colors_colors_length(map.get()) : 0;
  for (Colour c : unmatched) {
    long best = -1;
    std::uint32_t cell = 0;
    for (int i = 0; i < count; ++i) {
      const auto d = [&](std::uint16_t level, int shift) {
        const long diff = (level >> 8) - static_cast<long>(c >> shift & 0xFF);
        return diff * diff;
      };
      const long distance = d(rgb[i].red, 0) + d(rgb[i].green, 8) + d(rgb[i].blue, 16);
      if (best < 0 || distance < best) best = distance, cell = static_cast<std::uint32_t>(i);
    }
    cells_[c] = cell;
  }
}

void XScreen::showText(std::string_view text, int zoom) {
  constexpr int kMargin = 2;
  const ImageData img = textPicture(text);
  const Rect place{kMargin * zoom, kMargin * zoom, img.width * zoom, img.height * zoom};
  if (text != text_ || place != textRect_) {
    if (place.width != textRect_.width || place.height != textRect_.height) {
      if (textPixmap_) xcb_free_pixmap(c_, textPixmap_);
      textPixmap_ = xcb_generate_id(c_);
      xcb_create_pixmap(c_, depth_, textPixmap_, window_, static_cast<std::uint16_t>(place.width),
                        static_cast<std::uint16_t>(place.height));
    }
    putImage(textPixmap_, img, zoom, 0, 0);
    text_ = text;
    textRect_ = place;
  }
  xcb_copy_area(c_, textPixmap_, window_, gc_, 0, 0, static_cast<std::int16_t>(place.x),
                static_cast<std::int16_t>(place.y), static_cast<std::uint16_t>(place.width),
                static_cast<std::uint16_t>(place.height));
}

bool XScreen::flush() {
  return xcb_flush(c_) > 0;
}

void XScreen::sync() {
  std::free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
}

}  // namespace tavrel::saver
