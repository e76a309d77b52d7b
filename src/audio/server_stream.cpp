#include "server_stream.h"

#include <utility>

#include "app/logger.h"

namespace audio {

namespace {

constexpr std::uint32_t kServerDefault = 0xFFFFFFFFU;

bool has_device(pa_stream* s, const std::string& name) {
  const char* device = pa_stream_get_device_name(s);
  return device != nullptr && name == device;
}

// A server that moves a stream although it must not: the next pass opens it where it belongs.
void on_moved(pa_stream* /*s*/, void* /*user*/) {
  mark_dirty();
}

// Of a stream that was closed while the server had not answered yet.
void on_abandoned(pa_stream* s, void* /*user*/) {
  if (pa_stream_get_state(s) == PA_STREAM_READY) {
    pa_stream_disconnect(s);
  } else if (!PA_STREAM_IS_GOOD(pa_stream_get_state(s))) {
    pa_stream_unref(s);
  }
}

std::string fault(const LoopLock& lock, pa_stream* s) {
  if (s == nullptr || pa_stream_get_state(s) != PA_STREAM_READY) return error_text(lock);
  const char* name = pa_stream_get_device_name(s);
  return std::string("the server offers ") + (name == nullptr ? "no device" : name);
}

}  // namespace

pa_stream* ServerStream::create(const LoopLock& lock, const char* name, const char* media_name,
                                std::string device, const std::string& cycle) {
  close();
  device_ = std::move(device);
  const Proplist props(media_name);
  // A session manager must not connect the stream to anything else when the device vanishes while
  // it is being opened.
  pa_proplist_sets(props.list, "node.dont-fallback", "true");
  if (!cycle.empty()) pa_proplist_sets(props.list, "node.max-latency", cycle.c_str());
  stream_ = pa_stream_new_with_proplist(context(lock), name, &kFormat, nullptr, props.list);
  if (stream_ == nullptr) return nullptr;
  pa_stream_set_state_callback(stream_, on_stream_state, nullptr);
  pa_stream_set_moved_callback(stream_, on_moved, nullptr);
  return stream_;
}

bool ServerStream::finish_opening(const LoopLock& lock, bool requested, const char* what) {
  if (requested && wait_stream_ready(lock, stream_) && has_device(stream_, device_)) {
    index_ = pa_stream_get_device_index(stream_);
    fault_logged_ = false;
    return true;
  }
  if (!server_silent(lock) && !std::exchange(fault_logged_, true))
    logger::warn(std::string("Cannot ") + what + " " + device_ + ": " + fault(lock, stream_));
  close();
  return false;
}

void ServerStream::close() {
  device_.clear();
  index_ = kNoIndex;
  if (stream_ == nullptr) return;
  pa_stream_set_state_callback(stream_, nullptr, nullptr);
  pa_stream_set_moved_callback(stream_, nullptr, nullptr);
  pa_stream_set_read_callback(stream_, nullptr, nullptr);
  pa_stream_set_underflow_callback(stream_, nullptr, nullptr);
  pa_stream_set_latency_update_callback(stream_, nullptr, nullptr);
  pa_stream* closed = std::exchange(stream_, nullptr);
  if (pa_stream_get_state(closed) == PA_STREAM_CREATING) {
    // It cannot be disconnected yet. Without the library's object, the server would keep it for
    // good.
    pa_stream_set_state_callback(closed, on_abandoned, nullptr);
    return;
  }
  pa_stream_disconnect(closed);
  pa_stream_unref(closed);
}

bool ServerStream::good() const {
  return stream_ != nullptr && PA_STREAM_IS_GOOD(pa_stream_get_state(stream_));
}

bool ServerStream::in_place() const {
  return stream_ != nullptr && pa_stream_get_state(stream_) == PA_STREAM_READY &&
         (index_ == kNoIndex || index_ == pa_stream_get_device_index(stream_)) &&
         has_device(stream_, device_);
}

bool ServerStream::is_on(const std::string& device, std::uint32_t index) const {
  return in_place() && pa_stream_get_device_index(stream_) == index && device == device_;
}

void dismiss(pa_operation* op) {
  if (op != nullptr) pa_operation_unref(op);
}

pa_buffer_attr default_buffers() {
  return {kServerDefault, kServerDefault, kServerDefault, kServerDefault, kServerDefault};
}

}  // namespace audio
