#include "plant/modbus/modbus_link.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "live/clock.h"
#include "plant/scale.h"

namespace plant {
namespace {

template <typename TPoints>
std::vector<TRegisters> RegistersOf(const TPoints& points) {
  std::vector<TRegisters> registers(points.size());
  std::transform(points.begin(), points.end(), registers.begin(),
                 [](const auto& point) { return point.point.registers; });
  return registers;
}

// The words of a request that writes.
std::vector<std::uint16_t> Joined(const TRequest& request, const std::vector<TWords>& words,
                                  const std::vector<TRegisters>& places) {
  std::vector<std::uint16_t> joined;
  for (const std::size_t point : request.points) {
    joined.insert(joined.end(), words[point].begin(), words[point].begin() + WordsOf(places[point].type));
  }
  return joined;
}

}  // namespace

CModbusLink::CModbusLink(const TConnection& theConnection, CShare& theShare, const CControl& theControl,
                         std::shared_ptr<CLine> theLine)
    : CLink(theConnection, theShare, theControl),
      line(std::move(theLine)),
      polls(ReadRequests(RegistersOf(theConnection.inputs), theConnection.gap)),
      written(theConnection.outputs.size()) {}

void CModbusLink::Drive() {
  const double every = connection.every > 0.0 ? connection.every : control.Period();
  nextPoll = live::Now();
  while (!control.IsEnding()) {
    if (!isConnected && live::Now() >= nextTry) Connect();
    if (isConnected && isReady) WriteWhatChanged();
    if (live::Now() >= nextPoll) {
      const bool mayAsk = control.MayAsk(connection.timeout);
      if (!isConnected || (mayAsk && !Poll())) share.state->missed.fetch_add(1);
      if (isConnected && isReady && mayAsk) CountBeat();
      // What couldn't be done in its time is left out.
      nextPoll += every;
      const double late = std::floor((live::Now() - nextPoll) / every) + 1.0;
      if (late >= 1.0) {
        share.state->missed.fetch_add(static_cast<std::uint64_t>(late));
        nextPoll += late * every;
      }
    }
    Wait(isConnected ? nextPoll : std::min(nextPoll, nextTry));
  }
}

void CModbusLink::Connect() {
  std::string error;
  if (!line->Connect(&error)) {
    failures = std::max(failures, 1);  // no trying at once
    NoteFailure(error);
    return;
  }
  if (wasConnected) share.state->reconnections.fetch_add(1);
  isConnected = wasConnected = true;
  std::fill(written.begin(), written.end(), TWritten());
  if (isReady) {
    if (WriteWhatChanged()) SetWatchdog();
  } else {
    ReadBack();
  }
}

void CModbusLink::Lose(const std::string& error) {
  // Units that share the line go on with it.
  if (!connection.serial) line->Close();
  isConnected = false;
  NoteFailure(error);
}

bool CModbusLink::Poll() {
  for (TWritten& output : written) {
    if (output.wasRefused) output = TWritten();
  }
  bool isGood = true;
  std::vector<std::uint16_t> words;
  for (const TRequest& request : polls) {
    if (control.IsEnding() || !control.MayAsk(connection.timeout)) return true;
    if (isReady && !WriteWhatChanged()) return false;
    words.assign(request.count, 0);
    std::string error;
    const double before = live::Now();
    const EAnswer answer =
        line->Read(connection.unit, request.table, request.address, request.count, words.data(), &error);
    if (answer == EAnswer::kMissed) {
      Lose(error);
      return false;
    }
    NoteRoundTrip(live::Now() - before);
    const std::string subject = "read " + std::to_string(request.points[0]);
    if (answer == EAnswer::kRefused) {
      isGood = false;
      for (const std::size_t input : request.points) readings[input].quality = EQuality::kLost;
      Report(subject, PlaceOf(connection.inputs[request.points[0]].point.registers) + " can't be read: " + error);
      continue;
    }
    Clear(subject);
    for (const std::size_t input : request.points) {
      const TPoint& point = connection.inputs[input].point;
      const double raw = Unpacked(words.data() + (point.registers.address - request.address), point.registers.type,
                                  point.registers.order);
      const double value = FromRaw(raw, point.scale);
      Take(input, connection.inputs[input].isBoolean && std::isfinite(value) ? value != 0.0 : value);
    }
  }
  Publish();
  NoteSuccess();
  if (!isGood) return false;
  share.state->polls.fetch_add(1);
  if (!isReady) {
    isReady = true;
    share.state->isReady.store(true);
    SetWatchdog();
  }
  return true;
}

void CModbusLink::ReadBack() {
  for (std::size_t i = 0; i < connection.outputs.size(); ++i) {
    const TPoint& point = connection.outputs[i].point;
    TWords words{};
    std::string error;
    const EAnswer answer = ReadPoint(point.registers, &words, &error);
    if (answer == EAnswer::kMissed) {
      Lose(error);
      return;
    }
    // What the device refuses to tell isn't known.
    if (answer == EAnswer::kRefused) continue;
    const double raw = Unpacked(words.data(), point.registers.type, point.registers.order);
    share.readBack[i] = FromRaw(raw, point.scale);
  }
}

void CModbusLink::SetWatchdog() {
  if (!connection.watchdog || control.IsDry()) return;
  const auto& [point, wanted] = *connection.watchdog;
  std::string error;
  EAnswer answer = WriteWords(point, {wanted}, &error);
  TWords found{};
  if (answer == EAnswer::kGood) answer = ReadPoint(point, &found, &error);
  if (answer == EAnswer::kMissed) {
    Lose(error);
  } else if (answer == EAnswer::kRefused) {
    Report("watchdog", "the watchdog at " + PlaceOf(point) + " can't be set: " + error);
  } else if (found[0] != wanted) {
    Report("watchdog", "the watchdog at " + PlaceOf(point) + " reads " + std::to_string(found[0]) + " where " +
                           std::to_string(wanted) + " was written");
  } else {
    Clear("watchdog");
  }
}

void CModbusLink::CountBeat() {
  if (!connection.beat || control.IsDry() || control.BeatAge() > BeatLimit(control.Period())) return;
  std::string error;
  const EAnswer answer = WriteWords(*connection.beat, {++beat}, &error);
  if (answer == EAnswer::kMissed) {
    Lose(error);
  } else if (answer == EAnswer::kRefused) {
    Report("beat", "the beat at " + PlaceOf(*connection.beat) + " can't be written: " + error);
  } else {
    Clear("beat");
  }
}

bool CModbusLink::WriteWhatChanged() {
  if (control.IsDry()) return true;
  const std::span<const TWanted> wanted = share.outputs.Take();
  std::vector<std::size_t> changed;
  std::vector<TWords> words;
  std::vector<TRegisters> places;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const double value = wanted[i].value;
    if (std::isnan(value) || value == written[i].value) continue;
    const TWords packed = WordsFor(connection.outputs[i], value);
    if (written[i].value && packed == written[i].words) {
      written[i].value = value;
      continue;
    }
    changed.push_back(i);
    words.push_back(packed);
    places.push_back(connection.outputs[i].point.registers);
  }
  for (const TRequest& request : WritesInTurn(places)) {
    std::string error;
    const double before = live::Now();
    const EAnswer answer = WriteWords(places[request.points[0]], Joined(request, words, places), &error);
    if (answer == EAnswer::kMissed) {
      ++turn;
      Lose(error);
      return false;
    }
    NoteRoundTrip(live::Now() - before);
    for (const std::size_t point : request.points) {
      const std::size_t output = changed[point];
      const std::string& name = connection.outputs[output].name;
      written[output] = {wanted[output].value, words[point], answer == EAnswer::kRefused};
      if (answer == EAnswer::kRefused) {
        Report("write " + name,
               std::string(name).append(": ").append(PlaceOf(places[point])) + " can't be written: " + error);
      } else {
        Clear("write " + name);
      }
    }
  }
  return true;
}

