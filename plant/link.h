// What links of every kind have in common: a thread each in the links' process.
#ifndef LOOPBOX_PLANT_LINK_H
#define LOOPBOX_PLANT_LINK_H

#include <array>
#include <atomic>
#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "plant/connections.h"
#include "plant/share.h"

namespace plant {

// How old the loop's beat may be before it counts as lost, seconds.
double BeatLimit(double period);

// What all links of the process heed.
class CControl {
 public:
  CControl(const TBeat& theBeat, double thePeriod, bool isDry) : beat(theBeat), period(thePeriod), dry(isDry) {}

  bool IsEnding() const { return ending.load(); }
  void End() { ending.store(true); }
  bool IsDry() const { return dry; }
  double Period() const { return period; }
  // When a link looks at what is to be written: a little after the loop's next beat is
  // due. The later a beat is, the rarer looks become.
  double NextLook() const;
  double BeatAge() const;  // infinite before the first
  // Whether an answer that is waited for that long may delay safe values too much.
  bool MayAsk(double timeout) const;

 private:
  const TBeat& beat;
  double period;
  bool dry;
  std::atomic<bool> ending{false};
};

// Times of answers. The median is that of a histogram whose classes grow by a fifth.
class CRoundTrips {
 public:
  void Add(double seconds);
  double Median() const;
  double Worst() const { return worst; }

 private:
  std::array<std::uint32_t, 96> classes{};
  std::uint64_t count = 0;
  double worst = 0.0;
};

class CLink {
 public:
  CLink(const TConnection& connection, CShare& share, const CControl& control);
  virtual ~CLink() = default;
  CLink(const CLink&) = delete;
  CLink& operator=(const CLink&) = delete;

  // Reads and writes until the end has come.
  virtual void Drive() = 0;
  // Brings each output that has one to its safe value, and says so in the share. Tries
  // it for as long as SafeBound allows.
  void MakeSafe();
  // After MakeSafe, or without it where nothing is ever written.
  virtual void Leave() {}

 protected:
  // Connects where it isn't, writes every safe value, reads it back where that can be.
  virtual bool TrySafe(std::string* error) = 0;

  // A message, once for each subject until it is cleared.
  void Report(const std::string& subject, const std::string& text);
  void Clear(const std::string& subject) { reported.erase(subject); }

  // What an answer brings: number is in the element's units.
  void Take(std::size_t input, double number);
  void TakeAsLost();
  void Publish() { share.readings.Write(readings); }

  void NoteRoundTrip(double seconds);

  // Until then, or until something is to be looked at: `descriptor`, when it isn't
  // negative, has these events, the loop has its next outputs, or the end has come.
  void Wait(double until, int descriptor = -1, short events = 0);

  // Pauses double from the first to the longest. One failure after a good connection
  // is answered by trying at once, and values stand; with the second they are lost.
  void NoteFailure(const std::string& error);
  void NoteSuccess();

  const TConnection& connection;
  CShare& share;
  const CControl& control;
  std::vector<TReading> readings;
  double nextTry = 0.0;
  int failures = 0;  // since the last good poll

 private:
  std::set<std::string> reported;
  CRoundTrips roundTrips;
};

}  // namespace plant

#endif
