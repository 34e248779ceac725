// `loopbox classes --images`: the plug-in's images as PNG files.
#include "workbench/commands/class_images.h"

#include <filesystem>
#include <set>
#include <system_error>

#include "painting/painting.h"

namespace workbench {
namespace {

struct TImage {
  std::string name;
  const std::uint8_t* image;
};

}  // namespace

bool WriteImages(const runtime::CPlugin& plugin, const std::string& folder, std::vector<std::string>* written,
                 std::string* error) {
  if (!painting::IsBuiltIn(error)) return false;
  std::error_code failed;
  std::filesystem::create_directories(folder, failed);
  if (failed) {
    *error = folder + ": the folder can't be made: " + failed.message();
    return false;
  }
  // The plug-in's own come last: one that a class has too is named after the class.
  std::vector<TImage> images;
  for (const runtime::TClass& item : plugin.Classes()) {
    images.push_back({item.name + "-small", item.smallImage});
    images.push_back({item.name + "-large", item.largeImage});
  }
  const std::string own = std::filesystem::path(plugin.Path()).stem().string();
  images.push_back({own + "-small", plugin.SmallImage()});
  images.push_back({own + "-large", plugin.LargeImage()});
  std::set<const std::uint8_t*> done;
  for (const auto& [name, image] : images) {
    if (image == nullptr || !done.insert(image).second) continue;
    std::string bytes;
    if (!painting::IconPicture(image, &bytes, error)) {
      *error = name + ": " + *error;
      return false;
    }
    const std::string path = (std::filesystem::path(folder) / (name + ".png")).string();
    if (!painting::WritePicture(path, bytes, error)) return false;
    written->push_back(path);
  }
  return true;
}

}  // namespace workbench
