// The accessibility libraries, loaded at run time: without a reader the program does without them.
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
  // Connects to the accessibility bus; blocks. Returns 0 on success.
  int (*connect)(int* argc, char*** argv);
  // Sets the context in which calls arrive from then on.
  void (*set_context)(GMainContext* context);
};

// Loads the libraries for good. Returns false if they are missing or too old.
bool load();

// The loaded functions.
const Library& library();

}  // namespace reader
