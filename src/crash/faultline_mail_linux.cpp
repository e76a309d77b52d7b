// DESIGN: three ways to a mail with attachments, tried in the order of how much of it arrives: the
// mail program that is known to take everything from its command line, the desktop's portal, and
// the desktop-independent script. Each says in the log how it went; none asks a shell.
#include <fcntl.h>
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <gio/gunixfdlist.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <string_view>

#include "faultline_private.h"

namespace faultline::detail {

namespace {

constexpr int kPortalPatience = 30;           // s
constexpr unsigned kTimedOut = 99;            // a response that no portal gives
constexpr std::size_t kMaxArgument = 120000;  // the kernel takes 128 KiB in one argument
constexpr const char* kDesktop = "org.freedesktop.portal.Desktop";
constexpr const char* kDesktopPath = "/org/freedesktop/portal/desktop";
constexpr const char* kEmail = "org.freedesktop.portal.Email";

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

std::string text_of(const GError* error) {
  return error != nullptr ? error->message : "?";
}

const char* level_for(bool well) {
  return well ? "INFO" : "WARN";
}

std::string file_name(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::string file_uri(const std::string& path) {
  const Chars absolute(g_canonicalize_filename(path.c_str(), nullptr));
  const Chars uri(g_filename_to_uri(absolute.get(), nullptr, nullptr));
  return uri != nullptr ? uri.get() : "";
}

// The mail program on the command line
// ----------------------------------------------------------------------------

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

// One argument of its own syntax: 'values' may hold neither quotes nor, in a list, commas.
std::string compose_argument(const std::string& to, const std::string& subject,
                             const std::string& body_file, const std::vector<std::string>& files) {
  std::string argument = "to='" + to + "',subject='" + subject + "',message='" + body_file + "'";
  std::string list;
  for (const std::string& file : files) {
    if (!list.empty()) list += ",";
    for (const char c : file_uri(file))
      list += c == '\'' ? "%27" : c == ',' ? "%2C" : std::string(1, c);
  }
  if (!files.empty()) argument += ",attachment='" + list + "'";
  return argument;
}

std::vector<char*> argv_of(std::vector<std::string>* arguments) {
  std::vector<char*> argv;
  for (std::string& argument : *arguments)
    argv.push_back(argument.data());
  argv.push_back(nullptr);
  return argv;
}

bool start(std::vector<std::string> arguments, std::string* outcome) {
  GError* error = nullptr;
  const bool started =
      g_spawn_async(nullptr, argv_of(&arguments).data(), nullptr, G_SPAWN_SEARCH_PATH, nullptr,
                    nullptr, nullptr, &error) != FALSE;
  const Error owned(error);
  *outcome = started ? "started" : "failed (" + text_of(error) + ")";
  return started;
}

bool via_thunderbird(const std::string& to, const std::string& subject, const std::string& body,
                     const std::vector<std::string>& files) {
  const Object<GAppInfo> handler(g_app_info_get_default_for_uri_scheme("mailto"));
  if (handler == nullptr) return false;
  const char* const command_line = g_app_info_get_commandline(handler.get());
  if (!mentions(g_app_info_get_id(handler.get()), "thunderbird") &&
      !mentions(command_line, "thunderbird"))
    return false;
  std::vector<std::string> arguments =
      handler_arguments(command_line != nullptr ? command_line : "");
  if (arguments.empty()) return false;

  // A snap's entry may set variables first, so its program need not be the first argument.
  const bool sandboxed =
      mentions(command_line, "flatpak") ||
      std::any_of(arguments.begin(), arguments.end(),
                  [](const std::string& argument) { return argument.starts_with("/snap/"); });
  const std::string folder = sandboxed ? make_copy_folder() : g_get_tmp_dir();
  const std::string body_file = folder + "/mail-body.txt";
  const bool ready =
      !folder.empty() && body_file.find('\'') == std::string::npos && file_write(body_file, body);
  std::string outcome = "no place for its files";
  bool started = false;
  if (ready) {
    arguments.emplace_back("-compose");
    arguments.push_back(
        compose_argument(to, subject, body_file, sandboxed ? copied_to(folder, files) : files));
    started = start(std::move(arguments), &outcome);
  }
  std::string message = "Thunderbird -compose: " + outcome;
  if (ready && sandboxed) message += " (files copied to " + folder + ")";
  log(level_for(started), message);
  return started;
}

// The portal
// ------------------------------------------------------------------------------------------------------

// One request to the portal, on a main context of this thread's own.
struct Request {
  GMainLoop* loop = nullptr;
  unsigned response = kTimedOut;
  std::string error;  // of the call itself
};

void on_response(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                 const char* /*interface*/, const char* /*signal*/, GVariant* parameters,
                 gpointer user) {
  auto* const request = static_cast<Request*>(user);
  g_variant_get_child(parameters, 0, "u", &request->response);
  g_main_loop_quit(request->loop);
}

void on_called(GObject* bus, GAsyncResult* result, gpointer user) {
  GError* error = nullptr;
  const Variant answer(g_dbus_connection_call_with_unix_fd_list_finish(G_DBUS_CONNECTION(bus),
                                                                       nullptr, result, &error));
  const Error owned(error);
  // Cancelled: the request is over, and `user` with it.
  if (error == nullptr || g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE) return;
  auto* const request = static_cast<Request*>(user);
  request->error = text_of(error);
  g_main_loop_quit(request->loop);
}

gboolean on_time_out(gpointer user) {
  g_main_loop_quit(static_cast<Request*>(user)->loop);
  return G_SOURCE_REMOVE;
}

Object<GDBusConnection> session_bus(std::string* problem) {
  GError* error = nullptr;
  const Chars address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &error));
  // A connection of our own, because the shared one ends the process when the bus goes away.
  Object<GDBusConnection> bus(
      address == nullptr
          ? nullptr
          : g_dbus_connection_new_for_address_sync(
                address.get(),
                static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                nullptr, nullptr, &error));
  const Error owned(error);
  if (bus == nullptr) *problem = text_of(error);
  return bus;
}

// 0 with `problem` when it cannot be read.
unsigned portal_version(GDBusConnection* bus, std::string* problem) {
  GError* error = nullptr;
  const Variant answer(g_dbus_connection_call_sync(
      bus, kDesktop, kDesktopPath, "org.freedesktop.DBus.Properties", "Get",
      g_variant_new("(ss)", kEmail, "version"), G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE,
      kPortalPatience * 1000, nullptr, &error));
  const Error owned(error);
  if (answer == nullptr) {
    *problem = text_of(error);
    return 0;
  }
  GVariant* value = nullptr;
  g_variant_get(answer.get(), "(v)", &value);
  const Variant version(value);
  return g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32) != FALSE ? g_variant_get_uint32(value)
                                                                     : 0;
}

