// The files of the page, as they stood at build.
#ifndef LOOPBOX_PANEL_SERVER_ASSETS_H
#define LOOPBOX_PANEL_SERVER_ASSETS_H

#include <string_view>
#include <vector>

namespace panel {

struct TFile {
  std::string_view name;
  std::string_view content;
};

// Those of panel/page/: CMakeLists.txt makes the table.
const std::vector<TFile>& PageFiles();

// Of those, and of what all pages share: what is served as /page/NAME. Null where there is
// none.
const TFile* FindFile(std::string_view name);
const char* MediaType(std::string_view name);

}  // namespace panel

#endif
