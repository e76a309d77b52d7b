// DESIGN: three ways to open a mail with attachments, the most complete first: the mail program
// that is known to accept everything on its command line, the desktop's portal, and the
// desktop-independent script. Each logs its outcome. No shell is involved, and each has a time
// limit, so that the next one always gets its turn.
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <algorithm>
#include <string_view>

#include "faultline_owned.h"
#include "faultline_private.h"
#include "posix/child.h"

namespace faultline::detail {

namespace {

constexpr std::size_t kMaxArgument = 120000;  // the kernel takes 128 KiB in one argument
// The script may wait for the mail program's window: long enough to write in, not for ever.
constexpr std::chrono::minutes kScriptLimit{10};

std::string file_name(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::string file_uri(const std::string& path) {
  const Chars absolute(g_canonicalize_filename(path.c_str(), nullptr));
  const Chars uri(g_filename_to_uri(absolute.get(), nullptr, nullptr));
  return uri != nullptr ? uri.get() : "";
}

// The mail program's command line -------------------------------------

bool mentions(const char* text, std::string_view word) {
  if (text == nullptr) return false;
  const Chars lower(g_ascii_strdown(text, -1));
  return std::string_view(lower.get()).find(word) != std::string_view::npos;
}

// The handler's command line as arguments, without the places where an address would be put.
std::vector<std::string> handler_arguments(const char* command_line) {
  int count = 0;
  char** arguments = nullptr;
  if (g_shell_parse_argv(command_line, &count, &arguments, nullptr) == FALSE) return {};
  std::vector<std::string> result;
  for (const std::string& argument : std::vector<std::string>(arguments, arguments + count)) {
    const bool field = argument.size() == 2 && argument[0] == '%';
    if (!field && argument != "@@" && argument != "@@u" && argument != "-compose")
      result.push_back(argument);
  }
  g_strfreev(arguments);
  return result;
}

// A folder that a sandboxed mail program can read; empty when it cannot be made.
std::string make_copy_folder() {
  const char* const download = g_get_user_special_dir(G_USER_DIRECTORY_DOWNLOAD);
  const std::string base =
      download != nullptr ? download : std::string(g_get_home_dir()) + "/Downloads";
  const std::string folder = base + "/" + app().name + " crash report";
  return g_mkdir_with_parents(folder.c_str(), 0700) == 0 ? folder : "";
}

std::vector<std::string> copied_to(const std::string& folder,
                                   const std::vector<std::string>& files) {
  std::vector<std::string> copies;
  for (const std::string& file : files) {
    const std::string copy = folder + "/" + file_name(file);
    if (file_copy(file, copy)) copies.push_back(copy);
  }
  return copies;
}

// One argument with a syntax of its own: 'values' may hold neither quotes nor, in a list, commas.
std::string compose_argument(const Mail& mail, const std::string& body_file,
                             const std::vector<std::string>& files) {
  std::string argument =
      "to='" + mail.to + "',subject='" + mail.subject + "',message='" + body_file + "'";
  std::string list;
  for (const std::string& file : files) {
    if (!list.empty()) list += ",";
    for (const char c : file_uri(file))
      list += c == '\'' ? "%27" : c == ',' ? "%2C" : std::string(1, c);
  }
  if (!files.empty()) argument += ",attachment='" + list + "'";
  return argument;
}

bool via_thunderbird(const Mail& mail) {
  const Object<GAppInfo> handler(g_app_info_get_default_for_uri_scheme("mailto"));
  if (handler == nullptr) return false;
  const char* const command_line = g_app_info_get_commandline(handler.get());
  if (!mentions(g_app_info_get_id(handler.get()), "thunderbird") &&
      !mentions(command_line, "thunderbird"))
    return false;
  std::vector<std::string> arguments =
      handler_arguments(command_line != nullptr ? command_line : "");
  if (arguments.empty()) return false;

  // A snap's entry may set variables first, so the program is not always the first argument.
  const bool sandboxed =
      mentions(command_line, "flatpak") ||
      std::any_of(arguments.begin(), arguments.end(),
                  [](const std::string& argument) { return argument.starts_with("/snap/"); });
  const std::string folder = sandboxed ? make_copy_folder() : g_get_tmp_dir();
  const std::string body_file = folder + "/mail-body.txt";
  const bool ready = !folder.empty() && body_file.find('\'') == std::string::npos &&
                     files::write_new(body_file, mail.body);
  std::string outcome = "no place for its files";
  bool started = false;
  if (ready) {
    arguments.emplace_back("-compose");
    arguments.push_back(
        compose_argument(mail, body_file, sandboxed ? copied_to(folder, mail.files) : mail.files));
    started = child::start(arguments);
    outcome = started ? "started" : "failed (" + arguments.front() + ")";
  }
  std::string message = "Thunderbird -compose: " + outcome;
  if (ready && sandboxed) message += " (files copied to " + folder + ")";
  log(level_for(started), message);
  return started;
}

// The script ----------------------------------------------------------

bool via_xdg_email(const Mail& mail) {
  std::vector<std::string> arguments = {"xdg-email",  "--utf8", "--subject",
                                        mail.subject, "--body", mail_body(mail.body, kMaxArgument)};
  for (const std::string& file : mail.files) {
    arguments.emplace_back("--attach");
    arguments.push_back(file);
  }
  arguments.push_back(mail.to);
  const int code = child::run(arguments, kScriptLimit, nullptr);
  log(level_for(code == 0), "xdg-email: exit " + std::to_string(code));
  return code == 0;
}

}  // namespace

std::string folder_uri(const std::string& dir) {
  return file_uri(dir);
}

std::string url_encode(const std::string& text) {
  const Chars encoded(
      g_uri_escape_bytes(reinterpret_cast<const guint8*>(text.data()), text.size(), nullptr));
  return encoded.get();
}

bool compose_with_attachments(const std::string& to, const std::string& subject,
                              const std::string& body, const std::vector<std::string>& files) {
  // Neither a bus nor a command line carries anything but UTF-8; the attachments do.
  const Chars valid(g_utf8_make_valid(body.data(), static_cast<gssize>(body.size())));
  const Mail mail{to, subject, valid.get(), files};
  return via_thunderbird(mail) || via_portal(mail) || via_xdg_email(mail);
}

}  // namespace faultline::detail
