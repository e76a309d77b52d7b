// Owners of GLib's objects.
#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

namespace faultline::detail {

struct Free {
  void operator()(gpointer p) const { g_free(p); }
  void operator()(GError* e) const { g_error_free(e); }
  void operator()(GVariant* v) const { g_variant_unref(v); }
  void operator()(GMainContext* c) const { g_main_context_unref(c); }
  void operator()(GMainLoop* l) const { g_main_loop_unref(l); }
};
struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
using Chars = std::unique_ptr<char, Free>;
using Error = std::unique_ptr<GError, Free>;
using Variant = std::unique_ptr<GVariant, Free>;
template <typename T>
using Object = std::unique_ptr<T, Unref>;

inline std::string text_of(const GError* error) {
  return error != nullptr ? error->message : "?";
}

inline const char* level_for(bool success) {
  return success ? "INFO" : "WARN";
}

}  // namespace faultline::detail
