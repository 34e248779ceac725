#include "archive/writing.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "archive/writer.h"
#include "live/clock.h"

namespace archive {
namespace {

constexpr double kBetweenCommits = 1.0;  // seconds
constexpr double kBetweenLooks = 0.05;
constexpr double kBetweenTries = 1.0;  // when nothing could be written
constexpr double kLastTries = 1.0;     // after the run's end

bool HangsUp(int loop, double seconds) {
  pollfd polled{loop, 0, 0};
  return poll(&polled, 1, static_cast<int>(1000.0 * seconds)) > 0;
}

class CProcess {
 public:
  CProcess(TWriting& theWriting, int theLoop)
      : writing(theWriting), loop(theLoop), qualities(theWriting.channels.size()) {}

  void Run() {
    for (;;) {
      try {
        if (WriteRows()) return;
      } catch (const TFailure& failure) {
        if (!Recover(failure.what())) return;
      }
    }
  }

 private:
  // True when the loop is gone and all is written.
  bool WriteRows() {
    const bool isOver = HangsUp(loop, writing.rows->Row(taken) == nullptr ? kBetweenLooks : 0.0);
    const double until = live::Now() + kBetweenLooks;
    bool isEmpty = false;
    while (!isEmpty && taken < writing.rows->Capacity() / 2 && live::Now() < until) {
      for (int i = 0; i < 64 && !isEmpty; ++i) isEmpty = !TakeRow();
    }
    const bool isLast = isOver && isEmpty;
    if (!isLast && taken < writing.rows->Capacity() / 2 && live::Now() < nextCommit) return false;
    nextCommit = live::Now() + kBetweenCommits;
    if (writer && isLast) writer->End();
    if (writer && !isLast) writer->Commit();
    if (taken > 0 || isLast) Succeed();
    writing.rows->Release(taken);
    taken = 0;
    if (isLast) writing.outlook->hasEnded.store(true);
    return isLast;
  }

  bool TakeRow() {
    const std::uint64_t* const row = writing.rows->Row(taken);
    if (row == nullptr) return false;
    if (!writer) {
      TRun run = writing.run;
      run.id = writing.outlook->start.load();
      run.start = static_cast<double>(run.id) * 1e-6;
      writer.emplace(writing.folder, run, writing.channels, writing.days);
    }
    const std::uint64_t* const values = row + kRowHead;
    const auto* const judged = reinterpret_cast<const std::uint8_t*>(values + writing.channels.size());
    for (std::size_t i = 0; i < writing.judged.size(); ++i) qualities[writing.judged[i]] = judged[i];
    writer->Take(row[0], row[1], reinterpret_cast<const double*>(values), qualities.data());
    ++taken;
    return true;
  }

  void Tell(const std::string& text) {
    TText told;
    std::copy_n(text.begin(), std::min(text.size(), sizeof(told.text) - 1), told.text);
    writing.texts->Put(told);
  }

  void Succeed() {
    if (writing.outlook->isFailing.exchange(false)) Tell("the archive is written again");
  }

  // Rows since the last commit are taken again. False when there is no point in waiting
  // any longer.
  bool Recover(const std::string& why) {
    writer.reset();
    taken = 0;
    if (!writing.outlook->isFailing.exchange(true)) Tell(why);
    if (!HangsUp(loop, kBetweenTries)) return true;
    if (giveUpAt == 0.0) giveUpAt = live::Now() + kLastTries;
    if (live::Now() >= giveUpAt) return false;
    pollfd nothing{-1, 0, 0};
    poll(&nothing, 1, static_cast<int>(250.0 * kBetweenTries));
    return true;
  }

  TWriting& writing;
  const int loop;
  std::vector<std::uint8_t> qualities;
  std::optional<CWriter> writer;
  std::uint64_t taken = 0;  // rows since the last commit
  double nextCommit = live::Now() + kBetweenCommits;
  double giveUpAt = 0.0;
};

}  // namespace

int Write(TWriting& writing, int loop) {
  signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is told like a full disk
  CProcess(writing, loop).Run();
  return 0;
}

}  // namespace archive
