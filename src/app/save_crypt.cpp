// DESIGN: this module builds the envelope; a library provides the primitives. Key and plain text
// are wiped from the buffers made here right after use.
#include "save_crypt.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string_view>

#include "seal_primitives.h"

namespace crypt {
namespace {

constexpr std::string_view kMagic = "TRSL";
constexpr char kFormat = 0x01;
constexpr std::size_t kNonceSize = 24;
constexpr std::size_t kMacSize = 16;
constexpr std::size_t kKeySize = 32;
constexpr std::size_t kNonceAt = kMagic.size() + 1;
constexpr std::size_t kMacAt = kNonceAt + kNonceSize;
constexpr std::size_t kHeaderSize = kMacAt + kMacSize;
static_assert(kHeaderSize == 45, "files of earlier runs must stay readable");

// With other bytes, every existing settings file would count as damaged.
constexpr std::array<std::uint8_t, 32> kSeeds = {
    0xaa, 0x0a, 0x28, 0xa3, 0xd0, 0x6d, 0x0f, 0x93, 0x75, 0xb3, 0xc3, 0xfa, 0x00, 0x52, 0x48, 0xe5,
    0x06, 0x52, 0x32, 0xe1, 0x0d, 0x97, 0x7d, 0x92, 0x2d, 0x54, 0x31, 0x39, 0xef, 0x07, 0x78, 0x57};
constexpr std::string_view kTag = "Xq4Lr/v1/seal-k7";
static_assert(kTag.size() == 16);

const std::uint8_t* bytes_of(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

std::uint8_t* bytes_of(std::string& text) {
  return reinterpret_cast<std::uint8_t*>(text.data());
}

const char* chars_of(const std::uint8_t* bytes) {
  return reinterpret_cast<const char*>(bytes);
}

void derive_key(std::array<std::uint8_t, kKeySize>* key) {
  std::array<std::uint8_t, kSeeds.size() + kTag.size()> message{};
  std::memcpy(message.data(), kSeeds.data(), kSeeds.size());
  std::memcpy(message.data() + kSeeds.size(), kTag.data(), kTag.size());
  crypto_blake2b(key->data(), key->size(), message.data(), message.size());
  crypto_wipe(message.data(), message.size());
}

void make_nonce(unsigned char* out24) {
  std::random_device random("default");
  for (std::size_t i = 0; i < kNonceSize; i += 4) {
    const std::uint32_t value = random();
    for (std::size_t k = 0; k < 4; ++k)
      out24[i + k] = static_cast<unsigned char>(value >> (8 * k));
  }
  // A random device may repeat itself, as on a freshly cloned machine; a nonce must not.
  const auto ticks =
      static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  for (std::size_t k = 0; k < 8; ++k)
    out24[k] ^= static_cast<unsigned char>(ticks >> (8 * k));
}

}  // namespace

std::string encrypt(const std::string& plain) {
  // The nonce first: if that throws, there is no key yet to be wiped.
  std::array<std::uint8_t, kNonceSize> nonce{};
  make_nonce(nonce.data());
  std::array<std::uint8_t, kMacSize> mac{};
  // A string, because the libraries require an address even for no bytes.
  std::string cipher(plain.size(), '\0');
  std::array<std::uint8_t, kKeySize> key{};
  derive_key(&key);
  crypto_aead_lock(bytes_of(cipher), mac.data(), key.data(), nonce.data(), nullptr, 0,
                   bytes_of(plain), plain.size());
  crypto_wipe(key.data(), key.size());

  std::string sealed;
  sealed.reserve(kHeaderSize + plain.size());
  sealed.append(kMagic);
  sealed.push_back(kFormat);
  sealed.append(chars_of(nonce.data()), nonce.size());
  sealed.append(chars_of(mac.data()), mac.size());
  sealed.append(cipher);
  return sealed;
}

int decrypt(const std::string& sealed, std::string* plain) {
  if (plain != nullptr) plain->clear();
  if (sealed.empty()) return 1;
  if (sealed.size() < kHeaderSize) return 2;
  if (!sealed.starts_with(kMagic) || sealed[kMagic.size()] != kFormat) return 2;

  std::string text(sealed.size() - kHeaderSize, '\0');
  const std::uint8_t* const bytes = bytes_of(sealed);
  std::array<std::uint8_t, kKeySize> key{};
  derive_key(&key);
  const bool opened =
      crypto_aead_unlock(bytes_of(text), bytes + kMacAt, key.data(), bytes + kNonceAt, nullptr, 0,
                         bytes + kHeaderSize, text.size()) == 0;
  crypto_wipe(key.data(), key.size());
  if (opened && plain != nullptr) *plain = text;
  crypto_wipe(text.data(), text.size());
  return opened ? 0 : 2;
}

bool looks_sealed(const std::string& text) {
  return text.size() >= kHeaderSize && text.starts_with(kMagic);
}

const char* library() {
  return kSealLibrary;
}

}  // namespace crypt
