#include "archive/archive.h"

#include <utility>

#include "archive/export.h"
#include "archive/folder.h"
#include "archive/view.h"

namespace archive {

struct CArchive::TState {
  explicit TState(const std::string& folder) : days(folder) {}

  CFolder days;
};

CArchive::CArchive(std::unique_ptr<TState> theState) : state(std::move(theState)) {}
CArchive::~CArchive() = default;

std::unique_ptr<CArchive> CArchive::Open(const std::string& folder, std::string* error) {
  std::unique_ptr<CArchive> archive(new CArchive(std::make_unique<TState>(folder)));
  if (!archive->Refresh(error)) return nullptr;
  if (archive->Days().empty()) {
    *error = folder + ": holds no archive";
    return nullptr;
  }
  return archive;
}

bool CArchive::Refresh(std::string* error) {
  try {
    const CFolder::CReading reading(state->days);
    return true;
  } catch (const TFailure& failure) {
    *error = failure.what();
    return false;
  }
}

const std::vector<TDay>& CArchive::Days() const { return state->days.Days(); }
const std::vector<TRun>& CArchive::Runs() const { return state->days.Runs(); }

std::vector<TChannel> CArchive::Channels(std::int64_t run) const { return state->days.Channels(run); }

bool CArchive::View(const TView& view, std::vector<TSeries>* series, std::string* error) {
  series->clear();
  try {
    const CFolder::CReading reading(state->days);
    *series = archive::View(state->days, view);
    return true;
  } catch (const TFailure& failure) {
    *error = failure.what();
    return false;
  }
}

bool CArchive::Export(const TExport& what, std::FILE* file, std::string* error) {
  try {
    const CFolder::CReading reading(state->days);
    archive::Export(state->days, what, file);
    return true;
  } catch (const TFailure& failure) {
    *error = failure.what();
    return false;
  }
}

}  // namespace archive
