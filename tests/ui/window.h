// The interface on a picture in memory, in a home of the test's own: what the fixtures of these
// tests have in common.
#pragma once

#include "../gfx/canvas.h"
#include "fakes.h"
#include "i18n/i18n.h"
#include "test.h"
#include "ui/presets.h"
#include "ui/state.h"
#include "ui/status_view.h"
#include "ui/text.h"
#include "ui/theme.h"
#include "ui/views.h"

class Window : public Test {
 protected:
  Window() {
    fakes::reset();
    fs::create_directories(home_.config());
    gfx::init(nullptr);
    i18n::set_language("en");
    s_.language = "en";
    s_.preset = "b:preset_flat";
    s_.curve = {};
    ui::state().look.crash_note = false;  // what an earlier test handed over stays across init
    start();
  }
  ~Window() override { gfx::shutdown(); }

  // As the program does: from a fresh interface to the first frame on the screen.
  void start() {
    ui::init(&s_, false);
    frame(0);
    paint();
  }

  // Both layers.
  void paint() { paint(static_cast<int>(view().w), static_cast<int>(view().h)); }
  void paint(int w, int h) {
    canvas_.reset();  // before the next one becomes current
    canvas_ = std::make_unique<Canvas>(w, h);
    ui::draw_base(w, h);
    ui::draw_overlay(w, h);
  }

  // A frame some time later.
  static bool frame(std::uint64_t after_ms) {
    fakes::desktop.now += after_ms;
    return ui::on_frame();
  }

  static int code_at(float x, float y) {
    ui::on_mouse_move(x, y);
    return ui::state().look.hover;
  }
  static int code_at(const gfx::Rect& r) { return code_at(r.x + r.w / 2, r.y + r.h / 2); }

  static const ui::Layout& layout() { return ui::state().view; }
  // Where an element of the layer on top is, as painted.
  static gfx::Rect at(int code) { return ui::top_layer().at(code); }
  static const ui::PopupLayout& shown() { return ui::state().list; }
  // The view at its reference size.
  static gfx::Rect view() {
    int w = 0;
    int h = 0;
    ui::reference_size(&w, &h);
    return {0, 0, static_cast<float>(w), static_cast<float>(h)};
  }
  static bool within(const gfx::Rect& outer, const gfx::Rect& r) {
    return r.x >= outer.x && r.y >= outer.y && r.x + r.w <= outer.x + outer.w &&
           r.y + r.h <= outer.y + outer.h;
  }

  Home home_;
  Settings s_;
  std::unique_ptr<Canvas> canvas_;
};
