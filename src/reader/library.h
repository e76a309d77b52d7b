// The accessibility libraries, found when the program runs: what draws no window for a reader does
// without them.
#pragma once

#include <atk/atk.h>

namespace reader {

struct Library {
  decltype(&::atk_object_get_type) object_type;
  decltype(&::atk_component_get_type) component_type;
  decltype(&::atk_action_get_type) action_type;
  decltype(&::atk_value_get_type) value_type;
  decltype(&::atk_text_get_type) text_type;
  decltype(&::atk_window_get_type) window_type;
  decltype(&::atk_util_get_type) util_type;
  decltype(&::atk_object_set_name) set_name;
  decltype(&::atk_object_set_role) set_role;
  decltype(&::atk_object_notify_state_change) notify_state;
  decltype(&::atk_state_set_add_state) add_state;
  decltype(&::atk_range_new) new_range;
  // Connects to the accessibility bus; waits for it. Returns 0 where it could.
  int (*connect)(int* argc, char*** argv);
  // In which context calls arrive from then on.
  void (*set_context)(GMainContext* context);
};

// Loads the libraries for good. Returns false where they are not installed, or lack something.
bool load();

// Those that were loaded.
const Library& library();

}  // namespace reader
