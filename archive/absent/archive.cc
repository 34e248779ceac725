// Archives where they were not built in.
#include "archive/archive.h"

#include <utility>

#include "archive/archiver.h"

namespace archive {
namespace {

constexpr char kAbsent[] = "this build of the program has no archive: it lacks libsqlite3";

}  // namespace

struct CArchive::TState {
  std::vector<TDay> days;
  std::vector<TRun> runs;
};

CArchive::CArchive(std::unique_ptr<TState> theState) : state(std::move(theState)) {}
CArchive::~CArchive() = default;

std::unique_ptr<CArchive> CArchive::Open(const std::string&, std::string* error) {
  *error = kAbsent;
  return nullptr;
}

bool CArchive::Refresh(std::string*) { return true; }
const std::vector<TDay>& CArchive::Days() const { return state->days; }
const std::vector<TRun>& CArchive::Runs() const { return state->runs; }
std::vector<TChannel> CArchive::Channels(std::int64_t) const { return {}; }
bool CArchive::View(const TView&, std::vector<TSeries>*, std::string*) { return true; }
bool CArchive::Export(const TExport&, std::FILE*, std::string*) { return true; }

struct CArchiver::TState {};

CArchiver::CArchiver(std::unique_ptr<TState> theState) : state(std::move(theState)) {}
CArchiver::~CArchiver() = default;

// NOLINTNEXTLINE(performance-unnecessary-value-param): where archives are built in it is kept.
std::unique_ptr<CArchiver> CArchiver::Start(runtime::CApplication&, TArchiving, std::string* error) {
  *error = kAbsent;
  return nullptr;
}

void CArchiver::Observe() {}
bool CArchiver::Finish(std::string*) { return true; }

}  // namespace archive
