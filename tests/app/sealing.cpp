#include "sealing.h"

#include "save_crypt.h"

namespace sealing {

std::string seal(const std::string& plain) {
  return crypt::encrypt(plain);
}

int open(const std::string& sealed, std::string* plain) {
  return crypt::decrypt(sealed, plain);
}

}  // namespace sealing
