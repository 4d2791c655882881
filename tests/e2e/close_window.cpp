// Asks a window to close as a window manager does: the WM_DELETE_WINDOW
// message of the ICCCM. Usage: close_window WINDOW_ID
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
  xcb_intern_atom_reply_t* r =
      xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::strlen(name), name), nullptr);
  const xcb_atom_t a = r ? r->atom : xcb_atom_t{XCB_ATOM_NONE};
  std::free(r);
  return a;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: close_window WINDOW_ID\n");
    return 2;
  }
  xcb_connection_t* c = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(c)) return 1;
  xcb_client_message_event_t e{};
  e.response_type = XCB_CLIENT_MESSAGE;
  e.format = 32;
  e.window = static_cast<xcb_window_t>(std::strtoul(argv[1], nullptr, 0));
  e.type = atom(c, "WM_PROTOCOLS");
  e.data.data32[0] = atom(c, "WM_DELETE_WINDOW");
  e.data.data32[1] = XCB_CURRENT_TIME;
  xcb_send_event(c, 0, e.window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&e));
  // A round trip: the message is on its way before the connection goes.
  std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
  xcb_disconnect(c);
  return 0;
}
