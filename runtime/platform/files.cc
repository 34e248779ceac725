#include "runtime/platform/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
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
  Shielded(false, [&] {
    WriteFailure() = "'" + name + "' can't be written: " + why;
    return true;
  });
}

// Moves bytes until all have moved, the file ends, or an error is met.
template <typename TMove>
std::uint32_t MoveAll(TFile& file, std::uint32_t count, TMove move) {
  std::uint32_t done = 0;
  while (done < count) {
    const ssize_t moved = move(file.descriptor, done, count - done);
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
constexpr mode_t kFileMode = 0666;  // less the process's mask

// What the names of a file's temporaries begin with; a process and a number follow.
std::string TemporaryPrefix(const fs::path& target) {
  return "." + target.filename().native().substr(0, kNamePart) + ".tmp-";
}

// A temporary is locked from its making to its renaming, so that one without a
// lock is what a killed process left behind.
void RemoveLeftovers(const fs::path& target) {
  const std::string prefix = TemporaryPrefix(target);
  std::error_code error;
  for (fs::directory_iterator entry(target.parent_path(), error), end; !error && entry != end; entry.increment(error)) {
    if (!entry->path().filename().native().starts_with(prefix)) continue;
    const int descriptor = open(entry->path().c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) continue;
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) unlink(entry->path().c_str());
    close(descriptor);
  }
}

// A new temporary, locked; -1 with errno when there can be none. One that was
// removed before it could be locked counts as a name that exists.
int OpenTemporary(const fs::path& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
  if (descriptor < 0) return -1;
  struct stat status;
  flock(descriptor, LOCK_EX);  // where files can't be locked, none is ever found without a lock
  if (fstat(descriptor, &status) == 0 && status.st_nlink > 0) return descriptor;
  close(descriptor);
  errno = EEXIST;
  return -1;
}

std::uint32_t Create(const std::string& name, const fs::path& target) {
  struct stat status;
  const bool exists = stat(target.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    NoteWriteFailure(name, std::strerror(S_ISDIR(status.st_mode) ? EISDIR : EINVAL));
    return runlib::kNoHandle;
  }

  RemoveLeftovers(target);
  static unsigned number = 0;
  const std::uint32_t handle = FreeHandle();
  TFile file;
  file.name = name;
  file.target = target;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    file.temporary =
        target.parent_path() / (TemporaryPrefix(target) + std::to_string(getpid()) + "-" + std::to_string(number++));
    file.descriptor = OpenTemporary(file.temporary);
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
bool FlushFolder(const fs::path& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool flushed = fsync(descriptor) == 0;
  close(descriptor);
  return flushed;
}

void Finish(TFile& file) {
  if (!file.failed && (fsync(file.descriptor) != 0 || std::rename(file.temporary.c_str(), file.target.c_str()) != 0)) {
    file.failed = true;
    file.error = errno;
  }
  if (file.failed) unlink(file.temporary.c_str());
  close(file.descriptor);
  if (file.failed) {
    NoteWriteFailure(file.name, file.error != 0 ? std::strerror(file.error) : "a write fell short");
  } else {
    Shielded(false, [&] { return FlushFolder(file.target.parent_path()); });
  }
}

std::uint32_t Open(const fs::path& path) {
  const std::uint32_t handle = FreeHandle();
  // Not blocking, so that a pipe is refused rather than waited for.
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return runlib::kNoHandle;
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(descriptor);
    return runlib::kNoHandle;
  }
  Files()[handle].descriptor = descriptor;
  return handle;
}

}  // namespace

namespace runtime {

runlib::TFileContext MakeFileContext(std::string_view folder) {
  fs::path path = fs::absolute(folder.empty() ? fs::path(".") : fs::path(folder)).lexically_normal();
  if (!path.has_filename() && path.has_relative_path()) path = path.parent_path();
  return {path.native()};
}

bool LeavesFolder(const runlib::TFileContext& context, std::u16string_view name) {
  // Where it can't be told, opening the file will not succeed either.
  return Shielded(false, [&] { return Place(context, name).leaves; });
}

std::string TakeWriteFailure() { return std::exchange(WriteFailure(), std::string()); }

}  // namespace runtime

namespace runlib {

void ExpandFileName(TFileContext* context, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t pathCapacity,
                    char16_t* path) {
  WStrAssign(pathCapacity, path, 0, nullptr);
  if (context == nullptr) return;
  Shielded(false, [&] {
    const std::u16string full = runtime::Utf16(Place(*context, runtime::WideView(nameCapacity, name)).path.native());
    if (full.size() <= pathCapacity) runtime::AssignWide(pathCapacity, path, full);
    return true;
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
  Shielded(false, [&] {
    std::error_code error;
    return fs::create_directories(fs::path(runtime::Utf8(runtime::WideView(capacity, path))), error);
  });
}

std::uint32_t FileCreate(TFileContext* context, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t) {
  if (context == nullptr) return kNoHandle;
  return Shielded(kNoHandle, [&] {
    const std::u16string_view wide = runtime::WideView(nameCapacity, name);
    const std::string given = runtime::Utf8(wide);
    const TFilePlace place = Place(*context, wide);
    if (!place.real.empty()) return Create(given, place.real);
    NoteWriteFailure(given, "its name leads to no file of the application's folder");
    return kNoHandle;
  });
}

std::uint32_t FileOpen(void* host, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t) {
  const auto* context = static_cast<const hx_main::TContext*>(host);
  if (context == nullptr || context->files == nullptr) return kNoHandle;
  return Shielded(kNoHandle, [&] {
    const TFilePlace place = Place(*context->files, runtime::WideView(nameCapacity, name));
    return place.real.empty() ? kNoHandle : Open(place.real);
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
  return MoveAll(*file, std::min(size, count), [bytes](int descriptor, std::uint32_t done, std::uint32_t rest) {
    return read(descriptor, bytes + done, rest);
  });
}

std::uint32_t FileWrite(std::uint32_t handle, std::uint32_t size, const void* buffer, std::uint32_t count) {
  TFile* file = Find(handle);
  if (file == nullptr) return 0;
  std::uint32_t written = 0;
  if (buffer != nullptr && file->Writing()) {
    const auto* bytes = static_cast<const char*>(buffer);
    written = MoveAll(*file, std::min(size, count), [bytes](int descriptor, std::uint32_t done, std::uint32_t rest) {
      return write(descriptor, bytes + done, rest);
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
    close(file->descriptor);
  }
  *file = TFile();
}

}  // namespace runlib
