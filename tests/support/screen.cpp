// DESIGN: the X server keeps its picture in a file (-fbdir), so a pixel is read without asking
// anybody and without a program for screenshots. Input comes from xdotool through the server's test
// extension: the program cannot tell it from a person's.
#include "screen.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
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

using std::to_string;

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

Screen::Screen() {
  const std::filesystem::path& root = directory_.path();
  std::ofstream(root / "rules.xml") << kManagerRules;
  const std::string mode = to_string(kSize.w) + "x" + to_string(kSize.h) + "x24";
  const std::vector<std::string> server{"Xvfb",      "-displayfd", "1",        "-screen", "0", mode,
                                        "-nolisten", "tcp",        "-noreset", "-fbdir",  root};
  server_.emplace(server, quiet(), root / "server.txt");
  require(wait_until("the X server names its display", kStartLimit, [&](std::string& seen) {
    seen = server_->output();
    std::istringstream lines(seen);
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
      if (!line.empty() && line.find_first_not_of("0123456789") == std::string::npos)
        display_ = ":" + line;
    }
    return !display_.empty();
  }));
  const std::vector<std::string> manager{"openbox", "--sm-disable", "--config-file",
                                         root / "rules.xml"};
  manager_.emplace(manager, environment(), root / "manager.txt");
  // It says that it is there before it listens, and a window that is shown in between is never
  // seen. So it is asked for something; it has four desktops of its own accord.
  require(wait_until("the window manager listens", kStartLimit, [&](std::string& seen) {
    run({"xdotool", "set_num_desktops", "1"});
    seen = run({"xdotool", "get_num_desktops"});
    return seen.starts_with("1");
  }));
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
  return {{"HOME", root},
          {"XDG_CONFIG_HOME", root},
          {"XDG_CACHE_HOME", root},
          {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + root + "/no-bus"}};
}

Environment Screen::environment() const {
  return {{"DISPLAY", display_}, {"SDL_VIDEODRIVER", ""}, {"SDL_RENDER_DRIVER", "software"}};
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
      pixels, CAIRO_FORMAT_RGB24, kSize.w, kSize.h, static_cast<int>(picture.row_bytes));
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

Window::Window(const Screen& screen) : screen_(screen) {
  require(wait_until("there is a window", kStartLimit, [&] {
    // Throws while there is none.
    id_ =
        screen.run({"xdotool", "search", "--onlyvisible", "--limit", "1", "--class", "^velmora$"});
    id_.erase(id_.find('\n'));
    return true;
  }));
}

int Window::info(const std::string& label) const {
  const std::string all = screen_.run({"xwininfo", "-id", id_});
  const auto at = all.find(label + ":");
  if (at == std::string::npos) throw std::runtime_error("xwininfo: no " + label);
  return std::stoi(all.substr(at + label.size() + 1));
}

Spot Window::position() const {
  return {info("Absolute upper-left X"), info("Absolute upper-left Y")};
}

Extent Window::size() const {
  return {info("Width"), info("Height")};
}

std::string Window::title() const {
  const std::string line = screen_.run({"xdotool", "getwindowname", id_});
  return line.substr(0, line.find('\n'));
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

void Window::hand(std::vector<std::string> words) const {
  words.insert(words.begin(), "xdotool");
  screen_.run(words);
}

void Window::point(Spot spot, const std::vector<std::string>& rest) const {
  std::vector<std::string> words{"mousemove", "--window", id_, to_string(spot.x),
                                 to_string(spot.y)};
  words.insert(words.end(), rest.begin(), rest.end());
  hand(words);
}

void Window::double_click(Spot spot) const {
  // At a person's speed: a window manager that moves a window while the button is down needs time
  // to see it go down and up.
  point(spot, {"mousedown", "1", "sleep", "0.08", "mouseup", "1", "sleep", "0.1", "mousedown", "1",
               "sleep", "0.08", "mouseup", "1"});
}

void Window::drag(Spot from, Spot to) const {
  constexpr int kSteps = 8;
  std::vector<std::string> words{"mousedown", "1"};
  for (int i = 1; i <= kSteps; ++i) {
    const Spot now{from.x + (to.x - from.x) * i / kSteps, from.y + (to.y - from.y) * i / kSteps};
    words.insert(words.end(), {"mousemove", "--window", id_, to_string(now.x), to_string(now.y)});
  }
  words.insert(words.end(), {"mouseup", "1"});
  point(from, words);
}

void Window::wheel(Spot spot, int steps) const {
  point(spot,
        {"click", "--repeat", to_string(std::abs(steps)), "--delay", "20", steps > 0 ? "4" : "5"});
}

}  // namespace support
