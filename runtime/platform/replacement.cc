#include "runtime/platform/replacement.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace runtime {

namespace {

constexpr std::size_t kNamePart = 200;  // bytes of the name that a temporary's name repeats; 255 are allowed in all
constexpr int kAttempts = 100;
constexpr mode_t kRights = 0777;
constexpr mode_t kWritable = 0222;

// The sticky bit, which means nothing on a file, tells a temporary of ours from
// another's file with such a name. Where it can't be stored, leftovers stay.
constexpr mode_t kOurMark = S_ISVTX;

// What the names of a file's temporaries begin with; a process and a number follow.
std::string TemporaryPrefix(const std::string& name) { return "." + name.substr(0, kNamePart) + ".tmp-"; }

bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool IsTemporaryName(std::string_view name, std::string_view prefix) {
  if (!name.starts_with(prefix)) return false;
  name.remove_prefix(prefix.size());
  const std::size_t dash = name.find('-');
  return dash != std::string_view::npos && IsNumber(name.substr(0, dash)) && IsNumber(name.substr(dash + 1));
}

bool IsOurs(const struct stat& status) {
  return S_ISREG(status.st_mode) && (status.st_mode & kOurMark) != 0 && status.st_nlink == 1 &&
         status.st_uid == geteuid();
}

}  // namespace

std::string Reason(int error) {
  return error == EXDEV ? "its name leads out of the application's folder" : std::strerror(error);
}

bool CReplacement::Begin(CDisk& theDisk, TPlaceBeneath thePlace, std::string* why) {
  disk = &theDisk;
  place = std::move(thePlace);
  if (!Examine(why)) return false;
  RemoveLeftovers();
  static unsigned number = 0;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    temporary = TemporaryPrefix(place.name) + std::to_string(getpid()) + "-" + std::to_string(number++);
    descriptor = OpenTemporary();
    if (descriptor >= 0) return true;
    if (errno != EEXIST) break;
  }
  *why = Reason(errno);
  return false;
}

// What is to be replaced must be a file that may be written.
bool CReplacement::Examine(std::string* why) {
  struct stat status;
  if (fstatat(place.folder.Number(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return true;
    *why = Reason(errno);
  } else if (!S_ISREG(status.st_mode)) {
    *why = S_ISDIR(status.st_mode) ? Reason(EISDIR) : "it is no file that can be replaced";
  } else if ((status.st_mode & kWritable) == 0) {  // the superuser may write it all the same
    *why = "it is read-only";
  } else if (const CDescriptor writable(
                 disk->Open(place.folder.Number(), place.name, O_WRONLY | O_NOFOLLOW | O_NONBLOCK));
             !writable.IsOpen()) {
    *why = Reason(errno);
  } else {
    exists = true;
    mode = status.st_mode & kRights;
    user = status.st_uid;
    group = status.st_gid;
    return true;
  }
  return false;
}

// A temporary is locked from its making to its renaming, so that one without a
// lock is what a killed process left behind.
void CReplacement::RemoveLeftovers() {
  CDescriptor listed(openat(place.folder.Number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!listed.IsOpen()) return;
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(listed.Number()), closedir);
  if (!entries) return;
  listed.Release();
  const std::string prefix = TemporaryPrefix(place.name);
  while (const dirent* entry = readdir(entries.get())) {
    if (!IsTemporaryName(entry->d_name, prefix)) continue;
    const CDescriptor left(disk->Open(place.folder.Number(), entry->d_name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW));
    struct stat status;
    if (!left.IsOpen() || fstat(left.Number(), &status) != 0 || !IsOurs(status)) continue;
    if (flock(left.Number(), LOCK_EX | LOCK_NB) == 0) disk->Remove(place.folder.Number(), entry->d_name);
  }
}

// A new temporary, locked; -1 with errno when there can be none. When another
// process removed it before it was locked, its name counts as one that exists.
int CReplacement::OpenTemporary() {
  const int made = disk->Open(place.folder.Number(), temporary, O_WRONLY | O_CREAT | O_EXCL, mode | kOurMark);
  if (made < 0) return -1;
  struct stat status;
  flock(made, LOCK_EX);  // where files can't be locked, leftovers stay
  if (fstat(made, &status) == 0 && status.st_nlink > 0) return made;
  disk->Close(made);
  errno = EEXIST;
  return -1;
}

bool CReplacement::KeepRights(std::string* why) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) {
    *why = Reason(errno);
    return false;
  }
  if (!exists) mode = status.st_mode & kRights;
  const bool isOwned = !exists || (status.st_uid == user && status.st_gid == group);
  if (!isOwned && disk->SetOwner(descriptor, user, group) != 0) {
    *why = "its owner can't be kept: " + Reason(errno);
    return false;
  }
  if (disk->SetMode(descriptor, mode | kOurMark) == 0 || disk->SetMode(descriptor, mode) == 0) return true;
  *why = "its mode can't be kept: " + Reason(errno);
  return false;
}

bool CReplacement::Finish(std::string* why) {
  bool done = KeepRights(why);
  if (done && (disk->Flush(descriptor) != 0 || disk->Rename(place.folder.Number(), temporary, place.name) != 0)) {
    *why = Reason(errno);
    done = false;
  }
  if (!done) {
    Abandon();
    return false;
  }
  // The mark goes last: a process that is killed before leaves a temporary of ours.
  disk->SetMode(descriptor, mode);
  disk->Close(std::exchange(descriptor, -1));
  FlushFolder();
  return true;
}

void CReplacement::Abandon() {
  disk->Remove(place.folder.Number(), temporary);
  disk->Close(std::exchange(descriptor, -1));
}

// Makes a rename last; where a folder can't be flushed there is no more to do.
void CReplacement::FlushFolder() {
  const CDescriptor folder(disk->Open(place.folder.Number(), ".", O_RDONLY | O_DIRECTORY));
  if (folder.IsOpen()) disk->Flush(folder.Number());
}

}  // namespace runtime
