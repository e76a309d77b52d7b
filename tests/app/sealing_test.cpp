// The seal, checked against a reading of the layout that shares no code with it: offsets and key
// are written out here, and the library is called directly.
#include "sealing.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

constexpr std::size_t kHeader = 45;

// BLAKE2b of the program's seeds and tag, computed elsewhere. Files of earlier runs depend on it.
constexpr std::array<unsigned char, 32> kKey = {
    0xa4, 0xf3, 0x21, 0x43, 0x8c, 0x57, 0x9a, 0xdc, 0x53, 0x20, 0x7e, 0x53, 0xb0, 0x45, 0x90, 0x37,
    0xe8, 0xb5, 0x43, 0xdc, 0xcb, 0x97, 0xda, 0xc3, 0xa4, 0xc3, 0x6e, 0xaf, 0x8f, 0xe0, 0x49, 0xd2};

const unsigned char* bytes(const std::string& text, std::size_t offset) {
  return reinterpret_cast<const unsigned char*>(text.data()) + offset;
}

unsigned char* bytes(std::string& text, std::size_t offset) {
  return reinterpret_cast<unsigned char*>(text.data()) + offset;
}

std::optional<std::string> open_by_hand(const std::string& sealed) {
  if (sealed.size() < kHeader || !sealed.starts_with("TRSL\x01")) return std::nullopt;
  std::string plain(sealed.size() - kHeader, '?');
  if (crypto_aead_xchacha20poly1305_ietf_decrypt_detached(
          bytes(plain, 0), nullptr, bytes(sealed, 45), plain.size(), bytes(sealed, 29), nullptr, 0,
          bytes(sealed, 5), kKey.data()) != 0) {
    return std::nullopt;
  }
  return plain;
}

std::string seal_by_hand(const std::string& plain) {
  std::string sealed =
      "TRSL\x01" + "nonce of twenty-four b.."s + std::string(16 + plain.size(), '?');
  crypto_aead_xchacha20poly1305_ietf_encrypt_detached(bytes(sealed, 45), bytes(sealed, 29), nullptr,
                                                      bytes(plain, 0), plain.size(), nullptr, 0,
                                                      nullptr, bytes(sealed, 5), kKey.data());
  return sealed;
}

TEST(Sealing, layout_and_key_are_the_agreed_ones) {
  for (const std::string& plain : {""s, "\0\n\xFF"s, std::string(100'000, '\0')}) {
    const std::string sealed = sealing::seal(plain);
    EXPECT_EQ(sealed.size(), kHeader + plain.size());
    EXPECT_EQ(open_by_hand(sealed), plain);
    std::string opened = "rubbish";
    EXPECT_EQ(sealing::open(seal_by_hand(plain), &opened), 0);
    EXPECT_EQ(opened, plain);
    EXPECT_EQ(sealing::open(sealed, nullptr), 0);
  }
}

TEST(Sealing, anything_altered_cut_off_or_added_is_noticed) {
  const std::string sealed = sealing::seal("win_w=1280\n");
  std::vector<std::string> altered = {sealed + '\0', "theme=light\n" + std::string(100, ' ')};
  for (std::size_t at = 0; at < sealed.size(); ++at) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      altered.push_back(sealed);
      altered.back()[at] ^= static_cast<char>(1U << bit);
    }
    if (at > 0) altered.push_back(sealed.substr(0, at));
  }
  for (const std::string& text : altered) {
    std::string opened = "rubbish";
    EXPECT_EQ(sealing::open(text, &opened), 2) << testing::PrintToString(text);
    EXPECT_EQ(opened, "");
  }
  EXPECT_EQ(sealing::open("", nullptr), 1);
}

TEST(Sealing, the_same_text_is_never_sealed_the_same_way) {
  const std::string first = sealing::seal("settings");
  const std::string second = sealing::seal("settings");
  for (std::size_t at = 5; at < 29; at += 4) {
    EXPECT_NE(first.substr(at, 4), second.substr(at, 4)) << "a part of the nonce is not random";
  }
  EXPECT_NE(first.substr(29, 16), second.substr(29, 16));
  EXPECT_NE(first.substr(45), second.substr(45));
}

}  // namespace
