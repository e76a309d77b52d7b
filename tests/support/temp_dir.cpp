// DESIGN: names are short because they end up in socket addresses, which may hold 107 characters.
#include "temp_dir.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace support {

TempDir::TempDir() {
  std::string name = (std::filesystem::temp_directory_path() / "velq-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "cannot create " + name);
  }
  path_ = name;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace support
