// A run that goes on, as its panel's server shows it: in the server's process, on what
// it shares with the loop and on its own copy of the application.
#ifndef LOOPBOX_PANEL_SERVER_LIVE_SOURCE_H
#define LOOPBOX_PANEL_SERVER_LIVE_SOURCE_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "panel/command.h"
#include "panel/frames.h"
#include "panel/journal_record.h"
#include "panel/model.h"
#include "panel/server/journal_lines.h"
#include "panel/server/live_history.h"
#include "panel/server/samples.h"
#include "panel/server/source.h"

namespace panel {

// What the two processes share, besides frames.
struct TShare {
  TCommandRing& commands;
  TAnswerRing& answers;
  std::atomic<std::uint64_t>& number;  // of the command put last
  CSamples& samples;
  TJournalRing* refusals = nullptr;  // null: there is no journal
  std::string journal;               // its file; empty: there is none
};

TNames NamesOf(const TModel& model);

class CLiveSource final : public CSource {
 public:
  // All outlive it; `older` may be null.
  CLiveSource(CFrames& theFrames, const TModel& theModel, TShare theShare, CHistory* older);

  const TNames& Names() const override { return names; }
  std::string Model(bool mayOperate) override;
  CHistory& History() override { return history; }
  bool Picture(std::size_t instrument, EPicture format, int width, int height, std::string* bytes,
               std::string* error) override;
  std::string Journal(std::optional<std::uint64_t> before, std::size_t count) override {
    return lines.Read(before, count);
  }
  bool IsLive() const override { return true; }
  bool TakeFrame() override;
  std::string Frame() override;
  bool TakeAnswer(TAnswer* answer) override { return share.answers.Take(answer); }
  ETaken Submit(TCommand* command, std::string* why) override;
  void NoteRefused(const std::string& who, const std::string& what, const std::string& why) override;

  // The loop is gone: a run that was going on has failed.
  void LoseLoop();

 private:
  EPhase Phase() const;
  bool IsOver() const { return Phase() != EPhase::kStarting && Phase() != EPhase::kRunning; }

  CFrames& frames;
  TModel model;
  TNames names;
  TShare share;
  CLiveHistory history;
  CJournalLines lines;
  std::vector<std::size_t> columns;  // of the samples, places in a frame
  std::vector<double> values;        // of the sample added last
  std::span<const double> frame;     // taken last
  double number = 0.0;               // of it
  double refusals = 0.0;             // that may still be kept in the journal
  double refusedAt = 0.0;            // seconds of live::Now: when the last was
  bool isLost = false;
  bool hasNews = false;  // besides a frame
};

}  // namespace panel

#endif
