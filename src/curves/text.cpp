// DESIGN: a byte order mark decides; without one the text is UTF-8 if it is valid as such, as no
// other text is by accident, and otherwise Windows-1252. A control character that does not occur in
// texts means that the file is something else.
#include <glib.h>

#include <algorithm>
#include <memory>

#include "app/utf8.h"
#include "shape.h"

namespace curves {
namespace {

bool convert(std::string_view bytes, const char* from, std::string* text) {
  gsize size = 0;
  const std::unique_ptr<gchar, decltype(&g_free)> converted(
      g_convert(bytes.data(), static_cast<gssize>(bytes.size()), "UTF-8", from, nullptr, &size,
                nullptr),
      &g_free);
  if (!converted) return false;
  text->assign(converted.get(), size);
  return true;
}

bool to_utf8(std::string_view bytes, std::string* text) {
  constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
  if (bytes.starts_with("\xFF\xFE")) return convert(bytes.substr(2), "UTF-16LE", text);
  if (bytes.starts_with("\xFE\xFF")) return convert(bytes.substr(2), "UTF-16BE", text);
  if (bytes.starts_with(kUtf8Mark)) bytes.remove_prefix(kUtf8Mark.size());
  if (!utf8::valid(bytes)) return convert(bytes, "WINDOWS-1252", text);
  text->assign(bytes);
  return true;
}

bool is_foreign_control(char c) {
  const auto code = static_cast<unsigned char>(c);
  return code == 0x7F || (code < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f');
}

}  // namespace

bool decode(std::string_view bytes, std::string* text) {
  return to_utf8(bytes, text) && std::none_of(text->begin(), text->end(), is_foreign_control);
}

}  // namespace curves
