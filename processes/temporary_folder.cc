#include "processes/temporary_folder.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace processes {

CTemporaryFolder::CTemporaryFolder(const std::string& purpose, const std::filesystem::path& place)
    : path(place / ("loopbox-" + purpose + "-XXXXXX")) {
  if (mkdtemp(path.data()) == nullptr)
    throw std::runtime_error("no temporary folder: " + std::string(std::strerror(errno)));
}

CTemporaryFolder::~CTemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

}  // namespace processes
