// A run as CSV.
#ifndef LOOPBOX_ARCHIVE_EXPORT_H
#define LOOPBOX_ARCHIVE_EXPORT_H

#include <cstdio>

#include "archive/archive.h"
#include "archive/folder.h"

namespace archive {

// While the folder is read. What goes wrong is thrown as TFailure.
void Export(CFolder& folder, const TExport& what, std::FILE* file);

}  // namespace archive

#endif
