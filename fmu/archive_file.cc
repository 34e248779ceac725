#include "fmu/archive_file.h"

#include <zip.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>
#include <system_error>

namespace fmu {
namespace {

namespace fs = std::filesystem;

constexpr zip_uint32_t kFileMode = 0100644U << 16;
constexpr zip_uint32_t kProgramMode = 0100755U << 16;
constexpr time_t kDate = 315619200;  // 1980-01-02, which archives can say in any time zone
constexpr std::size_t kPiece = 1 << 16;

struct TDiscard {
  void operator()(zip_t* archive) const { zip_discard(archive); }
  void operator()(zip_file_t* file) const { zip_fclose(file); }
  void operator()(zip_source_t* source) const { zip_source_free(source); }
};
template <typename TWhat>
using THeld = std::unique_ptr<TWhat, TDiscard>;

bool Add(zip_t* archive, const TMember& member) {
  zip_source_t* const source = zip_source_buffer(archive, member.bytes.data(), member.bytes.size(), 0);
  if (source == nullptr) return false;
  const zip_int64_t place = zip_file_add(archive, member.name.c_str(), source, ZIP_FL_ENC_UTF_8);
  if (place < 0) {
    zip_source_free(source);
    return false;
  }
  const auto index = static_cast<zip_uint64_t>(place);
  // Quickly: most of it is programs.
  return zip_set_file_compression(archive, index, ZIP_CM_DEFLATE, 1) == 0 &&
         zip_file_set_mtime(archive, index, kDate, 0) == 0 &&
         zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX,
                                          member.isProgram ? kProgramMode : kFileMode) == 0;
}

// A path inside, without steps up.
bool StaysInside(const fs::path& name) {
  if (name.empty() || name.is_absolute()) return false;
  for (const fs::path& part : name) {
    if (part == "..") return false;
  }
  return true;
}

bool UnpackMember(zip_t* archive, zip_uint64_t index, const fs::path& folder, std::size_t* left, std::string* error) {
  const char* const given = zip_get_name(archive, index, ZIP_FL_ENC_GUESS);
  const std::string name = given == nullptr ? "" : given;
  if (!StaysInside(name)) {
    *error = "it has a file whose name leads out of it: " + name;
    return false;
  }
  std::error_code problem;
  const fs::path path = folder / name;
  if (name.back() == '/') {
    fs::create_directories(path, problem);
    return true;
  }
  fs::create_directories(path.parent_path(), problem);
  const THeld<zip_file_t> file(zip_fopen_index(archive, index, 0));
  std::ofstream unpacked(path, std::ios::binary);
  char bytes[kPiece];
  zip_int64_t count = file == nullptr || !unpacked ? -1 : 1;
  while (count > 0) {
    count = zip_fread(file.get(), bytes, sizeof(bytes));
    if (count > static_cast<zip_int64_t>(*left)) count = -1;
    if (count <= 0) break;
    *left -= static_cast<std::size_t>(count);
    unpacked.write(bytes, count);
  }
  unpacked.flush();
  if (count == 0 && unpacked) return true;
  *error = name + " in it can't be unpacked";
  return false;
}

}  // namespace

bool Pack(const std::vector<TMember>& members, std::string* bytes, std::string* error) {
  zip_error_t problem;
  zip_error_init(&problem);
  const THeld<zip_source_t> made(zip_source_buffer_create(nullptr, 0, 0, &problem));
  if (made == nullptr) {
    *error = "the unit can't be packed";
    return false;
  }
  zip_source_keep(made.get());
  zip_t* const archive = zip_open_from_source(made.get(), ZIP_TRUNCATE, &problem);
  if (archive == nullptr) zip_source_free(made.get());
  bool isWhole = archive != nullptr;
  for (const TMember& member : members) isWhole = isWhole && Add(archive, member);
  if (archive != nullptr && (!isWhole || zip_close(archive) != 0)) {
    zip_discard(archive);
    isWhole = false;
  }
  zip_stat_t size;
  if (isWhole && zip_source_stat(made.get(), &size) == 0 && zip_source_open(made.get()) == 0) {
    bytes->resize(size.size);
    isWhole = zip_source_read(made.get(), bytes->data(), size.size) == static_cast<zip_int64_t>(size.size);
    zip_source_close(made.get());
  }
  if (!isWhole) *error = "the unit can't be packed";
  return isWhole;
}

bool Unpack(const std::string& path, const std::string& folder, std::string* error) {
  int code = 0;
  const THeld<zip_t> archive(zip_open(path.c_str(), ZIP_RDONLY, &code));
  if (archive == nullptr) {
    zip_error_t problem;
    zip_error_init_with_code(&problem, code);
    *error = path + ": it can't be opened as a unit: " + zip_error_strerror(&problem);
    zip_error_fini(&problem);
    return false;
  }
  std::size_t left = kLargestUnit;
  const zip_int64_t count = zip_get_num_entries(archive.get(), 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    if (UnpackMember(archive.get(), static_cast<zip_uint64_t>(i), folder, &left, error)) continue;
    *error = path + ": " + *error;
    return false;
  }
  return true;
}

}  // namespace fmu
