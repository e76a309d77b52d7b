// DESIGN: events are translated and passed on; what they mean is the interface's business. Only the
// border of the compact window, which has no frame to grab, is this file's own.

#include <array>
#include <optional>
#include <utility>

#include "platform_private.h"
#include "xsettings.h"

namespace {

constexpr std::array kPointers{SDL_SYSTEM_CURSOR_ARROW, SDL_SYSTEM_CURSOR_HAND,
                               SDL_SYSTEM_CURSOR_SIZEALL, SDL_SYSTEM_CURSOR_HAND};
constexpr std::array<SDL_SystemCursor, platform::kResizeCursors> kResizes{
    SDL_SYSTEM_CURSOR_SIZENWSE, SDL_SYSTEM_CURSOR_SIZENESW, SDL_SYSTEM_CURSOR_SIZEWE,
    SDL_SYSTEM_CURSOR_SIZENS};
constexpr int kNoCursor = -1;

std::array<SDL_Cursor*, kPointers.size()> g_pointer_cursors{};  // by what ui::cursor_at returns
std::array<SDL_Cursor*, kResizes.size()> g_resize_cursors{};    // by resize_cursor
bool g_cursor_forced = false;                                   // a resize cursor is set
int g_cursor_current = kNoCursor;

// SDL turns a press where the window can be moved into a move and keeps it to itself, so its double
// clicks are made out here.
struct Press {
  platform::Point at;
  std::uint64_t when_ms = 0;
};
platform::DoubleClick g_double_click;
bool g_toolkits_rest = false;           // the desktop's toolkits have no animations
std::optional<platform::Point> g_grab;  // where a press, if it comes, moves the window
std::optional<platform::Point> g_late;  // where it comes too late for that
std::optional<Press> g_grabbed;         // the last press that did
std::optional<Press> g_tapped;          // the last one that came too late
std::optional<Press> g_pressed;         // the last press that went to the interface
bool g_repeats = false;                 // SDL may report a press twice

// SDL 2 by itself never does, and its events bear the time when they were fetched: a double click
// that a slow frame kept waiting would look like a press reported twice.
bool runs_on_sdl_3() {
  constexpr int kLeastPatchOfSdl3 = 50;  // what passes for SDL 2.30 and later has these numbers
  SDL_version version{};
  SDL_GetVersion(&version);
  return version.minor >= 30 && version.patch >= kLeastPatchOfSdl3;
}

float logical(int points) {
  return static_cast<float>(points) / platform::view().zoom;
}

platform::Border border_under(platform::Point p) {
  platform::Size size;
  SDL_GetWindowSize(platform::window(), &size.w, &size.h);
  return platform::border_at(p, size);
}

SDL_HitTestResult hit_result(platform::Border border) {
  using platform::Border;
  switch (border) {
    case Border::TopLeft:
      return SDL_HITTEST_RESIZE_TOPLEFT;
    case Border::TopRight:
      return SDL_HITTEST_RESIZE_TOPRIGHT;
    case Border::BottomLeft:
      return SDL_HITTEST_RESIZE_BOTTOMLEFT;
    case Border::BottomRight:
      return SDL_HITTEST_RESIZE_BOTTOMRIGHT;
    case Border::Top:
      return SDL_HITTEST_RESIZE_TOP;
    case Border::Bottom:
      return SDL_HITTEST_RESIZE_BOTTOM;
    case Border::Left:
      return SDL_HITTEST_RESIZE_LEFT;
    case Border::Right:
      return SDL_HITTEST_RESIZE_RIGHT;
    case Border::None:
      break;
  }
  return SDL_HITTEST_NORMAL;
}

bool follows(const std::optional<Press>& first, platform::Point p) {
  return first && platform::is_double_click(g_double_click, platform::ticks_ms() - first->when_ms,
                                            first->at, p);
}

// A window manager that is asked to move or resize the window after the button is up, because the
// program stood still meanwhile, does so until the next click. Only X11 knows how it is now.
bool left_is_up() {
  return platform::video_driver_is("x11") &&
         (SDL_GetGlobalMouseState(nullptr, nullptr) & SDL_BUTTON_LMASK) == 0;
}

// Whether a press there is to move the window. The second press of a double click comes through to
// the interface instead.
bool grabs(platform::Point p) {
  return ui::cursor_at(logical(p.x), logical(p.y)) == ui::kCursorMove && !follows(g_grabbed, p) &&
         !follows(g_tapped, p);
}

// After a slow frame several presses are fetched at once, and SDL asks of each whether it moves the
// window before the first one is handled. So a grab is noted where it is fetched.
int on_fetched(void* /*user*/, SDL_Event* event) {
  if (event->type == SDL_MOUSEBUTTONDOWN && event->button.button == SDL_BUTTON_LEFT && g_late)
    g_tapped = Press{*g_late, platform::ticks_ms()};
  if (event->type != SDL_WINDOWEVENT) return 0;
  if (event->window.event == SDL_WINDOWEVENT_HIT_TEST && g_grab)
    g_grabbed = Press{*g_grab, platform::ticks_ms()};
  if (event->window.event == SDL_WINDOWEVENT_MOVED) g_grabbed.reset();  // it was a drag
  return 0;
}

// Whoever changes the desktop's settings comes back from another window.
void read_desktop_settings() {
  const std::string all = platform::xsettings();
  g_toolkits_rest = platform::xsetting(all, "Gtk/EnableAnimations") == 0;
  g_double_click = platform::double_click(platform::xsetting(all, "Net/DoubleClickTime"),
                                          platform::xsetting(all, "Net/DoubleClickDistance"));
  SDL_SetHint("SDL_MOUSE_DOUBLE_CLICK_TIME", std::to_string(g_double_click.ms).c_str());
  SDL_SetHint("SDL_MOUSE_DOUBLE_CLICK_RADIUS", std::to_string(g_double_click.distance).c_str());
}

void update_pointer(int x, int y) {
  if (platform::compact()) {
    const int resize = platform::resize_cursor(border_under({x, y}));
    if (resize >= 0) {
      SDL_SetCursor(g_resize_cursors[static_cast<std::size_t>(resize)]);
      g_cursor_forced = true;
      return;
    }
  }
  if (g_cursor_forced) {
    g_cursor_forced = false;
    g_cursor_current = kNoCursor;
  }
  const int kind = ui::cursor_at(logical(x), logical(y));
  const auto i = static_cast<std::size_t>(kind);
  if (kind == g_cursor_current || i >= g_pointer_cursors.size()) return;
  if (g_pointer_cursors[i] == nullptr) return;
  SDL_SetCursor(g_pointer_cursors[i]);
  g_cursor_current = kind;
}

void on_window_event(const SDL_WindowEvent& event) {
  switch (event.event) {
    case SDL_WINDOWEVENT_FOCUS_GAINED:
      read_desktop_settings();
      break;
    case SDL_WINDOWEVENT_LEAVE:
      ui::on_mouse_leave();
      break;
    case SDL_WINDOWEVENT_MOVED:
      platform::schedule_aspect_correction();
      break;
    case SDL_WINDOWEVENT_SIZE_CHANGED:
      platform::schedule_aspect_correction();
      [[fallthrough]];
    case SDL_WINDOWEVENT_EXPOSED:
    case SDL_WINDOWEVENT_DISPLAY_CHANGED:
      platform::update_scale();
      platform::invalidate_layers();
      break;
    default:
      break;
  }
}

void on_key_down(SDL_Keycode sym) {
  switch (sym) {
    case SDLK_ESCAPE:
      ui::on_key(ui::Key::Escape);
      break;
    case SDLK_RETURN:
    case SDLK_KP_ENTER:
      ui::on_key(ui::Key::Enter);
      break;
    case SDLK_BACKSPACE:
      ui::on_key(ui::Key::Backspace);
      break;
    default:
      break;
  }
}

void on_button_down(const SDL_MouseButtonEvent& event) {
  if (event.button != SDL_BUTTON_LEFT) return;
  const Press press{{event.x, event.y}, event.timestamp};
  const auto before = std::exchange(g_pressed, press);
  if (g_repeats && before &&
      platform::is_repeated_press(press.when_ms - before->when_ms, before->at, press.at))
    return;
  const bool second = event.clicks >= 2 || follows(g_grabbed, press.at);
  g_grabbed.reset();
  if (second) {
    ui::on_double_click(logical(event.x), logical(event.y));
  } else {
    ui::on_mouse_down(logical(event.x), logical(event.y));
  }
}

void on_wheel(const SDL_MouseWheelEvent& event) {
  if (event.y == 0) return;
  int x = 0;
  int y = 0;
  SDL_GetMouseState(&x, &y);
  ui::on_wheel(logical(x), logical(y), event.y > 0 ? -1 : 1);
}

}  // namespace

