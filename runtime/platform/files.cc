#include "runtime/platform/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "host/hx_main.h"
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

struct TFilePlace {
  bool leaves = false;
  fs::path path;  // as the name says; empty when it names no file of the folder
  fs::path real;  // with symbolic links followed
};

bool IsBelow(const fs::path& path, const fs::path& folder) {
  const fs::path relative = path.lexically_relative(folder);
  return !relative.empty() && *relative.begin() != "..";
}

TFilePlace Place(const runlib::TFileContext& context, std::u16string_view name) {
  if (name.empty()) return {};
  const fs::path written(runtime::Utf8(name));
  const fs::path folder(context.folder);
  const fs::path path = (folder / written).lexically_normal();
  if (written.is_absolute() || !IsBelow(path, folder)) return {true, {}, {}};
  if (!path.has_filename() || path == folder) return {};
  if (runtime::Utf16(path.native()).size() > runlib::kPathCapacity) return {};
  std::error_code error;
  const fs::path realFolder = fs::weakly_canonical(folder, error);
  if (error) return {};
  const fs::path real = fs::weakly_canonical(path, error);
  if (error) return {};
  if (!IsBelow(real, realFolder)) return {true, {}, {}};
  return {false, path, real};
}

// --- Handles ----------------------------------------------------------------

struct TFile {
  runtime::CDisk* disk = nullptr;
  int descriptor = -1;  // -1: a free place of the table
  bool failed = false;
  int error = 0;       // of the operation that failed; 0 also where one only fell short
  std::string name;    // of a file being written, as it was given
  fs::path target;     // what that leads to
  fs::path temporary;  // empty when reading

  bool Writing() const { return !temporary.empty(); }
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

std::string& WriteFailure() {
  static std::string failure;
  return failure;
}

void NoteWriteFailure(const std::string& name, const char* why) noexcept {
  Shielded([&] { WriteFailure() = "'" + name + "' can't be written: " + why; });
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

// --- Replacing a file whole -----------------------------------------------------

constexpr std::size_t kNamePart = 200;  // bytes of the name that a temporary's name repeats; 255 are allowed in all
constexpr int kAttempts = 100;

// What the names of a file's temporaries begin with; a process and a number follow.
std::string TemporaryPrefix(const fs::path& target) {
  return "." + target.filename().native().substr(0, kNamePart) + ".tmp-";
}

// A temporary is locked from its making to its renaming, so that one without a
// lock is what a killed process left behind.
void RemoveLeftovers(runtime::CDisk& disk, const fs::path& target) {
  const std::string prefix = TemporaryPrefix(target);
  std::error_code error;
  for (fs::directory_iterator entry(target.parent_path(), error), end; !error && entry != end; entry.increment(error)) {
    if (!entry->path().filename().native().starts_with(prefix)) continue;
    const int descriptor = disk.Open(entry->path().native(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
    if (descriptor < 0) continue;
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) disk.Remove(entry->path().native());
    disk.Close(descriptor);
  }
}

// A new temporary, locked; -1 with errno when there can be none. When another
// process removed it before it was locked, its name counts as one that exists.
int OpenTemporary(runtime::CDisk& disk, const fs::path& path) {
  const int descriptor = disk.Open(path.native(), O_WRONLY | O_CREAT | O_EXCL);
  if (descriptor < 0) return -1;
  struct stat status;
  flock(descriptor, LOCK_EX);  // where files can't be locked, leftovers stay
  if (fstat(descriptor, &status) == 0 && status.st_nlink > 0) return descriptor;
  disk.Close(descriptor);
  errno = EEXIST;
  return -1;
}

std::uint32_t Create(runtime::CDisk& disk, const std::string& name, const fs::path& target) {
  struct stat status;
  const bool exists = stat(target.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    NoteWriteFailure(name, std::strerror(S_ISDIR(status.st_mode) ? EISDIR : EINVAL));
    return runlib::kNoHandle;
  }

  RemoveLeftovers(disk, target);
  static unsigned number = 0;
  const std::uint32_t handle = FreeHandle();
  TFile file;
  file.disk = &disk;
  file.name = name;
  file.target = target;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    file.temporary =
        target.parent_path() / (TemporaryPrefix(target) + std::to_string(getpid()) + "-" + std::to_string(number++));
    file.descriptor = OpenTemporary(disk, file.temporary);
    if (file.descriptor >= 0) {
      Files()[handle] = std::move(file);
      return handle;
    }
    if (errno != EEXIST) break;
  }
  NoteWriteFailure(name, std::strerror(errno));
  return runlib::kNoHandle;
}

// Makes a rename last; where a folder can't be flushed there is no more to do.
void FlushFolder(runtime::CDisk& disk, const fs::path& folder) {
  const int descriptor = disk.Open(folder.native(), O_RDONLY | O_DIRECTORY);
  if (descriptor < 0) return;
  disk.Flush(descriptor);
  disk.Close(descriptor);
}

void Finish(TFile& file) {
  runtime::CDisk& disk = *file.disk;
  if (!file.failed &&
      (disk.Flush(file.descriptor) != 0 || disk.Rename(file.temporary.native(), file.target.native()) != 0)) {
    file.failed = true;
    file.error = errno;
  }
  if (file.failed) disk.Remove(file.temporary.native());
  disk.Close(file.descriptor);
  if (file.failed) {
    NoteWriteFailure(file.name, file.error != 0 ? std::strerror(file.error) : "a write fell short");
  } else {
    Shielded([&] { FlushFolder(disk, file.target.parent_path()); });
  }
}

std::uint32_t Open(runtime::CDisk& disk, const fs::path& path) {
  const std::uint32_t handle = FreeHandle();
  // Not blocking, so that a pipe is refused rather than waited for.
  const int descriptor = disk.Open(path.native(), O_RDONLY | O_NONBLOCK);
  if (descriptor < 0) return runlib::kNoHandle;
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    disk.Close(descriptor);
    return runlib::kNoHandle;
  }
  Files()[handle].disk = &disk;
  Files()[handle].descriptor = descriptor;
  return handle;
}

}  // namespace

