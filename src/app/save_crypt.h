// Sealing: the settings are encrypted and authenticated, so that a file edited by hand or damaged
// on disk is recognised instead of being read in part.
//
// The key is derived from constants of this program and is the same on every machine. The seal
// protects against damage and tinkering; it keeps nothing secret from a reader of this source.
//
// A sealed text, byte by byte:
//    0   4  magic "TRSL"
//    4   1  format version, 0x01
//    5  24  nonce
//   29  16  authentication tag
//   45   n  cipher text, as long as the plain text
//
// Not to be included together with <unistd.h>, which declares a function `crypt`.
// Threads: any; no state.
#pragma once

#include <string>

namespace crypt {

// Seals any bytes. Throws as std::random_device does when there is no source of random numbers.
std::string encrypt(const std::string& plain);

// Opens a sealed text.
//   plain   receives the text; emptied when the result is not 0; may be null
// Returns 0 when opened, 1 when `sealed` is empty, 2 when it is not a sealed text or was altered.
int decrypt(const std::string& sealed, std::string* plain);

// Checks length and magic only: the text may still not open.
bool looks_sealed(const std::string& text);

// The name of the linked library that does the work.
const char* library();

}  // namespace crypt
