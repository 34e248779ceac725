#include "runtime/platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

#include "host/hx_main.h"
#include "runtime/platform/replacement.h"
#include "runtime/text/wide_text.h"

namespace fs = std::filesystem;

namespace {

// Runs what may throw and yields `fallback` when it does: nothing may leave
// the services.
template <typename TResult, typename TBody>
TResult Shielded(TResult fallback, TBody body) noexcept {
  try {
    return body();
  } catch (...) {
    return fallback;
  }
}

template <typename TBody>
void Shielded(TBody body) noexcept {
  Shielded(0, [&] {
    body();
    return 0;
  });
}

// --- Names ------------------------------------------------------------------

bool IsBelow(const fs::path& path, const fs::path& folder) {
  const fs::path relative = path.lexically_relative(folder);
  return !relative.empty() && relative != "." && *relative.begin() != "..";
}

constexpr char kLeaves[] = "the file name leaves the application's folder";
// Of a whole path, in UTF-16; what stands beside a file while it is replaced has a
// longer one.
constexpr std::size_t kLongestPath = 255;
constexpr char kTooLong[] = "the file name is too long: with the application's folder it may have 255 characters";
static_assert(kLongestPath < runlib::kPathCapacity);

struct TFileName {
  const char* problem = nullptr;
  fs::path path;         // absolute; empty when the name is of no file of the folder
  std::string relative;  // from the folder
};

// What can be told of a name without looking at the disk.
TFileName NameOf(const runlib::TFileContext& context, std::u16string_view name) {
  if (name.empty()) return {};
  const fs::path written(runtime::Utf8(name));
  const fs::path folder(context.folder);
  const fs::path path = (folder / written).lexically_normal();
  if (path == folder) return {};
  if (written.is_absolute() || !IsBelow(path, folder)) return {kLeaves, {}, {}};
  if (!path.has_filename()) return {};
  const fs::path relative = path.lexically_relative(folder);
  const bool isTooLong = runtime::Utf16(path.native()).size() > kLongestPath ||
                         std::any_of(relative.begin(), relative.end(),
                                     [](const fs::path& part) { return part.native().size() > NAME_MAX; });
  if (isTooLong) return {kTooLong, {}, {}};
  return {nullptr, path, relative.native()};
}

// False with errno.
bool FindFile(const runlib::TFileContext& context, const TFileName& name, runtime::TPlaceBeneath* place) {
  const runtime::CDescriptor root(context.disk->Open(AT_FDCWD, context.folder, O_PATH | O_DIRECTORY));
  return root.IsOpen() && FindBeneath(*context.disk, root.Number(), name.relative, place);
}

TFileName Examined(const runlib::TFileContext& context, std::u16string_view given) {
  TFileName name = NameOf(context, given);
  runtime::TPlaceBeneath place;
  if (name.path.empty() || FindFile(context, name, &place) || errno != EXDEV) return name;
  return {kLeaves, {}, {}};
}

// Whether an error says that there is no file, and not only that it can't be had.
bool IsMissing(int error) { return error == ENOENT || error == ENOTDIR; }

// That of the name which was expanded last: what is made on the way to a path stays
// below it.
std::string& ExpandedFolder() {
  static std::string folder;
  return folder;
}

// --- Handles ----------------------------------------------------------------

struct TFile {
  runlib::TFileContext* context = nullptr;
  int descriptor = -1;  // -1: a free place of the table
  bool failed = false;
  int error = 0;         // of the operation that failed; 0 also where one only fell short
  std::string given;     // its name
  std::string relative;  // the same from the folder
  std::optional<runtime::CReplacement> replacement = {};  // none when reading
};

std::vector<TFile>& Files() {
  static std::vector<TFile> files;
  return files;
}

TFile* Find(std::uint32_t handle) {
  std::vector<TFile>& files = Files();
  return handle < files.size() && files[handle].descriptor >= 0 ? &files[handle] : nullptr;
}

// The number of a free place, which stays free until it is written to.
std::uint32_t FreeHandle() {
  std::vector<TFile>& files = Files();
  const auto free = std::find_if(files.begin(), files.end(), [](const TFile& file) { return file.descriptor < 0; });
  const auto handle = static_cast<std::uint32_t>(free - files.begin());
  if (free == files.end()) files.emplace_back();
  return handle;
}

std::string& Failure() {
  static std::string failure;
  return failure;
}

void NoteUnwritten(const std::string& name, const std::string& why) noexcept {
  Shielded([&] { Failure() = "'" + name + "' can't be written: " + why; });
}

// It stays as it is until it can be read.
void NoteUnread(const TFile& file, const std::string& why) noexcept {
  Shielded([&] {
    file.context->unread.insert(file.relative);
    Failure() = "'" + file.given + "' can't be read: " + why;
  });
}

// Moves bytes until all have moved, the file ends, or an error is met.
template <typename TMove>
std::uint32_t MoveAll(TFile& file, std::uint32_t count, TMove move) {
  std::uint32_t done = 0;
  while (done < count) {
    const ssize_t moved = move(done, count - done);
    if (moved < 0 && errno == EINTR) continue;
    if (moved < 0) {
      file.failed = true;
      file.error = errno;
    }
    if (moved <= 0) break;
    done += static_cast<std::uint32_t>(moved);
  }
  return done;
}

std::uint32_t Create(TFile file, const TFileName& name) {
  const std::uint32_t handle = FreeHandle();
  runtime::TPlaceBeneath place;
  std::string why;
  if (name.path.empty()) {
    why = "its name leads to no file of the application's folder";
  } else if (file.context->unread.contains(file.relative)) {
    why = "it could not be read";
  } else if (!FindFile(*file.context, name, &place)) {
    why = runtime::Reason(errno);
  } else if (file.replacement.emplace().Begin(*file.context->disk, std::move(place), &why)) {
    file.descriptor = file.replacement->Descriptor();
    Files()[handle] = std::move(file);
    return handle;
  }
  NoteUnwritten(file.given, why);
  return runlib::kNoHandle;
}

void Finish(TFile& file) {
  std::string why = file.error != 0 ? runtime::Reason(file.error) : "a write fell short";
  if (file.failed) {
    file.replacement->Abandon();
  } else if (file.replacement->Finish(&why)) {
    Shielded([&] { file.context->written.insert(file.given); });
    return;
  }
  NoteUnwritten(file.given, why);
}

std::uint32_t Open(TFile file, const TFileName& name) {
  const std::uint32_t handle = FreeHandle();
  runtime::TPlaceBeneath place;
  if (FindFile(*file.context, name, &place)) {
    // Not blocking, so that a pipe is refused rather than waited for.
    file.descriptor = file.context->disk->Open(place.folder.Number(), place.name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
  }
  if (file.descriptor < 0) {
    if (!IsMissing(errno)) NoteUnread(file, runtime::Reason(errno));
    return runlib::kNoHandle;
  }
  struct stat status = {};
  if (fstat(file.descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    NoteUnread(file, S_ISDIR(status.st_mode) ? runtime::Reason(EISDIR) : "it is no regular file");
    file.context->disk->Close(file.descriptor);
    return runlib::kNoHandle;
  }
  file.context->unread.erase(file.relative);
  file.context->read.insert(file.given);
  Files()[handle] = std::move(file);
  return handle;
}

}  // namespace

namespace runtime {

runlib::TFileContext MakeFileContext(std::string_view folder) {
  fs::path path = fs::absolute(folder.empty() ? fs::path(".") : fs::path(folder)).lexically_normal();
  if (!path.has_filename() && path.has_relative_path()) path = path.parent_path();
  return {path.native()};
}

const char* ProblemOfName(const runlib::TFileContext& context, std::u16string_view name) {
  // Where it can't be told, opening the file will not succeed either.
  return Shielded<const char*>(nullptr, [&] { return Examined(context, name).problem; });
}

bool CheckFiles(std::string* error) {
  *error = std::exchange(Failure(), std::string());
  return error->empty();
}

}  // namespace runtime

namespace runlib {

void ExpandFileName(TFileContext* context, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t pathCapacity,
                    char16_t* path) {
  WStrAssign(pathCapacity, path, 0, nullptr);
  if (context == nullptr) return;
  Shielded([&] {
    const std::u16string full = runtime::Utf16(Examined(*context, runtime::WideView(nameCapacity, name)).path.native());
    ExpandedFolder() = context->folder;
    if (full.size() <= pathCapacity) runtime::AssignWide(pathCapacity, path, full);
  });
}

void SplitFileName(TFileContext*, std::uint32_t pathCapacity, const char16_t* path, std::uint32_t directoryCapacity,
                   char16_t* directory, std::uint32_t nameCapacity, char16_t* name) {
  const std::u16string_view whole = runtime::WideView(pathCapacity, path);
  const std::size_t slash = whole.rfind(u'/');
  const bool bare = slash == std::u16string_view::npos;
  const std::u16string_view file = bare ? whole : whole.substr(slash + 1);
  runtime::AssignWide(nameCapacity, name, file);
  // The root keeps its slash.
  runtime::AssignWide(directoryCapacity, directory,
                      bare ? whole.substr(0, 0) : whole.substr(0, slash == 0 ? 1 : slash));
}

// What can't be looked at may be there.
std::uint8_t PathExists(std::uint32_t capacity, const char16_t* path) {
  return Shielded<std::uint8_t>(1, [&]() -> std::uint8_t {
    struct stat status;
    return stat(runtime::Utf8(runtime::WideView(capacity, path)).c_str(), &status) == 0 || !IsMissing(errno) ? 1 : 0;
  });
}

void CreateDirectoryPath(std::uint32_t capacity, const char16_t* path) {
  Shielded([&] {
    const fs::path made(runtime::Utf8(runtime::WideView(capacity, path)));
    const fs::path folder(ExpandedFolder());
    if (!IsBelow(made, folder)) {
      std::error_code error;
      fs::create_directories(made, error);
      return;
    }
    runtime::CDisk& disk = runtime::SystemDisk();
    const runtime::CDescriptor root(disk.Open(AT_FDCWD, folder.native(), O_PATH | O_DIRECTORY));
    if (root.IsOpen()) MakeFoldersBeneath(disk, root.Number(), made.lexically_relative(folder).native());
  });
}

std::uint32_t FileCreate(TFileContext* context, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t mode) {
  if (context == nullptr || mode != 0) return kNoHandle;
  return Shielded(kNoHandle, [&] {
    const std::u16string_view given = runtime::WideView(nameCapacity, name);
    const TFileName found = NameOf(*context, given);
    return Create({.context = context, .given = runtime::Utf8(given), .relative = found.relative}, found);
  });
}

std::uint32_t FileOpen(void* host, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t mode) {
  const auto* context = static_cast<const hx_main::TContext*>(host);
  if (context == nullptr || context->files == nullptr || mode != 1) return kNoHandle;
  return Shielded(kNoHandle, [&] {
    const std::u16string_view given = runtime::WideView(nameCapacity, name);
    const TFileName found = NameOf(*context->files, given);
    if (found.path.empty()) return kNoHandle;
    return Open({.context = context->files, .given = runtime::Utf8(given), .relative = found.relative}, found);
  });
}

std::uint32_t FileError(std::uint32_t handle) {
  const TFile* file = Find(handle);
  return file == nullptr || file->failed ? 1 : 0;
}

std::uint32_t FileRead(std::uint32_t handle, std::uint32_t size, void* buffer, std::uint32_t count) {
  TFile* file = Find(handle);
  if (file == nullptr || buffer == nullptr || file->replacement) return 0;
  auto* bytes = static_cast<char*>(buffer);
  const std::uint32_t done = MoveAll(*file, std::min(size, count), [=](std::uint32_t before, std::uint32_t rest) {
    return file->context->disk->Read(file->descriptor, bytes + before, rest);
  });
  if (file->error != 0) NoteUnread(*file, runtime::Reason(file->error));
  return done;
}

std::uint32_t FileWrite(std::uint32_t handle, std::uint32_t size, const void* buffer, std::uint32_t count) {
  TFile* file = Find(handle);
  if (file == nullptr) return 0;
  std::uint32_t written = 0;
  if (buffer != nullptr && file->replacement) {
    const auto* bytes = static_cast<const char*>(buffer);
    written = MoveAll(*file, std::min(size, count), [=](std::uint32_t done, std::uint32_t rest) {
      return file->context->disk->Write(file->descriptor, bytes + done, rest);
    });
  }
  if (written != count) file->failed = true;
  return written;
}

void FileClose(std::uint32_t handle) {
  TFile* file = Find(handle);
  if (file == nullptr) return;
  if (file->replacement) {
    Finish(*file);
  } else {
    file->context->disk->Close(file->descriptor);
  }
  *file = TFile();
}

}  // namespace runlib
