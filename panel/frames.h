// The frames of a run, which its loop fills and a panel's process shows.
//
//   CFrames frames(application, site, alarms, facts);  // once the application was read
//   frames.Place(block);                               // before the processes part
//   if (frames.IsDue(live::Now())) frames.Write(…);    // the loop, after a period
//   frames.Ask(live::Now()); frames.Take();            // the other process
#ifndef LOOPBOX_PANEL_FRAMES_H
#define LOOPBOX_PANEL_FRAMES_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "live/newest.h"
#include "live/shared_block.h"
#include "painting/live_panes.h"
#include "panel/alarms.h"
#include "panel/facts.h"
#include "panel/frame.h"
#include "panel/frame_layout.h"
#include "panel/site.h"
#include "runtime/runtime.h"

namespace panel {

class CFrames {
 public:
  static constexpr double kBetween = 0.05;  // seconds between two frames, at least
  static constexpr double kAskedFor = 5.0;  // seconds for which frames are written once somebody asked

  // All outlive it; `site` is null without a plant, `facts` are those of each
  // instrument.
  CFrames(runtime::CApplication& theApplication, const CSite* theSite, const CAlarms& theAlarms,
          std::vector<TFacts> theFacts);

  const TFrameLayout& Layout() const { return layout; }
  const std::vector<TFacts>& Facts() const { return facts; }
  std::size_t Bytes() const;  // that it takes of a block
  // The block outlives it.
  void Place(live::CSharedBlock& block);

  // --- Where the application runs. Nothing here allocates or waits. -----------------

  // Whether somebody looks, and the last frame is old enough; `now` as live::Now has it.
  bool IsDue(double now) const { return now >= nextDue && now < askedAt->load(std::memory_order_relaxed) + kAskedFor; }
  // Between two periods: the newest frame is the application as it stands.
  void Write(EPhase phase, double now);
  // What the next frames say of the journal.
  void SetJournal(std::uint64_t lines) { journal = lines; }

  // --- In the other process, on its copy of all this --------------------------------

  void Ask(double now) { askedAt->store(now, std::memory_order_relaxed); }
  // The newest, unchanged until the next call; all 0 before there is one.
  std::span<const double> Take() { return newest->Take(); }
  // Pictures show that frame.
  void Show(std::span<const double> frame) { panes.Show(frame.subspan(layout.panesAt)); }
  const painting::CLivePanes& Panes() const { return panes; }

 private:
  double* PutInstrument(std::size_t index, double* end);
  EMode ModeOf(std::size_t index) const;
  void AskFacts(std::size_t index);

  runtime::CApplication& application;
  const CSite* site;
  const CAlarms& alarms;
  std::vector<TFacts> facts;
  painting::CLivePanes panes;
  TFrameLayout layout;
  std::optional<live::CNewest<double>> newest;
  std::atomic<double>* askedAt = nullptr;  // by live::Now
  double nextDue = 0.0;
  std::uint64_t journal = 0;
  std::uint64_t frames = 0;
  std::vector<double> row;      // that is written next
  std::vector<double> answers;  // of the instrument asked last
};

}  // namespace panel

#endif
