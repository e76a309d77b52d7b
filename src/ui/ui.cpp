#include "ui.h"

namespace ui {

namespace {
bool g_settings_open = false;  // main thread
std::string g_crash_text;      // main thread
}  // namespace

void open_settings_at_start() {
  g_settings_open = true;
}

void set_crash_report(const std::string& text) {
  g_crash_text = text;
}

}  // namespace ui
