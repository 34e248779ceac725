#include "workbench/pictures/picture_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "painting/painting.h"

namespace workbench {

bool PreparePicture(const std::string& fileName, std::string* error) {
  if (fileName.empty()) return true;
  if (!painting::IsBuiltIn(error)) return false;
  std::error_code missing;
  if (std::filesystem::is_directory(fileName, missing)) {
    *error = fileName + ": the picture can't be written: " + std::strerror(EISDIR);
    return false;
  }
  // A long run shouldn't end before it is seen that there is no such folder.
  std::filesystem::path written = fileName;
  if (!std::filesystem::exists(written, missing)) written = written.has_parent_path() ? written.parent_path() : ".";
  if (access(written.c_str(), W_OK) != 0) {
    *error = fileName + ": the picture can't be written: " + std::strerror(errno);
    return false;
  }
  painting::UseFontMetrics();
  return true;
}

}  // namespace workbench
