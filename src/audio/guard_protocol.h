// The guard's side of the pipe: turns lines into the state that would have to be undone. Pure;
// knows no process and no server.
//
// clang-format off
//   "A " + device   armed: our sink is, or is about to be, in place; `device` is the default to
//                   restore
//   "M " + index    the module that owns our sink, decimal
//   "T 1", "T 0"    whether the program took over the default device; taken for "T 1" until sent
//   "D"             disarmed: nothing to undo
//   "Q"             the program is ending normally
// clang-format on
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "routing_rules.h"

namespace guard {

// The sum of the messages so far.
struct Orders {
  bool armed = false;
  bool quit = false;
  bool takeover = true;
  std::string device;                      // to be made the default again
  std::uint32_t module = audio::kNoIndex;  // owner of our sink, kNoIndex until known
};

class LineReader {
 public:
  // Takes the next bytes of the pipe, in any pieces. A line longer than 64 KiB is ignored whole.
  void feed(const char* data, std::size_t size);
  const Orders& orders() const { return orders_; }

 private:
  void parse_line();

  std::string line_;
  bool overlong_ = false;
  Orders orders_;
};

}  // namespace guard
