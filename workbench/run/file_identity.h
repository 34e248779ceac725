// Whether two names lead to one file, be it there or not.
#ifndef LOOPBOX_WORKBENCH_RUN_FILE_IDENTITY_H
#define LOOPBOX_WORKBENCH_RUN_FILE_IDENTITY_H

#include <compare>
#include <cstdint>
#include <optional>
#include <string>

namespace workbench {

// A file that is there by itself; one that isn't by its folder and its name there.
struct TFileIdentity {
  std::uint64_t device;
  std::uint64_t number;  // the system's, of the file or the folder
  std::string name;      // empty: it is there

  auto operator<=>(const TFileIdentity& other) const = default;  // NOLINT(modernize-use-nullptr): it has none
};

// Links are followed, also one that leads to no file yet. None where the name can
// lead to no file.
std::optional<TFileIdentity> IdentityOf(const std::string& name);
// None where the descriptor is no regular file's.
std::optional<TFileIdentity> IdentityOf(int descriptor);

}  // namespace workbench

#endif
