// A directory of a test's own, gone with everything in it when the object goes.
#pragma once

#include <filesystem>

namespace support {

class TempDir {
 public:
  // Creates the directory, readable by this user only. Throws std::system_error when that fails.
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace support
