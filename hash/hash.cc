#include "hash/hash.h"

#include <nettle/base16.h>
#include <nettle/base64.h>
#include <nettle/sha2.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace hash {
namespace {

class CSha256 {
 public:
  CSha256() { sha256_init(&context); }
  void Add(std::string_view bytes) {
    sha256_update(&context, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  }
  TSha256 Value() {
    TSha256 value;
    sha256_digest(&context, value.size(), value.data());
    return value;
  }

 private:
  sha256_ctx context;
};

std::span<const std::uint8_t> Octets(std::string_view bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

}  // namespace

TSha256 Sha256(std::string_view bytes) {
  CSha256 sha;
  sha.Add(bytes);
  return sha.Value();
}

std::optional<TSha256> Sha256OfFile(const std::string& name, std::string* error) {
  const auto fails = [&] {
    *error = name + ": " + std::strerror(errno);
    return std::nullopt;
  };
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rb"), std::fclose);
  if (!file) return fails();
  CSha256 sha;
  char buffer[1 << 16];
  while (const std::size_t size = std::fread(buffer, 1, sizeof buffer, file.get())) sha.Add({buffer, size});
  if (std::ferror(file.get()) != 0) return fails();
  return sha.Value();
}

std::string Hex(std::span<const std::uint8_t> bytes) {
  std::string text(BASE16_ENCODE_LENGTH(bytes.size()), '\0');
  base16_encode_update(text.data(), bytes.size(), bytes.data());
  return text;
}

std::string Base64(std::span<const std::uint8_t> bytes) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
  base64_encode_raw(text.data(), bytes.size(), bytes.data());
  return text;
}

std::string Base64(std::string_view bytes) { return Base64(Octets(bytes)); }

}  // namespace hash
