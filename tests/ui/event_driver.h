// Any input in any order: bytes become what a person, the window and the engine may do to the
// interface, and after every event what must always hold is checked.
//
// Needs the stand-ins of fakes.h. HOME is led to where nothing can be written, so nothing is.
#pragma once

#include <cstddef>
#include <cstdint>

namespace events {

struct Outcome {
  int events = 0;                // carried out
  const char* broken = nullptr;  // what did not hold after the last one; null when all did
};

// Runs a fresh interface through the events that the data stand for, until they are used up, the
// interface ends the program, or something does not hold.
Outcome run(const std::uint8_t* data, std::size_t size);

}  // namespace events
