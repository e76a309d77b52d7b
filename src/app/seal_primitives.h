// The four primitives that seal the settings file, under Monocypher's names, from whichever library
// is linked.
//
// Monocypher 4 is preferred. Where it is not packaged, libsodium is used: crypto_aead_lock is
// XChaCha20-Poly1305 in the IETF construction, BLAKE2b is BLAKE2b, so both libraries make and open
// the same bytes.
//
// For the sealing module only; others call settings::seal_library().
#pragma once

#if VELMORA_CRYPTO_MONOCYPHER

#include <monocypher.h>

// The name of the linked library, for the list of components.
inline constexpr const char* kSealLibrary = "Monocypher";

#else

#include <sodium.h>

#include <cstddef>
#include <cstdint>

inline constexpr const char* kSealLibrary = "libsodium";

namespace seal_primitives {

// The library must be initialised once before other calls, from any thread. The result does not
// matter: without it the functions used here work as well, only more slowly.
inline void prepare() {
  [[maybe_unused]] static const int ready = sodium_init();
}

}  // namespace seal_primitives

// Encrypts text_size bytes into cipher_text (which may be plain_text) and makes the tag that
// authenticates them and the ad_size bytes at ad.
inline void crypto_aead_lock(std::uint8_t* cipher_text, std::uint8_t mac[16],
                             const std::uint8_t key[32], const std::uint8_t nonce[24],
                             const std::uint8_t* ad, std::size_t ad_size,
                             const std::uint8_t* plain_text, std::size_t text_size) {
  seal_primitives::prepare();
  crypto_aead_xchacha20poly1305_ietf_encrypt_detached(cipher_text, mac, nullptr, plain_text,
                                                      text_size, ad, ad_size, nullptr, nonce, key);
}

// Opens what crypto_aead_lock made. Returns 0, or -1 when the tag does not match; plain_text is
// then undefined.
inline int crypto_aead_unlock(std::uint8_t* plain_text, const std::uint8_t mac[16],
                              const std::uint8_t key[32], const std::uint8_t nonce[24],
                              const std::uint8_t* ad, std::size_t ad_size,
                              const std::uint8_t* cipher_text, std::size_t text_size) {
  seal_primitives::prepare();
  return crypto_aead_xchacha20poly1305_ietf_decrypt_detached(
      plain_text, nullptr, cipher_text, text_size, mac, ad, ad_size, nonce, key);
}

// Unkeyed BLAKE2b; hash_size is 16 to 64 bytes.
inline void crypto_blake2b(std::uint8_t* hash, std::size_t hash_size, const std::uint8_t* message,
                           std::size_t message_size) {
  seal_primitives::prepare();
  crypto_generichash_blake2b(hash, hash_size, message, message_size, nullptr, 0);
}

// Overwrites in a way that the compiler does not optimise away.
inline void crypto_wipe(void* secret, std::size_t size) {
  sodium_memzero(secret, size);
}

#endif
