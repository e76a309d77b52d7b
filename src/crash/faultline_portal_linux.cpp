// DESIGN: one conversation with the portal, on a main context of the worker's own, within one time
// limit. If the bus, the portal or the user does not answer in time, the next way to a mail is
// tried.
#include <fcntl.h>
#include <gio/gio.h>
#include <gio/gunixfdlist.h>
#include <unistd.h>

#include <algorithm>

#include "faultline_owned.h"
#include "faultline_private.h"

namespace faultline::detail {

namespace {

constexpr unsigned kTimedOut = 99;  // a response that no portal gives
constexpr const char* kDesktop = "org.freedesktop.portal.Desktop";
constexpr const char* kDesktopPath = "/org/freedesktop/portal/desktop";
constexpr const char* kEmail = "org.freedesktop.portal.Email";

unsigned g_limit_ms = 30000;  // for everything; tests set it before they send

// The state of the conversation. All callbacks run on the worker's thread, from `loop`.
struct Request {
  GMainLoop* loop = nullptr;
  bool timed_out = false;
  Object<GDBusConnection> bus;
  Variant version;
  unsigned response = kTimedOut;
  std::string error;  // of the call that failed
};

void keep(Request* request, GError* error) {
  if (error != nullptr) request->error = text_of(error);
  g_main_loop_quit(request->loop);
}

// Cancelled: the conversation is over, and `user` is no longer valid.
bool cancelled(const GError* error) {
  return error != nullptr && g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE;
}

void on_connected(GObject* /*source*/, GAsyncResult* result, gpointer user) {
  GError* error = nullptr;
  Object<GDBusConnection> bus(g_dbus_connection_new_for_address_finish(result, &error));
  const Error owned(error);
  if (cancelled(error)) return;
  auto* const request = static_cast<Request*>(user);
  request->bus = std::move(bus);
  keep(request, error);
}

void on_version(GObject* bus, GAsyncResult* result, gpointer user) {
  GError* error = nullptr;
  Variant answer(g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, &error));
  const Error owned(error);
  if (cancelled(error)) return;
  auto* const request = static_cast<Request*>(user);
  request->version = std::move(answer);
  keep(request, error);
}

void on_called(GObject* bus, GAsyncResult* result, gpointer user) {
  GError* error = nullptr;
  const Variant answer(g_dbus_connection_call_with_unix_fd_list_finish(G_DBUS_CONNECTION(bus),
                                                                       nullptr, result, &error));
  const Error owned(error);
  if (error == nullptr || cancelled(error)) return;
  keep(static_cast<Request*>(user), error);
}

void on_response(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                 const char* /*interface*/, const char* /*signal*/, GVariant* parameters,
                 gpointer user) {
  auto* const request = static_cast<Request*>(user);
  g_variant_get_child(parameters, 0, "u", &request->response);
  keep(request, nullptr);
}

gboolean on_time_out(gpointer user) {
  auto* const request = static_cast<Request*>(user);
  request->timed_out = true;
  g_main_loop_quit(request->loop);
  return G_SOURCE_REMOVE;
}

// Puts descriptors of the files into `fds` and their numbers into an array of the request.
GVariant* attach(const std::vector<std::string>& paths, GUnixFDList* fds) {
  GVariantBuilder handles;
  g_variant_builder_init(&handles, G_VARIANT_TYPE("ah"));
  for (const std::string& file : paths) {
    const int fd = files::open_regular(file.c_str(), O_RDONLY);
    if (fd < 0) continue;
    const int handle = g_unix_fd_list_append(fds, fd, nullptr);
    close(fd);
    if (handle >= 0) g_variant_builder_add(&handles, "h", handle);
  }
  return g_variant_builder_end(&handles);
}

GVariant* compose_options(unsigned version, const std::string& token, const Mail& mail,
                          GUnixFDList* fds) {
  GVariantBuilder options;
  g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
  const auto add = [&options](const char* key, GVariant* value) {
    g_variant_builder_add(&options, "{sv}", key, value);
  };
  add("handle_token", g_variant_new_string(token.c_str()));
  if (version >= 3) {
    const char* const addresses[] = {mail.to.c_str()};
    add("addresses", g_variant_new_strv(addresses, 1));
  } else {
    add("address", g_variant_new_string(mail.to.c_str()));
  }
  add("subject", g_variant_new_string(mail.subject.c_str()));
  add("body", g_variant_new_string(mail.body.c_str()));
  add("attachment_fds", attach(mail.files, fds));
  return g_variant_new("(s@a{sv})", "", g_variant_builder_end(&options));
}

std::string request_path(GDBusConnection* bus, const std::string& token) {
  std::string sender = g_dbus_connection_get_unique_name(bus);
  sender.erase(0, 1);
  std::replace(sender.begin(), sender.end(), '.', '_');
  return "/org/freedesktop/portal/desktop/request/" + sender + "/" + token;
}

// A connection of its own, because the shared one ends the process when the bus goes away.
bool connect(GCancellable* cancellable, Request* request) {
  GError* error = nullptr;
  const Chars address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable, &error));
  const Error owned(error);
  if (address == nullptr) {
    request->error = text_of(error);
  } else {
    g_dbus_connection_new_for_address(
        address.get(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, cancellable, on_connected, request);
    g_main_loop_run(request->loop);
  }
  if (request->bus != nullptr) return true;
  log("WARN",
      "Mail portal: no session bus (" + (request->timed_out ? "no answer" : request->error) + ")");
  return false;
}

