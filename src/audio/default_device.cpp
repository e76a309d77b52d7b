// DESIGN: while a client is connecting, PipeWire may fail to report a new default device to the
// others, which then see the old one until the next change. A connection that is made afterwards
// sees the right one. As every new connection can have this effect on others, a second one is made
// only when something does not fit.

#include "default_device.h"

#include <optional>
#include <utility>

#include "answers.h"
#include "app/logger.h"
#include "requests.h"

namespace audio {

namespace {

struct Outdated {
  std::string shown;  // by our connection
  std::string real;
};

// Control thread. Valid while our connection still shows the value that was found to be wrong.
std::optional<Outdated> g_outdated;

void on_server(pa_context* /*c*/, const pa_server_info* info, void* user) {
  auto* answer = static_cast<Answer<std::string>*>(user);
  if (info != nullptr) {
    answer->value = info->default_sink_name == nullptr ? "" : info->default_sink_name;
    answer->complete = true;
  }
  signal_loop();
}

std::optional<std::string> default_shown(const LoopLock& lock, pa_context* c) {
  Answer<std::string> answer;
  if (!received(lock, pa_context_get_server_info(c, on_server, &answer), answer)) return {};
  return std::move(answer.value);
}

}  // namespace

bool set_default(const LoopLock& lock, const std::string& sink, int ms) {
  bool agreed = false;
  if (!wait_op(lock, pa_context_set_default_sink(context(lock), sink.c_str(), on_success, &agreed),
               ms))
    return false;
  // The value shown will not change.
  if (agreed && g_outdated && g_outdated->shown == sink) g_outdated.reset();
  return agreed;
}

bool poll_default(const LoopLock& lock, const std::string& sink) {
  for (int i = 0; i < kPolls; ++i) {
    if (i > 0) pause_unlocked(lock, kPollMs);
    const auto now = query_default(lock);
    if (!now || *now == sink) return now.has_value();
  }
  return correct_default(lock) && query_default(lock) == sink;
}

bool correct_default(const LoopLock& lock) {
  const SecondConnection second(lock);
  if (second.context == nullptr) return false;
  auto real = default_shown(lock, second.context);
  auto shown = default_shown(lock, context(lock));
  if (!real || !shown) return false;
  const bool known = g_outdated && g_outdated->shown == *shown && g_outdated->real == *real;
  g_outdated.reset();
  if (*real == *shown) return false;
  if (!known) logger::info("The server had not reported its new default device: " + *real);
  g_outdated = {std::move(*shown), std::move(*real)};
  return true;
}

std::optional<std::string> query_default(const LoopLock& lock) {
  auto shown = default_shown(lock, context(lock));
  if (!shown || !g_outdated) return shown;
  if (*shown == g_outdated->shown) return g_outdated->real;
  g_outdated.reset();
  return shown;
}

}  // namespace audio
