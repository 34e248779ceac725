// Archives of units, which are zip files, in memory and unpacked.
#ifndef LOOPBOX_FMU_ARCHIVE_FILE_H
#define LOOPBOX_FMU_ARCHIVE_FILE_H

#include <string>
#include <vector>

namespace fmu {

struct TMember {
  std::string name;  // with "/" between folders
  std::string bytes;
  bool isProgram = false;
};

inline constexpr std::size_t kLargestUnit = std::size_t{1} << 30;  // bytes, unpacked

// The same members are the same bytes. False with a message.
bool Pack(const std::vector<TMember>& members, std::string* bytes, std::string* error);
// Into the folder, which is there; members that lead out of it are refused.
bool Unpack(const std::string& path, const std::string& folder, std::string* error);

}  // namespace fmu

#endif
