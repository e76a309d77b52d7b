// DESIGN: loaded once and never unloaded, because the library's types live as long as the process.
#include "library.h"

#include <dlfcn.h>

namespace reader {

namespace {

constexpr const char* kObjects = "libatk-1.0.so.0";
constexpr const char* kBridge = "libatk-bridge-2.0.so.0";

Library g_library{};

template <typename Function>
bool find(void* handle, const char* name, Function** function) {
  *function = reinterpret_cast<Function*>(dlsym(handle, name));
  return *function != nullptr;
}

bool find_all(void* objects, void* bridge, Library* l) {
  return find(objects, "atk_object_get_type", &l->object_type) &&
         find(objects, "atk_component_get_type", &l->component_type) &&
         find(objects, "atk_action_get_type", &l->action_type) &&
         find(objects, "atk_value_get_type", &l->value_type) &&
         find(objects, "atk_text_get_type", &l->text_type) &&
         find(objects, "atk_window_get_type", &l->window_type) &&
         find(objects, "atk_util_get_type", &l->util_type) &&
         find(objects, "atk_object_set_name", &l->set_name) &&
         find(objects, "atk_object_set_role", &l->set_role) &&
         find(objects, "atk_object_notify_state_change", &l->notify_state) &&
         find(objects, "atk_state_set_add_state", &l->add_state) &&
         find(objects, "atk_range_new", &l->new_range) &&
         find(bridge, "atk_bridge_adaptor_init", &l->connect) &&
         find(bridge, "atk_bridge_set_event_context", &l->set_context);
}

}  // namespace

bool load() {
  void* objects = dlopen(kObjects, RTLD_NOW | RTLD_LOCAL);
  void* bridge = dlopen(kBridge, RTLD_NOW | RTLD_LOCAL);
  return objects != nullptr && bridge != nullptr && find_all(objects, bridge, &g_library);
}

const Library& library() {
  return g_library;
}

}  // namespace reader
