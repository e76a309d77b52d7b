// Drops a file on a window as a file manager does (XDND): drop_file WINDOW URI
//
// Exit status 0 when the window has taken it.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <poll.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr int kPatienceMs = 10000;
constexpr long kVersion = 5;

Display* g_display = nullptr;
Window g_source = None;
Window g_target = None;

Atom atom(const char* name) {
  return XInternAtom(g_display, name, False);
}

void tell(const char* message, long a, long b, long c, long d) {
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = g_target;
  event.xclient.message_type = atom(message);
  event.xclient.format = 32;
  const long data[] = {static_cast<long>(g_source), a, b, c, d};
  std::memcpy(event.xclient.data.l, data, sizeof data);
  XSendEvent(g_display, g_target, False, NoEventMask, &event);
}

void hand_over(const XSelectionRequestEvent& asked, const std::string& text) {
  XChangeProperty(g_display, asked.requestor, asked.property, asked.target, 8, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(text.data()),
                  static_cast<int>(text.size()));
  XEvent event{};
  XSelectionEvent& done = event.xselection;
  done.type = SelectionNotify;
  done.requestor = asked.requestor;
  done.selection = asked.selection;
  done.target = asked.target;
  done.property = asked.property;
  done.time = asked.time;
  XSendEvent(g_display, asked.requestor, False, NoEventMask, &event);
}

// Hands over what is asked for until the message comes.
bool wait_for(const char* message, const std::string& text) {
  for (;;) {
    pollfd ready{ConnectionNumber(g_display), POLLIN, 0};
    if (XPending(g_display) == 0 && poll(&ready, 1, kPatienceMs) < 1) return false;
    XEvent event;
    XNextEvent(g_display, &event);
    if (event.type == SelectionRequest) hand_over(event.xselectionrequest, text);
    if (event.type == ClientMessage && event.xclient.message_type == atom(message))
      return (event.xclient.data.l[1] & 1) != 0;
  }
}

}  // namespace

int main(int argc, char** argv) {
  g_display = XOpenDisplay(nullptr);
  if (argc < 3 || g_display == nullptr) return 2;
  g_target = std::strtoul(argv[1], nullptr, 0);
  const std::string text = argv[2] + std::string("\r\n");
  g_source = XCreateSimpleWindow(g_display, DefaultRootWindow(g_display), 0, 0, 1, 1, 0, 0, 0);
  XSetSelectionOwner(g_display, atom("XdndSelection"), g_source, CurrentTime);
  tell("XdndEnter", kVersion << 24, static_cast<long>(atom("text/uri-list")), 0, 0);
  tell("XdndPosition", 0, 0, CurrentTime, static_cast<long>(atom("XdndActionCopy")));
  if (!wait_for("XdndStatus", text)) return 1;
  tell("XdndDrop", 0, CurrentTime, 0, 0);
  return wait_for("XdndFinished", text) ? 0 : 1;
}
