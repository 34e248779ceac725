// What pictures and a build without them have in common: names and files.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "painting/painting.h"

namespace painting {

std::optional<EFormat> FormatOf(const std::string& fileName) {
  constexpr std::size_t kLength = 4;  // of an ending, with its dot
  if (fileName.size() <= kLength) return std::nullopt;
  std::string ending = fileName.substr(fileName.size() - kLength);
  std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
  if (ending == ".png") return EFormat::kPng;
  if (ending == ".svg") return EFormat::kSvg;
  return std::nullopt;
}

bool WritePicture(const std::string& fileName, const std::string& bytes, std::string* error) {
  errno = 0;
  std::FILE* file = std::fopen(fileName.c_str(), "wb");
  bool written = file != nullptr;
  if (written) {
    written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    written = std::fclose(file) == 0 && written;
  }
  if (!written) {
    *error = fileName + ": the picture can't be written" + (errno != 0 ? std::string(": ") + std::strerror(errno) : "");
    std::error_code ignored;
    if (file != nullptr && std::filesystem::is_regular_file(fileName, ignored)) {
      std::filesystem::remove(std::filesystem::canonical(fileName, ignored), ignored);
    }
  }
  return written;
}

}  // namespace painting
