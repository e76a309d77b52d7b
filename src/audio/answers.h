// Collecting the server's answers. An incomplete list is discarded.
#pragma once

#include "audio_private.h"

namespace audio {

template <typename T>
struct Answer {
  T value;
  bool complete = false;
};

// For every list callback: `eol` is positive at the end of the list, negative on an error. Returns
// whether there is no element.
template <typename T>
bool list_ended(Answer<T>* answer, int eol) {
  if (eol == 0) return false;
  answer->complete = eol > 0;
  signal_loop();
  return true;
}

// Waits for the answer and returns whether it is complete.
template <typename T>
bool received(const LoopLock& lock, pa_operation* op, const Answer<T>& answer) {
  return wait_op(lock, op) && answer.complete;
}

}  // namespace audio
