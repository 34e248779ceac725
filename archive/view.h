// What a view shows: of each channel the finest spans that it can afford to read.
#ifndef LOOPBOX_ARCHIVE_VIEW_H
#define LOOPBOX_ARCHIVE_VIEW_H

#include <vector>

#include "archive/archive.h"
#include "archive/folder.h"

namespace archive {

// While the folder is read. What goes wrong is thrown as TFailure.
std::vector<TSeries> View(CFolder& folder, const TView& view);

}  // namespace archive

#endif
