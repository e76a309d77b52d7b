// The interface on a picture in memory, in a home of the test's own: what the fixtures of these
// tests have in common.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "../app/home.h"
#include "../gfx/canvas.h"
#include "fakes.h"
#include "i18n.h"
#include "ui_private.h"

class Window : public testing::Test {
 protected:
  Window() {
    fakes::reset();
    fakes::sound().status.state = audio::kRunning;
    std::filesystem::create_directories(home_.config());
    gfx::init(nullptr);
    i18n::set_language("en");
    s_.preset = "b:preset_flat";
    s_.curve = {};
    ui::state().crash = {};  // what an earlier test handed over stays across init
    start();
  }
  ~Window() override {
    canvas_.reset();
    gfx::shutdown();
  }

  // As the program does: from a fresh interface to the first frame on the screen.
  void start() {
    ui::init(&s_, false);
    frame(0);
    paint();
  }

  // Both layers, at the view's reference size unless told otherwise.
  void paint(int w = 0, int h = 0) {
    if (w == 0) ui::reference_size(&w, &h);
    canvas_.reset();  // before the next one becomes current
    canvas_ = std::make_unique<Canvas>(w, h);
    ui::draw_base(w, h);
    ui::draw_overlay(w, h);
  }

  // A frame some time later.
  static bool frame(std::uint64_t after_ms) {
    fakes::desktop().now += after_ms;
    return ui::on_frame();
  }

  static int code_at(float x, float y) {
    ui::on_mouse_move(x, y);
    return ui::state().hover;
  }
  static int code_at(const gfx::Rect& r) { return code_at(r.x + r.w / 2, r.y + r.h / 2); }

  static void press(float x, float y) {
    ui::on_mouse_move(x, y);
    ui::on_mouse_down(x, y);
    ui::on_mouse_up();
  }
  static void press(const gfx::Rect& r) { press(r.x + r.w / 2, r.y + r.h / 2); }

  // The middle of a row of the open list as painted.
  static gfx::Rect row(int i) {
    const ui::Popup& p = ui::state().popup;
    const auto below_top = static_cast<float>(i - p.first) * ui::kRowHeight;
    return {p.rect.x, p.rect.y + ui::kPopupPadding + below_top, p.rect.w, ui::kRowHeight};
  }
  static int row_with(const std::string& value) {
    const std::vector<ui::PopupRow>& rows = ui::state().popup.rows;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (rows[i].value == value && rows[i].kind != ui::RowKind::Heading)
        return static_cast<int>(i);
    }
    ADD_FAILURE() << "no row " << value;
    return 0;
  }

  static const ui::Layout& layout() { return ui::state().layout; }
  bool saved() const { return std::filesystem::exists(settings::file_path()); }
  void forget_save() const { std::filesystem::remove(settings::file_path()); }
  static std::vector<std::string> calls() { return std::exchange(fakes::desktop().calls, {}); }

  Home home_;
  Settings s_;
  std::unique_ptr<Canvas> canvas_;
};
