#include "plant/link.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "live/clock.h"

namespace plant {
namespace {

constexpr double kShortestTime = 1e-6;  // of the histogram's first class, seconds
constexpr double kGrowth = 1.2;
constexpr double kLongestLook = 1e-3;  // seconds after a beat is due

}  // namespace

double BeatLimit(double period) { return std::max(3.0 * period, 1.0); }

double CControl::BeatAge() const {
  const double last = beat.last.load();
  return last == 0.0 ? std::numeric_limits<double>::infinity() : live::Now() - last;
}

double CControl::NextLook() const {
  const double now = live::Now();
  const double margin = std::min(0.05 * period, kLongestLook);
  const double last = beat.last.load();
  const double due = last == 0.0 ? now : last + period;
  return now < due ? due + margin : now + std::max(margin, 0.25 * (now - due));
}

bool CControl::MayAsk(double timeout) const {
  return beat.last.load() == 0.0 || BeatAge() <= std::max(BeatLimit(period) - timeout, period);
}

void CRoundTrips::Add(double seconds) {
  const double place = std::log(std::max(seconds, kShortestTime) / kShortestTime) / std::log(kGrowth);
  ++classes[std::min(static_cast<std::size_t>(place), classes.size() - 1)];
  ++count;
  worst = std::max(worst, seconds);
}

double CRoundTrips::Median() const {
  std::uint64_t below = 0;
  for (std::size_t i = 0; i < classes.size(); ++i) {
    below += classes[i];
    // The middle of the class, by its logarithm.
    if (2 * below >= count && count > 0) return kShortestTime * std::pow(kGrowth, static_cast<double>(i) + 0.5);
  }
  return 0.0;
}

CLink::CLink(const TConnection& theConnection, CShare& theShare, const CControl& theControl)
    : connection(theConnection), share(theShare), control(theControl), readings(theConnection.inputs.size()) {}

void CLink::MakeSafe() {
  if (!HasSafe(connection)) return;
  const double until = live::Now() + SafeBound(connection);
  std::string error;
  while (!TrySafe(&error)) {
    const double pause = std::min(connection.firstRetry, 0.1);
    if (live::Now() + pause >= until) {
      share.state->whyNotSafe = MessageOf(error);
      share.state->safe.store(ESafe::kFailed);
      return;
    }
    usleep(static_cast<useconds_t>(pause * 1e6));
  }
  share.state->safe.store(ESafe::kWritten);
}

void CLink::Report(const std::string& subject, const std::string& text) {
  // What finds no room is tried again when it happens again.
  if (reported.count(subject) == 0 && share.messages.Put(MessageOf(connection.name + ": " + text))) {
    reported.insert(subject);
  }
}

void CLink::Take(std::size_t input, double number) {
  const TInput& about = connection.inputs[input];
  TReading& reading = readings[input];
  if (!std::isfinite(number)) {
    reading.quality = EQuality::kNotFinite;
  } else if (about.range && (number < about.range->first || number > about.range->second)) {
    reading.quality = EQuality::kOutOfRange;
  } else {
    reading = {number, live::Now(), EQuality::kGood};
  }
}

void CLink::TakeAsLost() {
  for (TReading& reading : readings) reading.quality = EQuality::kLost;
  Publish();
}

void CLink::NoteRoundTrip(double seconds) {
  roundTrips.Add(seconds);
  share.state->roundTripMedian.store(roundTrips.Median(), std::memory_order_relaxed);
  share.state->roundTripWorst.store(roundTrips.Worst(), std::memory_order_relaxed);
}

void CLink::Wait(double until, int descriptor, short events) {
  if (!connection.outputs.empty() && !control.IsDry()) until = std::min(until, control.NextLook());
  pollfd polled[2] = {{share.wake, POLLIN, 0}, {descriptor, events, 0}};
  const double left = std::clamp(until - live::Now(), 0.0, 60.0);
  const timespec time{static_cast<time_t>(left), static_cast<long>((left - std::floor(left)) * 1e9)};
  ppoll(polled, 2, &time, nullptr);
  std::uint64_t count = 0;
  // It doesn't block, and only says whether there was an event.
  if ((polled[0].revents & POLLIN) != 0 && read(share.wake, &count, sizeof(count)) < 0) return;
}

void CLink::NoteFailure(const std::string& error) {
  ++failures;
  Report("answer", error);
  if (failures == 1) {
    nextTry = live::Now();
    return;
  }
  const double pause = connection.firstRetry * std::ldexp(1.0, std::min(failures - 2, 60));
  nextTry = live::Now() + std::min(pause, connection.longestRetry);
  TakeAsLost();
}

void CLink::NoteSuccess() {
  failures = 0;
  Clear("answer");
}

}  // namespace plant
