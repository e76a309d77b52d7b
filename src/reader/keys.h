// Passes the window's keys to a reader that listens to them. Thread: the reader's only, except
// hears_keys of reader.h.
#pragma once

#include "reader/reader.h"

namespace reader {

struct Offer {
  unsigned number = 0;
  Key key;
};

// From here on the library reports who listens to keys. Call it after make_root.
void accept_listeners();

// Asks the reader whether a key is meant for it. Waits some seconds at most for the answer, with
// the thread's loop running; false if nobody listens any more.
bool ask_about(const Key& key);

}  // namespace reader
