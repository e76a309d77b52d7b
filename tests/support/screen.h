// A screen of the test's own: a virtual X server with a window manager, and the hand and the eye of
// a person before it. Any number of them exist at the same time; none is the person's.
//
//   Screen screen;
//   VelmoraProcess program(server, {.display = screen.environment()});
//   Window window(screen);
//   window.click({524, 35});
//
// Failure: what does not happen in time throws std::runtime_error. Thread: the main thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "process.h"
#include "temp_dir.h"

namespace support {

struct Spot {
  int x = 0;
  int y = 0;
  bool operator==(const Spot&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Spot& spot);

struct Extent {
  int w = 0;
  int h = 0;
  bool operator==(const Extent&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Extent& extent);

inline const std::vector<std::string> kScreenPrograms = {"Xvfb", "openbox", "xdotool", "xwininfo",
                                                         "xprop"};

class Screen {
 public:
  // Starts the X server, on a display number that is free, and the window manager.
  Screen();
  // Ends both. When the test has failed, leaves a picture of the screen in the directory for
  // temporary files and says where.
  ~Screen();

  // For the children of the test that are to be seen on this screen. They draw without a graphics
  // card, as the same on every machine.
  [[nodiscard]] Environment environment() const;
  [[nodiscard]] Extent size() const { return kSize; }
  // Ends the X server the hard way, as a crash would: every program on it loses its screen.
  void crash() { server_->kill(); }

  // The colour of a pixel, 0xRRGGBB.
  [[nodiscard]] std::uint32_t pixel(Spot spot) const;

  // Runs a program on this screen to its end and returns its output.
  std::string run(const std::vector<std::string>& arguments) const;

 private:
  [[nodiscard]] Environment quiet() const;
  void save_png(const std::filesystem::path& file) const;

  static constexpr Extent kSize{1280, 1024};

  TempDir directory_;
  std::string display_;
  std::optional<Process> server_;
  std::optional<Process> manager_;
};

// A top-level window. Places in it are in pixels from its upper left corner, the frame of the
// window manager not counted.
class Window {
 public:
  // Waits for the program's window to be visible.
  explicit Window(const Screen& screen);

  // As X11 tools want it.
  [[nodiscard]] const std::string& id() const { return id_; }
  [[nodiscard]] Spot position() const;  // on the screen, without the frame
  [[nodiscard]] Extent size() const;
  [[nodiscard]] std::string title() const;
  // Whether the window manager draws a frame around it.
  [[nodiscard]] bool framed() const;
  [[nodiscard]] bool minimised() const;
  [[nodiscard]] std::uint32_t pixel(Spot spot) const;

  // At a person's speed: SDL 3 reports a press of no length twice.
  void click(Spot spot) const { point(spot, {"mousedown", "1", "sleep", "0.06", "mouseup", "1"}); }
  void double_click(Spot spot) const;
  // Presses at the first place, moves in small steps, releases at the second.
  void drag(Spot from, Spot to) const;
  // Turns the wheel away from the person, or towards them with a negative number.
  void wheel(Spot spot, int steps) const;
  // "Escape", "alt+F4"; and text as it is typed.
  void key(const std::string& name) const { hand({"key", "--clearmodifiers", name}); }
  void type(const std::string& text) const { hand({"type", "--delay", "20", text}); }

  // What the person does to the window by its frame.
  void resize(Extent size) const {
    hand({"windowsize", id_, std::to_string(size.w), std::to_string(size.h)});
  }
  void move(Spot to) const {
    hand({"windowmove", id_, std::to_string(to.x), std::to_string(to.y)});
  }
  void minimise() const { hand({"windowminimize", id_}); }

 private:
  // Does what these words of xdotool say; point() moves the mouse there first.
  void hand(std::vector<std::string> words) const;
  void point(Spot spot, const std::vector<std::string>& rest) const;
  // A number that xwininfo tells about the window.
  [[nodiscard]] int info(const std::string& label) const;

  const Screen& screen_;
  std::string id_;
};

}  // namespace support
