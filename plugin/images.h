// The images of the library and of its classes, in the icon format.
#ifndef LOOPBOX_PLUGIN_IMAGES_H
#define LOOPBOX_PLUGIN_IMAGES_H

#include <cstdint>

namespace loopbox {

enum EImage : std::uint32_t {
  kLibraryLargeImage,
  kPidSmallImage,  // the library's small one too
  kPidLargeImage,
  kBooleanSmallImage,
  kBooleanLargeImage,
  kStepSmallImage,
  kStepLargeImage,
  kImageCount,
};

extern const std::uint8_t* images[kImageCount];

// Fills the table above; may be called any number of times.
void FillImageTable();

}  // namespace loopbox

#endif