namespace runtime {

runlib::TFileContext MakeFileContext(std::string_view folder) {
  fs::path path = fs::absolute(folder.empty() ? fs::path(".") : fs::path(folder)).lexically_normal();
  if (!path.has_filename() && path.has_relative_path()) path = path.parent_path();
  return {path.native(), &SystemDisk()};
}

bool LeavesFolder(const runlib::TFileContext& context, std::u16string_view name) {
  // Where it can't be told, opening the file will not succeed either.
  return Shielded(false, [&] { return Place(context, name).leaves; });
}

bool CheckWrites(std::string* error) {
  *error = std::exchange(WriteFailure(), std::string());
  return error->empty();
}

}  // namespace runtime

namespace runlib {

void ExpandFileName(TFileContext* context, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t pathCapacity,
                    char16_t* path) {
  WStrAssign(pathCapacity, path, 0, nullptr);
  if (context == nullptr) return;
  Shielded([&] {
    const std::u16string full = runtime::Utf16(Place(*context, runtime::WideView(nameCapacity, name)).path.native());
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

std::uint8_t PathExists(std::uint32_t capacity, const char16_t* path) {
  return Shielded<std::uint8_t>(0, [&]() -> std::uint8_t {
    std::error_code error;
    return fs::exists(fs::path(runtime::Utf8(runtime::WideView(capacity, path))), error) ? 1 : 0;
  });
}

void CreateDirectoryPath(std::uint32_t capacity, const char16_t* path) {
  Shielded([&] {
    std::error_code error;
    fs::create_directories(fs::path(runtime::Utf8(runtime::WideView(capacity, path))), error);
  });
}

std::uint32_t FileCreate(TFileContext* context, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t) {
  if (context == nullptr) return kNoHandle;
  return Shielded(kNoHandle, [&] {
    const std::u16string_view wide = runtime::WideView(nameCapacity, name);
    const std::string given = runtime::Utf8(wide);
    const TFilePlace place = Place(*context, wide);
    if (!place.real.empty()) return Create(*context->disk, given, place.real);
    NoteWriteFailure(given, "its name leads to no file of the application's folder");
    return kNoHandle;
  });
}

std::uint32_t FileOpen(void* host, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t) {
  const auto* context = static_cast<const hx_main::TContext*>(host);
  if (context == nullptr || context->files == nullptr) return kNoHandle;
  return Shielded(kNoHandle, [&] {
    const TFilePlace place = Place(*context->files, runtime::WideView(nameCapacity, name));
    return place.real.empty() ? kNoHandle : Open(*context->files->disk, place.real);
  });
}

std::uint32_t FileError(std::uint32_t handle) {
  const TFile* file = Find(handle);
  return file == nullptr || file->failed ? 1 : 0;
}

std::uint32_t FileRead(std::uint32_t handle, std::uint32_t size, void* buffer, std::uint32_t count) {
  TFile* file = Find(handle);
  if (file == nullptr || buffer == nullptr || file->Writing()) return 0;
  auto* bytes = static_cast<char*>(buffer);
  return MoveAll(*file, std::min(size, count), [=](std::uint32_t done, std::uint32_t rest) {
    return file->disk->Read(file->descriptor, bytes + done, rest);
  });
}

std::uint32_t FileWrite(std::uint32_t handle, std::uint32_t size, const void* buffer, std::uint32_t count) {
  TFile* file = Find(handle);
  if (file == nullptr) return 0;
  std::uint32_t written = 0;
  if (buffer != nullptr && file->Writing()) {
    const auto* bytes = static_cast<const char*>(buffer);
    written = MoveAll(*file, std::min(size, count), [=](std::uint32_t done, std::uint32_t rest) {
      return file->disk->Write(file->descriptor, bytes + done, rest);
    });
  }
  if (written != count) file->failed = true;
  return written;
}

void FileClose(std::uint32_t handle) {
  TFile* file = Find(handle);
  if (file == nullptr) return;
  if (file->Writing()) {
    Finish(*file);
  } else {
    file->disk->Close(file->descriptor);
  }
  *file = TFile();
}

}  // namespace runlib
