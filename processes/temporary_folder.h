// A folder that goes with its object, and all that is in it.
#ifndef LOOPBOX_PROCESSES_TEMPORARY_FOLDER_H
#define LOOPBOX_PROCESSES_TEMPORARY_FOLDER_H

#include <filesystem>
#include <string>

namespace processes {

class CTemporaryFolder {
 public:
  // In `place`, named after what it is for: loopbox-PURPOSE-…. Throws
  // std::runtime_error when it can't be made.
  explicit CTemporaryFolder(const std::string& purpose,
                            const std::filesystem::path& place = std::filesystem::temp_directory_path());
  CTemporaryFolder(const CTemporaryFolder&) = delete;
  CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;
  ~CTemporaryFolder();

  const std::string& Path() const { return path; }
  std::string Path(const std::string& name) const { return path + "/" + name; }

 private:
  std::string path;
};

}  // namespace processes

#endif
