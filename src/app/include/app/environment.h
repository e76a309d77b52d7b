// Environment variables. An empty variable counts as one that is not set, everywhere in this
// program. Threads: any, as long as nobody changes the environment meanwhile.
#pragma once

#include <cstdlib>
#include <string>

namespace environment {

// The value, empty when the variable is not set.
inline std::string get(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

inline bool is_set(const char* name) {
  return !get(name).empty();
}

}  // namespace environment
