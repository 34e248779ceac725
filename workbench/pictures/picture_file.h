// A picture that a run is to write.
#ifndef LOOPBOX_WORKBENCH_PICTURES_PICTURE_FILE_H
#define LOOPBOX_WORKBENCH_PICTURES_PICTURE_FILE_H

#include <string>
#include <vector>

namespace workbench {

// Before the application is read: false with a message when the picture can't
// be made. An empty name is no picture.
bool PreparePicture(const std::string& fileName, std::string* error);

}  // namespace workbench

#endif
