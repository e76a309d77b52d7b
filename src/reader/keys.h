// The keys of the window, for the reader that listens to them. Thread: the reader's only, but for
// hears_keys of reader.h.
#pragma once

#include "reader/reader.h"

namespace reader {

struct Offer {
  unsigned number = 0;
  Key key;
};

// From here on the library tells us who wants to hear of keys. After make_root.
void take_listeners();

// Asks the reader whether a key is meant for it. Waits for the answer, some seconds at most, during
// which the thread's loop runs; false where nobody listens any more.
bool ask_about(const Key& key);

}  // namespace reader
