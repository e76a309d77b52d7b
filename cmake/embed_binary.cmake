# Turns a file into a C++ source that defines its bytes, without a tool beyond CMake:
#   cmake -D INPUT=icon.png -D OUTPUT=icon_data.cpp -D HEADER=gfx/icon_data.h -D SPACE=icon_data -D NAME=kPng -P embed_binary.cmake
# HEADER declares `const unsigned char NAME[]` and `const std::size_t NAMESize` in the namespace SPACE.
file(READ ${INPUT} hex HEX)
if(hex STREQUAL "")
  message(FATAL_ERROR "${INPUT} is empty")
endif()
string(REGEX REPLACE "(..)" "0x\\1," bytes "${hex}")
# Sixteen bytes a line: a compiler's message about one line stays readable.
string(REPEAT "0x..," 16 line)
string(REGEX REPLACE "(${line})" "\\1\n    " bytes "${bytes}")
file(WRITE ${OUTPUT} "// Made from ${NAME}'s file; changes are lost.
#include \"${HEADER}\"

namespace ${SPACE} {

const unsigned char ${NAME}[] = {
    ${bytes}};
const std::size_t ${NAME}Size = sizeof(${NAME});

}  // namespace ${SPACE}
")
