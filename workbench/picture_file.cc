#include "workbench/picture_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "painting/painting.h"

namespace workbench {

bool PreparePicture(const std::string& fileName, const std::vector<std::string>& files, std::string* error) {
  if (fileName.empty()) return true;
  if (!painting::IsBuiltIn(error)) return false;
  for (const std::string& kept : files) {
    std::error_code missing;
    if (!kept.empty() && (fileName == kept || std::filesystem::equivalent(fileName, kept, missing))) {
      *error = fileName + ": the picture would overwrite a file that the run uses; name another one";
      return false;
    }
  }
  // A long run shouldn't end before it is seen that there is no such folder.
  const std::filesystem::path folder = std::filesystem::path(fileName).parent_path();
  if (access(folder.empty() ? "." : folder.c_str(), W_OK) != 0) {
    *error = fileName + ": the picture can't be written: " + std::strerror(errno);
    return false;
  }
  painting::UseFontMetrics();
  return true;
}

}  // namespace workbench