// Puts descriptors of the files into `fds` and their numbers into an array of the request.
GVariant* attach(const std::vector<std::string>& files, GUnixFDList* fds) {
  GVariantBuilder handles;
  g_variant_builder_init(&handles, G_VARIANT_TYPE("ah"));
  for (const std::string& file : files) {
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) continue;
    const int handle = g_unix_fd_list_append(fds, fd, nullptr);
    close(fd);
    if (handle >= 0) g_variant_builder_add(&handles, "h", handle);
  }
  return g_variant_builder_end(&handles);
}

GVariant* compose_options(unsigned version, const std::string& token, const std::string& to,
                          const std::string& subject, const std::string& body,
                          const std::vector<std::string>& files, GUnixFDList* fds) {
  GVariantBuilder options;
  g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
  const auto add = [&options](const char* key, GVariant* value) {
    g_variant_builder_add(&options, "{sv}", key, value);
  };
  add("handle_token", g_variant_new_string(token.c_str()));
  if (version >= 3) {
    const char* const addresses[] = {to.c_str()};
    add("addresses", g_variant_new_strv(addresses, 1));
  } else {
    add("address", g_variant_new_string(to.c_str()));
  }
  add("subject", g_variant_new_string(subject.c_str()));
  add("body", g_variant_new_string(body.c_str()));
  add("attachment_fds", attach(files, fds));
  return g_variant_new("(s@a{sv})", "", g_variant_builder_end(&options));
}

std::string request_path(GDBusConnection* bus, const std::string& token) {
  std::string sender = g_dbus_connection_get_unique_name(bus);
  sender.erase(0, 1);
  std::replace(sender.begin(), sender.end(), '.', '_');
  return "/org/freedesktop/portal/desktop/request/" + sender + "/" + token;
}

