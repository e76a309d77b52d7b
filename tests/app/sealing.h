// The sealing module under other names: its namespace cannot be used beside <unistd.h>, which the
// test library includes.
#pragma once

#include <string>

namespace sealing {

std::string seal(const std::string& plain);
int open(const std::string& sealed, std::string* plain);

}  // namespace sealing
