// Environment variables. An empty variable counts as unset. Threads: any, as long as none changes
// the environment.
#pragma once

#include <cstdlib>
#include <string>

namespace environment {

// The value; empty when the variable is unset.
inline std::string get(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

inline bool is_set(const char* name) {
  return !get(name).empty();
}

}  // namespace environment
