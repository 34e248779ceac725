#include "panel/server/assets.h"

#include <algorithm>

#include "page/assets.h"
#include "page/page.h"

namespace panel {
namespace {

const std::vector<TFile>& ServedFiles() {
  static const std::vector<TFile> files = [] {
    std::vector<TFile> all = PageFiles();
    const auto scripts = page::PlottingScripts();
    const auto styles = page::SharedStyles();
    all.insert(all.end(), {{"dygraph.min.js", scripts[0]},
                           {"plots.js", scripts[1]},
                           {"dygraph.min.css", styles[0]},
                           {"theme.css", styles[1]}});
    return all;
  }();
  return files;
}

}  // namespace

const TFile* FindFile(std::string_view name) {
  const std::vector<TFile>& files = ServedFiles();
  const auto found = std::find_if(files.begin(), files.end(), [name](const TFile& file) { return file.name == name; });
  return found == files.end() ? nullptr : &*found;
}

const char* MediaType(std::string_view name) {
  if (name.ends_with(".html")) return "text/html; charset=utf-8";
  return name.ends_with(".css") ? "text/css; charset=utf-8" : "text/javascript; charset=utf-8";
}

}  // namespace panel