// Returns false after logging.
bool ask_version(GCancellable* cancellable, Request* request, unsigned* version) {
  g_dbus_connection_call(request->bus.get(), kDesktop, kDesktopPath,
                         "org.freedesktop.DBus.Properties", "Get",
                         g_variant_new("(ss)", kEmail, "version"), G_VARIANT_TYPE("(v)"),
                         G_DBUS_CALL_FLAGS_NONE, G_MAXINT, cancellable, on_version, request);
  g_main_loop_run(request->loop);
  if (request->version == nullptr) {
    log("WARN", "Mail portal: " + (request->timed_out ? "no answer" : request->error));
    return false;
  }
  GVariant* value = nullptr;
  g_variant_get(request->version.get(), "(v)", &value);
  const Variant owned(value);
  *version =
      g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32) != FALSE ? g_variant_get_uint32(value) : 0;
  return true;
}

// Calls ComposeEmail and waits for the response. Returns whether there is a mail.
bool compose(GCancellable* cancellable, Request* request, unsigned version, const Mail& mail) {
  GDBusConnection* const bus = request->bus.get();
  const std::string token = "faultline" + std::to_string(getpid());
  const unsigned subscription = g_dbus_connection_signal_subscribe(
      bus, kDesktop, "org.freedesktop.portal.Request", "Response", request_path(bus, token).c_str(),
      nullptr, G_DBUS_SIGNAL_FLAGS_NONE, on_response, request, nullptr);
  const Object<GUnixFDList> fds(g_unix_fd_list_new());
  GVariant* const options = compose_options(version, token, mail, fds.get());
  g_dbus_connection_call_with_unix_fd_list(bus, kDesktop, kDesktopPath, kEmail, "ComposeEmail",
                                           options, nullptr, G_DBUS_CALL_FLAGS_NONE, G_MAXINT,
                                           fds.get(), cancellable, on_called, request);
  g_main_loop_run(request->loop);
  g_dbus_connection_signal_unsubscribe(bus, subscription);
  if (!request->error.empty()) {
    log("WARN", "Mail portal: " + request->error);
    return false;
  }
  const bool composed = request->response == 0;
  log(level_for(composed),
      "Mail portal v" + std::to_string(version) + ": response " +
          (request->timed_out ? "none (30 s)" : std::to_string(request->response)));
  return composed;
}

bool converse(GMainContext* context, const Mail& mail) {
  const std::unique_ptr<GMainLoop, Free> loop(g_main_loop_new(context, FALSE));
  const Object<GCancellable> cancellable(g_cancellable_new());
  Request request;
  request.loop = loop.get();
  GSource* const timer = g_timeout_source_new(g_limit_ms);
  g_source_set_callback(timer, on_time_out, &request, nullptr);
  g_source_attach(timer, context);
  unsigned version = 0;
  const bool composed = connect(cancellable.get(), &request) &&
                        ask_version(cancellable.get(), &request, &version) &&
                        compose(cancellable.get(), &request, version, mail);
  g_source_destroy(timer);
  g_source_unref(timer);
  g_cancellable_cancel(cancellable.get());
  // Runs pending callbacks now, while their data still exist.
  while (g_main_context_iteration(context, FALSE) != FALSE) {
  }
  return composed;
}

}  // namespace

void set_portal_limit(unsigned ms) {
  g_limit_ms = ms;
}

bool via_portal(const Mail& mail) {
  const std::unique_ptr<GMainContext, Free> context(g_main_context_new());
  g_main_context_push_thread_default(context.get());
  const bool composed = converse(context.get(), mail);
  g_main_context_pop_thread_default(context.get());
  return composed;
}

}  // namespace faultline::detail
