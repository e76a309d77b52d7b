# System libraries, as imported targets whose headers count as system headers.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
# Debian's own, which has Debian's modules, whatever other Python comes first on the PATH.
if(EXISTS /usr/bin/python3 AND NOT DEFINED Python3_EXECUTABLE)
  set(Python3_EXECUTABLE /usr/bin/python3)
endif()
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
pkg_check_modules(PULSE REQUIRED IMPORTED_TARGET libpulse)

# The sealing primitives: the first library is preferred, the second gives the same bytes.
pkg_check_modules(MONOCYPHER IMPORTED_TARGET monocypher>=4)
if(MONOCYPHER_FOUND)
  set(VELMORA_CRYPTO_TARGET PkgConfig::MONOCYPHER)
  set(VELMORA_CRYPTO_MONOCYPHER 1)
else()
  pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)
  set(VELMORA_CRYPTO_TARGET PkgConfig::SODIUM)
  set(VELMORA_CRYPTO_MONOCYPHER 0)
endif()

# The window: SDL shows it, cairo and pango draw it.
pkg_check_modules(SDL2 REQUIRED IMPORTED_TARGET sdl2)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo)
pkg_check_modules(PANGO REQUIRED IMPORTED_TARGET pangocairo)

# For reaching the user's mail program. Pango depends on the library anyway.
pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-unix-2.0)

# Screen readers: the headers alone, because the libraries are loaded only where there is a reader.
pkg_check_modules(ATK REQUIRED atk)

# Equalizer files of other programs: their encodings, and JSON. The latter is headers only.
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
pkg_check_modules(NLOHMANN_JSON REQUIRED IMPORTED_TARGET nlohmann_json>=3.9)
