#include "runtime/platform/beneath.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace runtime {

namespace {

constexpr int kMostLinks = 40;     // that are followed, as the system does
constexpr int kMostAttempts = 16;  // while others rename folders

bool Fails(int error) {
  errno = error;
  return false;
}

CDescriptor NoFolder(int error) {
  errno = error;
  return CDescriptor();
}

// What a link says. False with errno, which is EINVAL for what is no link.
bool ReadLink(int folder, const std::string& name, std::string* target) {
  char text[PATH_MAX];
  const ssize_t length = readlinkat(folder, name.c_str(), text, sizeof text);
  if (length < 0) return false;
  target->assign(text, static_cast<std::size_t>(length));
  return true;
}

// The names of a path go to the end of `names`, the first one last.
void PushNames(const std::string& path, std::vector<std::string>* names) {
  for (std::size_t end = path.size();;) {
    const std::size_t slash = end == 0 ? std::string::npos : path.rfind('/', end - 1);
    const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
    if (end > begin) names->push_back(path.substr(begin, end - begin));
    if (slash == std::string::npos) return;
    end = slash;
  }
}

// Opens one folder after the other and follows links itself, so that ".." leads
// back to where the walk came from, wherever that is by now.
CDescriptor Walk(CDisk& disk, int root, const std::string& path) {
  std::vector<CDescriptor> folders;  // each in the one before, the first in `root`
  std::vector<std::string> names;    // still to go, the next one last
  PushNames(path, &names);
  int links = 0;
  std::string target;
  while (!names.empty()) {
    const std::string name = std::move(names.back());
    names.pop_back();
    if (name == ".") continue;
    if (name == "..") {
      if (folders.empty()) return NoFolder(EXDEV);
      folders.pop_back();
      continue;
    }
    const int folder = folders.empty() ? root : folders.back().Number();
    CDescriptor next(disk.Open(folder, name, O_PATH | O_DIRECTORY | O_NOFOLLOW));
    if (next.IsOpen()) {
      folders.push_back(std::move(next));
      continue;
    }
    if (errno != ENOTDIR) return next;
    if (!ReadLink(folder, name, &target)) return NoFolder(errno == EINVAL ? ENOTDIR : errno);
    if (++links > kMostLinks) return NoFolder(ELOOP);
    if (target.starts_with('/')) return NoFolder(EXDEV);
    PushNames(target, &names);
  }
  return folders.empty() ? CDescriptor(disk.Open(root, ".", O_PATH | O_DIRECTORY)) : std::move(folders.back());
}

}  // namespace

CDescriptor OpenFolderBeneath(CDisk& disk, int root, const std::string& path) {
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    CDescriptor folder(disk.OpenBeneath(root, path.empty() ? "." : path));
    if (folder.IsOpen()) return folder;
    // A filter of system calls may forbid what it doesn't know.
    if (errno == ENOSYS || errno == EPERM) return Walk(disk, root, path);
    if (errno != EAGAIN) break;
  }
  return CDescriptor();
}

bool FindBeneath(CDisk& disk, int root, std::string path, TPlaceBeneath* place) {
  for (int links = 0; links <= kMostLinks; ++links) {
    const std::size_t slash = path.rfind('/');
    const std::string above = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    place->name = path.substr(above.size());
    place->folder = OpenFolderBeneath(disk, root, above);
    if (!place->folder.IsOpen()) return false;
    if (place->name.empty() || place->name == "." || place->name == "..") {
      return OpenFolderBeneath(disk, root, path).IsOpen() ? Fails(EISDIR) : false;
    }
    std::string target;
    if (!ReadLink(place->folder.Number(), place->name, &target)) return errno == EINVAL || errno == ENOENT;
    if (target.starts_with('/')) return Fails(EXDEV);
    path = above + target;
  }
  return Fails(ELOOP);
}

void MakeFoldersBeneath(CDisk& disk, int root, const std::string& path) {
  constexpr mode_t kMode = 0777;  // less the process's mask
  for (std::size_t begin = 0; begin < path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const CDescriptor above = OpenFolderBeneath(disk, root, path.substr(0, begin));
    if (!above.IsOpen()) return;
    mkdirat(above.Number(), path.substr(begin, end - begin).c_str(), kMode);
    begin = end + 1;
  }
}

}  // namespace runtime
