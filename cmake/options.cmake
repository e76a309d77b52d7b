# Warnings, hardening and sanitizers, linked privately by all our targets.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

add_library(velmora_options INTERFACE)
target_compile_options(velmora_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${VELMORA_WERROR}>:-Werror>
  # The equalizer promises the same bits on every machine: a fused multiply-add rounds once where the
  # arithmetic as written rounds twice.
  -ffp-contract=off
  # Readable backtraces, also in release builds.
  -fno-omit-frame-pointer)

if(VELMORA_SANITIZE)
  set(flags -fsanitize=${VELMORA_SANITIZE} -fno-sanitize-recover=all)
  # What the sanitizers add to the standard library's headers looks uninitialized to GCC.
  target_compile_options(velmora_options INTERFACE ${flags} $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(velmora_options INTERFACE ${flags})
  # What libraries are known for, for every executable that draws or mails; empty without sanitizers.
  set(VELMORA_SUPPRESSIONS ${PROJECT_SOURCE_DIR}/cmake/sanitizer_suppressions.cpp)
else()
  target_compile_options(velmora_options INTERFACE
    -fstack-protector-strong
    -fstack-clash-protection
    -fcf-protection
    # Indices out of a container's bounds end the program instead of reading on.
    -D_GLIBCXX_ASSERTIONS
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
    $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  target_link_options(velmora_options INTERFACE -Wl,-z,relro,-z,now)
endif()

if(VELMORA_FUZZ)
  # Every object carries coverage so that the fuzzer sees into the libraries.
  target_compile_options(velmora_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# velmora_library(NAME dsp SOURCES ... PUBLIC ... PRIVATE ...): one static library per folder. A folder's public headers
# are those in include/<folder>; only targets that link the library find them, as "<folder>/name.h". Private headers lie
# beside the sources, where nobody else finds them. The test "walls" checks that.
function(velmora_library)
  cmake_parse_arguments(ARG "" "NAME" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(velmora_${ARG_NAME} STATIC ${ARG_SOURCES})
  target_include_directories(velmora_${ARG_NAME} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/include)
  target_link_libraries(velmora_${ARG_NAME} PUBLIC ${ARG_PUBLIC} PRIVATE velmora_options ${ARG_PRIVATE})
endfunction()