// Calls ComposeEmail with `options` (consumed) and waits for what becomes of it.
void ask_portal(GDBusConnection* bus, const std::string& path, GVariant* options, GUnixFDList* fds,
                GMainContext* context, Request* request) {
  const std::unique_ptr<GMainLoop, Free> loop(g_main_loop_new(context, FALSE));
  request->loop = loop.get();
  const unsigned subscription = g_dbus_connection_signal_subscribe(
      bus, kDesktop, "org.freedesktop.portal.Request", "Response", path.c_str(), nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, on_response, request, nullptr);
  const Object<GCancellable> cancellable(g_cancellable_new());
  g_dbus_connection_call_with_unix_fd_list(bus, kDesktop, kDesktopPath, kEmail, "ComposeEmail",
                                           options, nullptr, G_DBUS_CALL_FLAGS_NONE, G_MAXINT, fds,
                                           cancellable.get(), on_called, request);
  GSource* const timer = g_timeout_source_new_seconds(kPortalPatience);
  g_source_set_callback(timer, on_time_out, request, nullptr);
  g_source_attach(timer, context);
  g_main_loop_run(loop.get());
  g_source_destroy(timer);
  g_source_unref(timer);
  g_dbus_connection_signal_unsubscribe(bus, subscription);
  g_cancellable_cancel(cancellable.get());
  // What is still to be called back is called back now, while everything that it needs exists.
  while (g_main_context_iteration(context, FALSE) != FALSE) {
  }
}

bool via_portal_on(GMainContext* context, const std::string& to, const std::string& subject,
                   const std::string& body, const std::vector<std::string>& files) {
  std::string problem;
  const Object<GDBusConnection> bus = session_bus(&problem);
  if (bus == nullptr) {
    log("WARN", "Mail portal: no session bus (" + problem + ")");
    return false;
  }
  const unsigned version = portal_version(bus.get(), &problem);
  if (!problem.empty()) {
    log("WARN", "Mail portal: " + problem);
    return false;
  }
  const std::string token = "faultline" + std::to_string(getpid());
  const Object<GUnixFDList> fds(g_unix_fd_list_new());
  Request request;
  ask_portal(bus.get(), request_path(bus.get(), token),
             compose_options(version, token, to, subject, body, files, fds.get()), fds.get(),
             context, &request);
  g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
  const bool composed = request.error.empty() && request.response == 0;
  if (!request.error.empty()) {
    log("WARN", "Mail portal: " + request.error);
  } else {
    log(level_for(composed),
        "Mail portal v" + std::to_string(version) + ": response " +
            (request.response == kTimedOut ? "none (30 s)" : std::to_string(request.response)));
  }
  return composed;
}

bool via_portal(const std::string& to, const std::string& subject, const std::string& body,
                const std::vector<std::string>& files) {
  const std::unique_ptr<GMainContext, Free> context(g_main_context_new());
  g_main_context_push_thread_default(context.get());
  const bool composed = via_portal_on(context.get(), to, subject, body, files);
  g_main_context_pop_thread_default(context.get());
  return composed;
}

// The script
// ------------------------------------------------------------------------------------------------------

// The exit code, 127 when it cannot be started; 128 + number for an end by a signal, as shells say.
int run(std::vector<std::string> arguments) {
  posix_spawnattr_t attributes{};
  posix_spawnattr_init(&attributes);
  // Ignored in this program, and that would be inherited.
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t child = 0;
  const int failed = posix_spawnp(&child, arguments.front().c_str(), nullptr, &attributes,
                                  argv_of(&arguments).data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (failed != 0) return 127;
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return 127;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool via_xdg_email(const std::string& to, const std::string& subject, const std::string& body,
                   const std::vector<std::string>& files) {
  std::vector<std::string> arguments = {"xdg-email", "--utf8", "--subject",
                                        subject,     "--body", mail_body(body, kMaxArgument)};
  for (const std::string& file : files) {
    arguments.emplace_back("--attach");
    arguments.push_back(file);
  }
  arguments.push_back(to);
  const int code = run(std::move(arguments));
  log(level_for(code == 0), "xdg-email: exit " + std::to_string(code));
  return code == 0;
}

}  // namespace

std::string folder_uri(const std::string& dir) {
  return file_uri(dir);
}

bool compose_with_attachments(const std::string& to, const std::string& subject,
                              const std::string& body, const std::vector<std::string>& files) {
  // Neither a bus nor a command line carries anything else; the attachments do.
  const Chars valid(g_utf8_make_valid(body.data(), static_cast<gssize>(body.size())));
  const std::string text = valid.get();
  return via_thunderbird(to, subject, text, files) || via_portal(to, subject, text, files) ||
         via_xdg_email(to, subject, text, files);
}

}  // namespace faultline::detail