namespace platform {

void open_input() {
  g_repeats = runs_on_sdl_3();
  SDL_AddEventWatch(on_fetched, nullptr);
  for (std::size_t i = 0; i < kPointers.size(); ++i)
    g_pointer_cursors[i] = SDL_CreateSystemCursor(kPointers[i]);
  for (std::size_t i = 0; i < kResizes.size(); ++i)
    g_resize_cursors[i] = SDL_CreateSystemCursor(kResizes[i]);
}

void close_input() {
  SDL_DelEventWatch(on_fetched, nullptr);
  for (SDL_Cursor*& cursor : g_pointer_cursors)
    SDL_FreeCursor(std::exchange(cursor, nullptr));
  for (SDL_Cursor*& cursor : g_resize_cursors)
    SDL_FreeCursor(std::exchange(cursor, nullptr));
}

bool less_motion() {
  return desktop::reduced_motion(g_toolkits_rest);
}

void handle(const SDL_Event& event) {
  switch (event.type) {
    case SDL_QUIT:
      quit();
      break;
    case SDL_WINDOWEVENT:
      on_window_event(event.window);
      break;
    case SDL_KEYDOWN:
      on_key_down(event.key.keysym.sym);
      break;
    case SDL_TEXTINPUT:
      ui::on_text(event.text.text);
      break;
    case SDL_MOUSEMOTION:
      ui::on_mouse_move(logical(event.motion.x), logical(event.motion.y));
      update_pointer(event.motion.x, event.motion.y);
      break;
    case SDL_MOUSEBUTTONDOWN:
      on_button_down(event.button);
      break;
    case SDL_MOUSEBUTTONUP:
      if (event.button.button == SDL_BUTTON_LEFT) ui::on_mouse_up();
      break;
    case SDL_MOUSEWHEEL:
      on_wheel(event.wheel);
      break;
    case SDL_DROPFILE:
      ui::import_file(event.drop.file);
      SDL_free(event.drop.file);
      break;
    case SDL_DROPTEXT:
      SDL_free(event.drop.file);
      break;
    case SDL_RENDER_TARGETS_RESET:
      invalidate_layers();
      break;
    case SDL_RENDER_DEVICE_RESET:
      set_device_lost();
      break;
    default:
      break;
  }
}

// A window manager that takes the frame away while the button is down takes the window from the
// screen for that, and with it the release. SDL would ignore the next press.
void find_lost_release() {
  static bool missed = false;
  const bool believed = (SDL_GetMouseState(nullptr, nullptr) & SDL_BUTTON_LMASK) != 0;
  const bool lost = believed && (SDL_GetGlobalMouseState(nullptr, nullptr) & SDL_BUTTON_LMASK) == 0;
  if (lost && missed) report_release();  // the first time it may still be on its way
  missed = lost && !missed;
}

SDL_HitTestResult on_hit_test(SDL_Window*, const SDL_Point* point, void*) {
  g_grab.reset();
  g_late.reset();
  if (!compact()) return SDL_HITTEST_NORMAL;
  const Point p{point->x, point->y};
  const Border border = border_under(p);
  if (border != Border::None) return left_is_up() ? SDL_HITTEST_NORMAL : hit_result(border);
  if (!grabs(p)) return SDL_HITTEST_NORMAL;
  (left_is_up() ? g_late : g_grab) = p;
  return g_grab ? SDL_HITTEST_DRAGGABLE : SDL_HITTEST_NORMAL;
}

}  // namespace platform
