// The operations of panel/kept_panel.h in a build without the panel.
#include "panel/kept_panel.h"

namespace panel {

namespace {
constexpr char kNoKeptPanel[] = "this build of the program has no panel: it lacks libmicrohttpd";
}  // namespace

std::unique_ptr<CKeptPanel> CKeptPanel::OfTrace(const TKeptTrace&, std::string* error) {
  *error = kNoKeptPanel;
  return nullptr;
}

std::unique_ptr<CKeptPanel> CKeptPanel::OfArchive(const std::string&, std::string* error) {
  *error = kNoKeptPanel;
  return nullptr;
}

std::unique_ptr<CHistory> FollowArchive(const std::string&, double) { return nullptr; }

}  // namespace panel
