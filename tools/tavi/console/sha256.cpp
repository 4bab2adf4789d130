#include "console/sha256.h"

#include <sys/types.h>
#include <cstdint>
#include <cstdio>

#include <array>

#include <sha2.h>

namespace brelmo::tavi::tools {

std::string Sha256(std::string_view content) {
  SHA2_CTX context;
  SHA256Init(&context);
  SHA256Update(&context, reinterpret_cast<const uint8_t*>(content.data()), content.size());
  std::array<uint8_t, SHA256_DIGEST_LENGTH> digest{};
  SHA256Final(digest.data(), &context);
  std::string text;
  for (const uint8_t byte : digest) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02x", byte);
    text += digits;
  }
  return text;
}

}  // namespace brelmo::tavi::tools
