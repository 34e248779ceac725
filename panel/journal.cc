#include "panel/journal.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

#include "live/clock.h"
#include "panel/journal_file.h"

namespace panel {

// The writer's, which one that takes over goes on with.
struct CJournal::TShared {
  std::atomic<std::uint64_t> lines{0};
  // The line that is being written, the ring that it stands in, and what was taken of
  // that before.
  std::atomic<std::uint64_t> pending{0};
  std::atomic<std::uint64_t> pendingRing{0};
  std::atomic<std::uint64_t> pendingTaken{0};
  std::atomic<bool> isFailing{false};
  char why[kWhyLength] = {};  // stands before isFailing does
  char lastHash[65] = {};
};

namespace {

constexpr double kLocking = 1.0;                  // seconds, at most
constexpr timespec kBetweenLocks{0, 20'000'000};  // nanoseconds
constexpr int kBusy = 1;                          // milliseconds between two looks at rings that weren't empty
constexpr int kIdle = 50;                         // milliseconds
constexpr timespec kBetweenTries{0, 200'000};     // nanoseconds, of who waits for room
constexpr double kWaiting = 5.0;                  // seconds for room, at most
constexpr double kEnding = 5.0;                   // seconds, at most
constexpr double kBeforeAgain = 0.05;             // seconds

// The writer of a run that was killed is about to end.
bool Lock(int file) {
  const double until = live::Now() + kLocking;
  while (flock(file, LOCK_EX | LOCK_NB) != 0) {
    if (live::Now() > until) return false;
    clock_nanosleep(CLOCK_MONOTONIC, 0, &kBetweenLocks, nullptr);
  }
  return true;
}

}  // namespace

std::unique_ptr<CJournal> CJournal::Open(const std::string& path, bool mayWait, std::string* error) {
  const auto fail = [&](const std::string& why) {
    *error = path + ": the journal can't be written: " + why;
    return nullptr;
  };
  std::unique_ptr<CJournal> journal(new CJournal);
  journal->path = path;
  journal->waits = mayWait;
  journal->file = open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, 0644);
  if (journal->file < 0) return fail(std::strerror(errno));
  struct stat status {};
  if (fstat(journal->file, &status) != 0) return fail(std::strerror(errno));
  if (!S_ISREG(status.st_mode)) return fail("it is no regular file");
  if (!Lock(journal->file)) return fail("another run writes it");
  TJournalEnd end;
  std::string why;
  if (!ReadJournalEnd(journal->file, &end, &why)) return fail(why);
  journal->torn = end.torn;
  if (end.torn > 0 && ftruncate(journal->file, static_cast<off_t>(end.whole)) != 0) return fail(std::strerror(errno));
  journal->block = live::CSharedBlock::Make(live::PlaceBytes(sizeof(TShared)) + 2 * TJournalRing::Bytes(), &why);
  if (journal->block == nullptr) return fail(why);
  journal->shared = journal->block->Place<TShared>();
  journal->shared->lines.store(end.lines);
  for (auto& ring : journal->rings) ring = std::make_unique<TJournalRing>(*journal->block);
  live::TKeeping keeping;
  keeping.name = "journal";
  keeping.work = [writer = journal.get()](int loop) { return writer->Write(loop); };
  keeping.again = keeping.work;
  keeping.times = -1;
  keeping.alone = true;
  keeping.pause = kBeforeAgain;
  keeping.descriptors = {journal->file};
  journal->keeper = live::CKeeper::Start(keeping, &why);
  if (journal->keeper == nullptr) return fail(why);
  return journal;
}

CJournal::~CJournal() {
  keeper.reset();
  if (file >= 0) close(file);
}

void CJournal::Put(const TJournalRecord& record) {
  const double until = waits ? live::Now() + kWaiting : 0.0;
  while (!rings[0]->Put(record)) {
    waits = waits && live::Now() < until;
    if (!waits || shared->isFailing.load() || !keeper->IsAlive()) {
      ++lost;
      return;
    }
    clock_nanosleep(CLOCK_MONOTONIC, 0, &kBetweenTries, nullptr);
  }
}

std::uint64_t CJournal::Lines() const { return shared->lines.load(std::memory_order_relaxed); }
std::string CJournal::LastHash() const { return shared->lastHash; }

bool CJournal::TakeMessage(std::string* message) {
  const bool isFailing = shared->isFailing.load();
  if (isFailing && !wasFailureTold) *message = path + ": the journal can't be written: " + shared->why;
  if (std::exchange(wasFailureTold, isFailing) != isFailing) return isFailing;
  if (isFailing || lost < nextTold) return false;
  *message = path + ": the journal is behind: entries are lost, so far " + std::to_string(lost);
  nextTold = 2 * lost;
  return true;
}

bool CJournal::Finish(std::string* error) {
  const bool hasEnded = keeper->End(kEnding);
  if (hasEnded && !shared->isFailing.load() && lost == 0) return true;
  *error = path + ": the journal lacks entries: ";
  *error += shared->isFailing.load() ? shared->why : lost > 0 ? "there was no room for them" : "its writer doesn't end";
  return false;
}

// --- The writer -------------------------------------------------------------------------

int CJournal::Write(int loop) {
  signal(SIGXFSZ, SIG_IGN);  // a file too large is told like a full disk
  TJournalEnd end;
  std::string why;
  if (!ReadJournalEnd(file, &end, &why)) {
    SetText(shared->why, why);
    shared->isFailing.store(true);
    return 0;
  }
  if (end.torn > 0 && ftruncate(file, static_cast<off_t>(end.whole)) != 0) return 1;
  SetText(shared->lastHash, end.hash);
  shared->lines.store(end.lines);
  // What the one before has written, and hadn't dropped yet.
  TJournalRing& ring = *rings[shared->pendingRing.load()];
  const std::uint64_t pending = shared->pending.load();
  if (pending != 0 && end.lines == pending && ring.Taken() == shared->pendingTaken.load()) ring.Drop();
  for (bool isBusy = false;;) {
    pollfd polled{loop, 0, 0};
    const bool isLast = poll(&polled, 1, isBusy ? kBusy : kIdle) > 0;
    isBusy = WriteAll();
    if (isLast) return 0;
  }
}

bool CJournal::WriteAll() {
  bool isAny = false;
  for (std::size_t ring = 0; ring < std::size(rings); ++ring) {
    while (rings[ring]->Peek() != nullptr && WriteNext(ring)) isAny = true;
  }
  if (isAny) fdatasync(file);
  return isAny;
}

// A line or nothing.
bool CJournal::WriteNext(std::size_t ring) {
  const std::uint64_t number = shared->lines.load() + 1;
  const std::string line = JournalLine(*rings[ring]->Peek(), number, shared->lastHash);
  shared->pendingTaken.store(rings[ring]->Taken());
  shared->pendingRing.store(ring);
  shared->pending.store(number);
  const std::string bytes = line + "\n";
  const off_t before = lseek(file, 0, SEEK_END);
  std::size_t done = 0;
  ssize_t part = 0;
  while (done < bytes.size() && (part = write(file, bytes.data() + done, bytes.size() - done)) > 0) {
    done += static_cast<std::size_t>(part);
  }
  if (done < bytes.size()) {
    SetText(shared->why, std::strerror(errno));
    if (done == 0 || ftruncate(file, before) == 0) shared->isFailing.store(true);
    return false;
  }
  shared->isFailing.store(false);
  SetText(shared->lastHash, HashOfLine(line));
  shared->lines.store(number);
  rings[ring]->Drop();
  return true;
}

}  // namespace panel
