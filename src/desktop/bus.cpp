// DESIGN: our identity on the bus and the platform data of a call, in one place for both ends of a
// call.
#include "bus.h"

#include <algorithm>
#include <cstdlib>

namespace desktop {

namespace {

constexpr const char* kId = "org.velmora.Velmora";
constexpr const char* kStartupKey = "desktop-startup-id";
constexpr const char* kTokenKey = "activation-token";

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string text_in(GVariant* data, const char* key) {
  const char* text = nullptr;
  return g_variant_lookup(data, key, "&s", &text) != FALSE ? text : "";
}

}  // namespace

std::string application_id() {
  const std::string sandboxed = variable("FLATPAK_ID");
  return g_dbus_is_name(sandboxed.c_str()) != FALSE ? sandboxed : kId;
}

std::string application_path(const std::string& id) {
  std::string path = "/" + id;
  std::replace(path.begin(), path.end(), '.', '/');
  std::replace(path.begin(), path.end(), '-', '_');
  return path;
}

GVariant* to_platform_data(const Activation& activation, const std::string& directory) {
  GVariantBuilder data;
  g_variant_builder_init(&data, G_VARIANT_TYPE_VARDICT);
  const auto add = [&](const char* key, const std::string& text) {
    if (!text.empty() && g_utf8_validate(text.c_str(), -1, nullptr) != FALSE)
      g_variant_builder_add(&data, "{sv}", key, g_variant_new_string(text.c_str()));
  };
  add(kStartupKey, activation.startup_id);
  add(kTokenKey, activation.token);
  g_variant_builder_add(&data, "{sv}", kDirectoryKey, g_variant_new_bytestring(directory.c_str()));
  return g_variant_builder_end(&data);
}

Activation activation_in(GVariant* platform_data) {
  return {text_in(platform_data, kStartupKey), text_in(platform_data, kTokenKey)};
}

std::string directory_in(GVariant* platform_data) {
  const char* directory = nullptr;
  return g_variant_lookup(platform_data, kDirectoryKey, "^&ay", &directory) != FALSE ? directory
                                                                                     : "";
}

}  // namespace desktop
