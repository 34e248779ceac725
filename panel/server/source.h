// What a panel's server shows, and who takes what a person asks for: a run that goes
// on, or what was kept of one.
#ifndef LOOPBOX_PANEL_SERVER_SOURCE_H
#define LOOPBOX_PANEL_SERVER_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "panel/command.h"
#include "panel/definition.h"

namespace panel {

// What requests may name.
struct TNames {
  struct TAllowed {
    std::string name;
    TOperator::EKind kind = TOperator::kElement;
    std::string instrument;           // of all but kElement
    std::vector<std::string> values;  // of kParameters: their names, in the order of a command
    std::size_t arguments = 0;        // of kProcedure
    std::optional<std::pair<double, double>> range;
  };

  std::vector<TAllowed> operators;
  std::vector<std::string> alarms;  // with those of lost connections
  std::vector<std::string> instruments;
  bool isPlant = false;
};

// Of a trend. A single sample has low = high = mean.
struct TPoint {
  double time = 0.0;  // seconds of the run
  double low = 0.0;
  double high = 0.0;
  double mean = 0.0;
};

struct TTrend {
  double resolution = 0.0;                  // seconds that a point stands for; 0: each is a sample
  std::vector<std::vector<TPoint>> series;  // an item each, in ascending order of time
};

// What is remembered of items: elements as a trace names them, INSTRUMENT.wish,
// INSTRUMENT.value, INSTRUMENT.output.
class CHistory {
 public:
  virtual ~CHistory() = default;
  virtual bool Knows(const std::string& item) const = 0;
  // Of known items from <= time <= to, seconds of the run; at most so many points
  // an item, in which no extreme and no sample is lost or doubled. False with a
  // message.
  virtual bool Read(const std::vector<std::string>& items, double from, double to, std::size_t points, TTrend* trend,
                    std::string* error) = 0;
};

enum class EPicture : std::uint8_t { kSvg, kPng };

// One thread calls all of it.
class CSource {
 public:
  virtual ~CSource() = default;

  virtual const TNames& Names() const = 0;
  // JSON: what doesn't change, or seldom.
  virtual std::string Model(bool mayOperate) = 0;
  virtual CHistory& History() = 0;
  // Of an instrument, as wide and high (0: as the plug-in has it). False with a
  // message.
  virtual bool Picture(std::size_t instrument, EPicture format, int width, int height, std::string* bytes,
                       std::string* error) = 0;
  // JSON: at most `count` lines of the journal before that one (none: before its end).
  virtual std::string Journal(std::optional<std::uint64_t> before, std::size_t count) = 0;

  // Of a run that goes on. Without one there is no stream, and nobody takes commands.
  virtual bool IsLive() const { return false; }
  // Takes the newest frame, if there is one that wasn't taken.
  virtual bool TakeFrame() { return false; }
  virtual std::string Frame() { return {}; }  // JSON: of what was taken last
  virtual bool TakeAnswer(TAnswer*) { return false; }
  // Numbers the command and hands it to the loop. Null with the number in it, or why it
  // isn't taken.
  enum class ETaken : std::uint8_t { kTaken, kFull, kRefused };
  virtual ETaken Submit(TCommand*, std::string*) { return ETaken::kRefused; }
  // Keeps in the journal what was refused: who and what.
  virtual void NoteRefused(const std::string&, const std::string&, const std::string&) {}
};

}  // namespace panel

#endif
