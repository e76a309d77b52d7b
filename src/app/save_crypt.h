// Sealing: what goes to the settings file is encrypted and authenticated, so that a file edited by
// hand or damaged on disk is recognised instead of being half understood.
//
// The key is derived from constants of this program and is the same on every machine. The seal
// protects against accidents and tinkering; it keeps no secret from somebody who reads this source.
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

// Seals any bytes. Throws what std::random_device throws when there is no source of random numbers.
std::string encrypt(const std::string& plain);

// Opens a sealed text.
//   plain   receives the text; emptied on any other result than 0; may be null
// Returns 0 when opened, 1 when `sealed` is empty, 2 when it is no sealed text of ours or was
// altered.
int decrypt(const std::string& sealed, std::string* plain);

// A cheap look at length and magic; says nothing about whether the text can be opened.
bool looks_sealed(const std::string& text);

// The name of the linked library that does the work.
const char* library();

}  // namespace crypt
