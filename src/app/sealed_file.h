// A text in a sealed file of the configuration directory: a damaged file is recognised and moved
// aside, and a file that could not be read is never lost. Thread: one at a time.
#pragma once

#include <optional>
#include <string>

namespace settings {

class SealedFile {
 public:
  //   name  in the configuration directory
  //   what  its content, as log lines begin
  SealedFile(const char* name, const char* what) : name_(name), what_(what) {}

  [[nodiscard]] std::string path() const;

  // The text; nothing if there is no file. A damaged file is moved aside (".manipuliert" is
  // appended to its name); one that cannot be read stays.
  std::optional<std::string> load();

  // Whether the last load found a file that it could not read; it is still there and may be intact.
  [[nodiscard]] bool unread() const { return unread_; }

  // Replaces the file: after a crash, a power failure or on a full disk it has the old or the new
  // content, never anything else. A file that could not be read is kept under another name, which
  // is logged. Returns false, after logging the reason, when the new file is not in place.
  bool save(const std::string& text);

 private:
  void move_aside() const;
  bool keep_unread();
  bool replace(const std::string& sealed);
  [[nodiscard]] bool failed(const std::string& why) const;

  const char* name_;
  const char* what_;
  bool unread_ = false;
};

}  // namespace settings
