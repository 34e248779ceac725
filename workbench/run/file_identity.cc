#include "workbench/run/file_identity.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

namespace workbench {

std::optional<TFileIdentity> IdentityOf(const std::string& name) {
  constexpr int kMostLinks = 40;  // as the system's
  std::filesystem::path path = name;
  struct stat status {};
  for (int links = 0; links < kMostLinks; ++links) {
    if (stat(path.c_str(), &status) == 0) {
      if (!S_ISREG(status.st_mode)) return std::nullopt;
      return TFileIdentity{status.st_dev, status.st_ino, ""};
    }
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    std::error_code noLink;
    const std::filesystem::path target = std::filesystem::read_symlink(path, noLink);
    if (noLink) {
      if (!path.has_filename() || stat(folder.c_str(), &status) != 0) return std::nullopt;
      return TFileIdentity{status.st_dev, status.st_ino, path.filename().string()};
    }
    path = folder / target;  // an absolute one stands for itself
  }
  return std::nullopt;
}

std::optional<TFileIdentity> IdentityOf(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return TFileIdentity{status.st_dev, status.st_ino, ""};
}

}  // namespace workbench
