// What the fuzz targets have in common.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

// A property that must hold for every input. Unlike assert it is never compiled away.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

}  // namespace fuzz
