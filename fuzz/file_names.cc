// Any name of a file, in a folder with links to anywhere: the input's lines are the
// name and what the links say. By the system's own call and by a walk it leads to the
// same place, never out of the folder; nothing beside the folder is made or written.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "fuzz/harness.h"
#include "runtime/platform/beneath.h"
#include "runtime/platform/files.h"
#include "runtime/text/wide_text.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kLinks[] = {"l", "m", "a/l", "a/b/l"};
constexpr std::size_t kLongest = 1000;  // bytes of a line

class CWalkedDisk : public runtime::CDisk {
 public:
  int OpenBeneath(int, const std::string&) override {
    errno = ENOSYS;
    return -1;
  }
};

struct TFound {
  int error = 0;
  ino_t folder = 0;
  std::string name;
  bool operator==(const TFound&) const = default;
};

TFound Find(runtime::CDisk& disk, const std::string& root, const std::string& name) {
  const runtime::CDescriptor opened(disk.Open(AT_FDCWD, root, O_PATH | O_DIRECTORY));
  runtime::TPlaceBeneath place;
  if (!runtime::FindBeneath(disk, opened.Number(), name, &place)) return {errno, 0, ""};
  struct stat status = {};
  fuzz::Check(fstat(place.folder.Number(), &status) == 0, "a place has a folder");
  const std::string real = fs::read_symlink("/proc/self/fd/" + std::to_string(place.folder.Number()));
  fuzz::Check((real + "/").starts_with(fs::canonical(root).native() + "/"), "a place is below the folder");
  return {0, status.st_ino, place.name};
}

std::size_t CountIn(const std::string& folder) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

// As a plug-in keeps a file.
void Keep(runlib::TFileContext& context, const std::u16string& name) {
  const auto length = static_cast<std::uint32_t>(name.size());
  char16_t path[runlib::kPathCapacity + 1] = {};
  char16_t directory[runlib::kPathCapacity + 1] = {};
  char16_t file[runlib::kPathCapacity + 1] = {};
  runlib::ExpandFileName(&context, length, name.c_str(), runlib::kPathCapacity, path);
  runlib::SplitFileName(&context, runlib::kPathCapacity, path, runlib::kPathCapacity, directory, runlib::kPathCapacity,
                        file);
  if (directory[0] != 0) runlib::CreateDirectoryPath(runlib::kPathCapacity, directory);
  const std::uint32_t handle = runlib::FileCreate(&context, length, name.c_str(), 0);
  runlib::FileWrite(handle, 3, "new", 3);
  runlib::FileClose(handle);
  std::string error;
  fuzz::Check((handle != runlib::kNoHandle) == runtime::CheckFiles(&error), "a file is kept, or it is told why not");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  std::istringstream lines(fuzz::CBytes(data, size).Rest());
  std::string name;
  std::getline(lines, name);
  if (name.size() > kLongest || name.starts_with('/') || name.find('\0') != std::string::npos) return -1;

  const tests::CFolder outer;
  const std::string root = outer.Path("in");
  fs::create_directories(root + "/a/b");
  fs::create_directory(outer.Path("out"));
  std::ofstream(root + "/f") << "old";
  std::ofstream(outer.Path("out") + "/f") << "old";
  for (const char* link : kLinks) {
    std::string target;
    if (!std::getline(lines, target) || target.size() > kLongest) break;
    std::error_code ignored;
    fs::create_symlink(target.c_str(), root + "/" + link, ignored);
  }

  CWalkedDisk walked;
  const TFound found = Find(runtime::SystemDisk(), root, name);
  const TFound other = Find(walked, root, name);
  // The system counts the length of a path, a walk that of its parts.
  fuzz::Check(found == other || found.error == ENAMETOOLONG || other.error == ENAMETOOLONG,
              "both ways lead to the same place");
  const std::u16string wide = runtime::Utf16(name);
  runlib::TFileContext context = runtime::MakeFileContext(root);
  const bool isFine = runtime::ProblemOfName(context, wide) == nullptr;
  Keep(context, wide);
  context.disk = &walked;
  fuzz::Check(isFine == (runtime::ProblemOfName(context, wide) == nullptr), "both ways find the same fault");
  Keep(context, wide);
  fuzz::Check(
      CountIn(outer.Path(".")) == 2 && CountIn(outer.Path("out")) == 1 && tests::ReadFile(outer.Path("out/f")) == "old",
      "nothing beside the folder is made or written");
  return 0;
}
