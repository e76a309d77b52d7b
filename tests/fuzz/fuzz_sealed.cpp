// Whatever lies in the place of the settings file is opened without harm; what was sealed comes
// back, and what was altered does not.
//
// The first byte of the input chooses what is done with the rest:
//   0  it is opened as it is
//   1  it is sealed, opened, and the text that comes out is read as settings
//   2  it is sealed, one byte is altered, and opening must fail
#include <cstddef>
#include <cstdint>
#include <string>

#include "app/save_crypt.h"
#include "app/settings_text.h"
#include "fuzz.h"

namespace {

void open_raw(const std::string& input) {
  std::string plain = "rubbish";
  const int result = crypt::decrypt(input, &plain);
  fuzz::require(result == 0 || plain.empty(), "nothing comes out of what cannot be opened");
  fuzz::require((result == 1) == input.empty(), "1 means empty");
  fuzz::require(result != 0 || plain.size() + 45 == input.size(), "the header has 45 bytes");
}

void seal_and_read(const std::string& input) {
  std::string plain;
  fuzz::require(crypt::decrypt(crypt::encrypt(input), &plain) == 0, "a sealed text opens");
  fuzz::require(plain == input, "the same bytes come back");
  Settings s;
  settings::deserialize(plain, &s);
}

void seal_and_alter(const std::string& input) {
  std::string sealed = crypt::encrypt(input);
  const std::size_t at = input.empty() ? 0 : static_cast<unsigned char>(input[0]) % sealed.size();
  const unsigned bit = 1U << (input.size() % 8);
  sealed[at] = static_cast<char>(static_cast<unsigned char>(sealed[at]) ^ bit);
  fuzz::require(crypt::decrypt(sealed, nullptr) == 2, "an altered byte is noticed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string input(reinterpret_cast<const char*>(data + 1), size - 1);
  switch (data[0] % 3) {
    case 0:
      open_raw(input);
      break;
    case 1:
      seal_and_read(input);
      break;
    default:
      seal_and_alter(input);
  }
  return 0;
}