bool CModbusLink::TrySafe(std::string* error) {
  if (!isConnected) {
    if (!line->Connect(error)) return false;
    isConnected = true;
  }
  std::vector<TWords> words;
  std::vector<TRegisters> places;
  for (const TOutput& output : connection.outputs) {
    if (!output.safe) continue;
    words.push_back(WordsFor(output, *output.safe));
    places.push_back(output.point.registers);
  }
  bool isSafe = true;
  for (const TRequest& request : WritesInTurn(places)) {
    const EAnswer answer = WriteWords(places[request.points[0]], Joined(request, words, places), error);
    if (answer == EAnswer::kMissed) {
      ++turn;
      isConnected = false;
      return false;
    }
    // Others may be written though this one can't be.
    isSafe &= answer == EAnswer::kGood;
  }
  if (!isSafe) return false;
  for (const TRequest& request : ReadRequests(places, 0)) {
    const std::vector<std::uint16_t> wanted = Joined(request, words, places);
    std::vector<std::uint16_t> found(wanted.size());
    const EAnswer answer =
        line->Read(connection.unit, request.table, request.address, request.count, found.data(), error);
    if (answer == EAnswer::kMissed) {
      isConnected = false;
      return false;
    }
    // A device may tell nothing of what can be written.
    if (answer == EAnswer::kRefused || found == wanted) continue;
    *error = PlaceOf(places[request.points[0]]) + " or what follows doesn't hold what was written";
    return false;
  }
  return true;
}

std::vector<TRequest> CModbusLink::WritesInTurn(const std::vector<TRegisters>& places) const {
  std::vector<TRequest> requests = WriteRequests(places);
  if (!requests.empty()) {
    std::rotate(requests.begin(), requests.begin() + static_cast<std::ptrdiff_t>(turn % requests.size()),
                requests.end());
  }
  return requests;
}

EAnswer CModbusLink::WriteWords(const TRegisters& first, const std::vector<std::uint16_t>& words, std::string* error) {
  return line->Write(connection.unit, first.table, first.address, words, error);
}

EAnswer CModbusLink::ReadPoint(const TRegisters& point, TWords* words, std::string* error) {
  return line->Read(connection.unit, point.table, point.address, WordsOf(point.type), words->data(), error);
}

TWords CModbusLink::WordsFor(const TOutput& output, double value) {
  const TRegisters& place = output.point.registers;
  const double raw = ToRaw(value, output.point.scale);
  bool wasLimited = false;
  const TWords words = Packed(raw, place.type, place.order, &wasLimited);
  const std::string subject = "limit " + output.name;
  if (wasLimited) {
    share.state->limited.fetch_add(1);
    Report(subject, output.name + ": what is written to " + PlaceOf(place) + " is limited to its type's range");
  } else {
    Clear(subject);
  }
  return words;
}

}  // namespace plant
