// The three lists of the window.
#pragma once

namespace ui {

void open_presets();
void open_devices();
void open_languages();

}  // namespace ui
