// DESIGN: the X server keeps its picture in a file (-fbdir), so a pixel is read without asking
// anybody and without a program for screenshots. Input comes from xdotool through the server's test
// extension: the program cannot tell it from a person's.
#include "screen.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <iostream>
#include <ostream>
#include <sstream>
#include <stdexcept>

#include "wait_until.h"

namespace support {
namespace {

constexpr std::chrono::seconds kStartLimit{20};
constexpr std::chrono::seconds kActionLimit{15};

// Everything a window manager needs here: a new window gets the keyboard, stays where it wants to
// be, and alt+F4 closes it.
constexpr const char* kManagerRules = R"(<?xml version="1.0"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <focus><focusNew>yes</focusNew></focus>
  <keyboard><keybind key="A-F4"><action name="Close"/></keybind></keyboard>
</openbox_config>
)";

template <class Condition>
void require(const std::string& what, std::chrono::milliseconds limit, Condition&& condition) {
  const auto met = wait_until(what, limit, condition);
  if (!met) throw std::runtime_error(met.message());
}

std::string text(int number) {
  return std::to_string(number);
}

// The picture file: big-endian words of a header, the colour map, then the pixels row by row.
struct Picture {
  std::string bytes;
  std::size_t first_pixel = 0;
  std::size_t row_bytes = 0;
};

std::uint32_t word(const std::string& bytes, std::size_t index) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes.at(index * 4 + i));
  return value;
}

Picture read_picture(const std::filesystem::path& file) {
  constexpr std::size_t kColourBytes = 12;
  Picture picture{.bytes = read_file(file)};
  picture.first_pixel = word(picture.bytes, 0) + word(picture.bytes, 19) * kColourBytes;
  picture.row_bytes = word(picture.bytes, 12);
  return picture;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Spot& spot) {
  return out << spot.x << ", " << spot.y;
}

std::ostream& operator<<(std::ostream& out, const Extent& extent) {
  return out << extent.w << " x " << extent.h;
}

Screen::Screen(Extent size) : size_(size) {
  const std::filesystem::path& root = directory_.path();
  std::ofstream(root / "rules.xml") << kManagerRules;
  server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0",
                                           text(size.w) + "x" + text(size.h) + "x24", "-nolisten",
                                           "tcp", "-noreset", "-fbdir", root.string()},
                  quiet(), root / "server.txt");
  require("the X server names its display", kStartLimit, [&](std::string& seen) {
    seen = server_->output();
    std::istringstream lines(seen);
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
      if (!line.empty() && line.find_first_not_of("0123456789") == std::string::npos)
        display_ = ":" + line;
    }
    return !display_.empty();
  });
  manager_.emplace(std::vector<std::string>{"openbox", "--sm-disable", "--config-file",
                                            (root / "rules.xml").string()},
                   environment(), root / "manager.txt");
  require("the window manager is there", kStartLimit, [&](std::string& seen) {
    seen = run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"});
    return seen.find("window id") != std::string::npos;
  });
}

Screen::~Screen() {
  if (!testing::Test::HasFailure() || !server_->running()) return;
  const auto* test = testing::UnitTest::GetInstance()->current_test_info();
  const std::filesystem::path file =
      std::filesystem::temp_directory_path() /
      ("velmora-" + std::string(test != nullptr ? test->name() : "screen") + ".png");
  save_png(file);
  std::cerr << "---- The screen: " << file.string() << "\n";
}

Environment Screen::quiet() const {
  const std::string root = directory_.path().string();
  const std::string no_bus = "unix:path=" + root + "/no-bus";
  return {{"HOME", root},
          {"XDG_CONFIG_HOME", root},
          {"XDG_CACHE_HOME", root},
          {"DBUS_SESSION_BUS_ADDRESS", no_bus}};
}

Environment Screen::environment() const {
  return {{"DISPLAY", display_}, {"SDL_VIDEODRIVER", ""}, {"SDL_RENDER_DRIVER", "software"}};
}

void Screen::crash() {
  server_->kill();
}

std::uint32_t Screen::pixel(Spot spot) const {
  const Picture picture = read_picture(directory_.path() / "Xvfb_screen0");
  const std::size_t at = picture.first_pixel +
                         static_cast<std::size_t>(spot.y) * picture.row_bytes +
                         static_cast<std::size_t>(spot.x) * 4;
  std::uint32_t colour = 0;
  for (std::size_t i = 3; i-- > 0;)  // blue comes first
    colour = colour << 8 | static_cast<unsigned char>(picture.bytes.at(at + i));
  return colour;
}

