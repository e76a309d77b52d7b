// The interface's state and input. Main thread only.
#pragma once

#include <string>

namespace ui {

// The settings panel is to be open when the window first shows. Called before the window exists.
void open_settings_at_start();

// Hands over the text of a crash report found at start, to be offered to the person.
void set_crash_report(const std::string& text);

}  // namespace ui