void Screen::save_png(const std::filesystem::path& file) const {
  Picture picture = read_picture(directory_.path() / "Xvfb_screen0");
  auto* pixels = reinterpret_cast<unsigned char*>(picture.bytes.data() + picture.first_pixel);
  cairo_surface_t* surface = cairo_image_surface_create_for_data(
      pixels, CAIRO_FORMAT_RGB24, size_.w, size_.h, static_cast<int>(picture.row_bytes));
  cairo_surface_write_to_png(surface, file.c_str());
  cairo_surface_destroy(surface);
}

std::string Screen::run(const std::vector<std::string>& arguments) const {
  const TempDir scratch;
  Environment variables = quiet();
  variables.merge(environment());
  Process process(arguments, variables, scratch.path() / "output.txt");
  const auto status = process.wait(kActionLimit);
  if (!status) throw std::runtime_error(arguments.front() + " does not end");
  if (status->code != 0) throw std::runtime_error(arguments.front() + ": " + process.output());
  return process.output();
}

std::string Screen::xdotool(std::vector<std::string> arguments) const {
  arguments.insert(arguments.begin(), "xdotool");
  return run(arguments);
}

Window::Window(const Screen& screen, const std::string& window_class) : screen_(screen) {
  require("a window of class " + window_class, kStartLimit, [&] {
    // Throws while there is none.
    std::istringstream found(
        screen.xdotool({"search", "--onlyvisible", "--class", "^" + window_class + "$"}));
    return static_cast<bool>(found >> id_);
  });
}

std::string Window::info(const std::string& label) const {
  const std::string all = screen_.run({"xwininfo", "-id", id_});
  const auto at = all.find(label + ":");
  if (at == std::string::npos) throw std::runtime_error("xwininfo: no " + label);
  const auto value = all.find_first_not_of(' ', at + label.size() + 1);
  return all.substr(value, all.find('\n', value) - value);
}

Spot Window::position() const {
  return {std::stoi(info("Absolute upper-left X")), std::stoi(info("Absolute upper-left Y"))};
}

Extent Window::size() const {
  return {std::stoi(info("Width")), std::stoi(info("Height"))};
}

std::string Window::title() const {
  std::string name = screen_.xdotool({"getwindowname", id_});
  while (name.ends_with('\n'))
    name.pop_back();
  return name;
}

bool Window::framed() const {
  // Four widths: left, right, top, bottom.
  const std::string answer = screen_.run({"xprop", "-id", id_, "_NET_FRAME_EXTENTS"});
  return answer.find_first_of("123456789", answer.find('=')) != std::string::npos;
}

bool Window::minimised() const {
  return screen_.run({"xprop", "-id", id_, "_NET_WM_STATE"}).find("_HIDDEN") != std::string::npos;
}

std::uint32_t Window::pixel(Spot spot) const {
  const Spot corner = position();
  return screen_.pixel({corner.x + spot.x, corner.y + spot.y});
}

void Window::click(Spot spot) const {
  screen_.xdotool({"mousemove", "--window", id_, text(spot.x), text(spot.y), "click", "1"});
}

void Window::double_click(Spot spot) const {
  // At a person's speed: a window manager that moves a window while the button is down needs time
  // to see it go down and up.
  screen_.xdotool({"mousemove", "--window", id_, text(spot.x), text(spot.y), "mousedown", "1",
                   "sleep", "0.08", "mouseup", "1", "sleep", "0.1", "mousedown", "1", "sleep",
                   "0.08", "mouseup", "1"});
}

void Window::drag(Spot from, Spot to) const {
  constexpr int kSteps = 8;
  std::vector<std::string> actions{"mousemove",  "--window",  id_, text(from.x),
                                   text(from.y), "mousedown", "1"};
  for (int i = 1; i <= kSteps; ++i) {
    const auto between = [i](int a, int b) { return text(a + (b - a) * i / kSteps); };
    for (const std::string& word : {std::string("mousemove"), std::string("--window"), id_,
                                    between(from.x, to.x), between(from.y, to.y)})
      actions.push_back(word);
  }
  actions.insert(actions.end(), {"mouseup", "1"});
  screen_.xdotool(actions);
}

void Window::wheel(Spot spot, int steps) const {
  screen_.xdotool({"mousemove", "--window", id_, text(spot.x), text(spot.y), "click", "--repeat",
                   text(std::abs(steps)), "--delay", "20", steps > 0 ? "4" : "5"});
}

void Window::key(const std::string& name) const {
  screen_.xdotool({"key", "--clearmodifiers", name});
}

void Window::type(const std::string& text) const {
  screen_.xdotool({"type", "--delay", "20", text});
}

void Window::resize(Extent size) const {
  screen_.xdotool({"windowsize", id_, text(size.w), text(size.h)});
}

void Window::move(Spot position) const {
  screen_.xdotool({"windowmove", id_, text(position.x), text(position.y)});
}

void Window::minimise() const {
  screen_.xdotool({"windowminimize", id_});
}

}  // namespace support
