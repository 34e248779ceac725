// The history of runs, for weeks, and views of any span of it.
//
// A folder with a file for each day of UTC, YYYY-MM-DD.sqlite; a day that is over is
// never changed again. In each:
//
//   runs      that have periods in the day: start (microseconds of the epoch), application,
//             period (seconds), whether it was simulated, the first and the last period
//             of the day, rows lost so far
//   channels  of a run: name, unit, kind
//   spans     of a channel: what its samples from a period to another were in sum. Level 0
//             is a chunk of at most 512 samples, a span of a level above joins 16 of the
//             one below; the last of a level may join fewer
//   samples   of a chunk, coded (chunk.h)
//
// A channel has a sample where its value or its quality is another than in the period
// before, and in the first period of each day: between samples it holds. A sample's time
// is the run's start and its period; so a simulated run that takes a minute for a day
// goes on into tomorrow.
#ifndef LOOPBOX_ARCHIVE_ARCHIVE_H
#define LOOPBOX_ARCHIVE_ARCHIVE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace archive {

// Times are seconds of the epoch unless they are called seconds of the run.

struct TRun {
  std::int64_t id = 0;  // its start in microseconds of the epoch
  double start = 0.0;
  std::string application;
  double period = 0.0;  // seconds
  bool isSimulated = false;
  std::uint64_t first = 0;  // periods; what was before is deleted
  std::uint64_t last = 0;
  std::uint64_t lost = 0;  // periods whose rows are lost

  // Of a period, and of a second of the run.
  double TimeOf(std::uint64_t number) const { return start + static_cast<double>(number) * period; }
};

enum class EKind : std::uint8_t { kReal, kBoolean, kInteger };

// A data element or an item of one, what a connection wrote (NAME.written), or an
// instrument's NAME.wish_value, NAME.value, NAME.output: the columns of a trace.
struct TChannel {
  std::string name;
  std::string unit;
  EKind kind = EKind::kReal;
};

// One sample, or several in sum.
struct TPoint {
  double from = 0.0;  // of the first sample
  double to = 0.0;    // of the last one
  double min = 0.0;   // NaN where no sample is a number
  double max = 0.0;
  double mean = 0.0;  // of the samples
  std::uint64_t count = 0;
  std::uint8_t quality = 0;  // the worst; 0 is good
  double first = 0.0;        // value
  double last = 0.0;         // which holds until the next point
};

struct TSeries {
  std::string channel;
  // The sample that holds at the view's begin, where there is one and none stands there.
  std::optional<TPoint> before;
  std::vector<TPoint> points;  // ascending
  double resolution = 0.0;     // seconds that a point stands for; 0: each is a sample
};

struct TView {
  std::vector<std::string> channels;
  double from = 0.0;  // from <= t < to
  double to = 0.0;
  std::size_t points = 1000;  // at most, of each channel
  // A run's id; none: all, each until the next one begins.
  std::optional<std::int64_t> run;
};

// What is asked of an export, in seconds of a run, both ends with it.
struct TExport {
  std::int64_t run = 0;
  double from = 0.0;
  double to = 0.0;
};

struct TDay {
  std::string name;        // YYYY-MM-DD
  std::uint64_t size = 0;  // bytes
};

// Reads, while a run writes too. By one thread at a time. Where an operation fails it
// leaves a message that names the file.
class CArchive {
 public:
  // Null with a message when the folder holds no archive.
  static std::unique_ptr<CArchive> Open(const std::string& folder, std::string* error);
  ~CArchive();
  CArchive(const CArchive&) = delete;
  CArchive& operator=(const CArchive&) = delete;

  // Sees what was written since Open or the last Refresh, and forgets days that were
  // deleted. View does it by itself.
  bool Refresh(std::string* error);
  const std::vector<TDay>& Days() const;  // ascending
  const std::vector<TRun>& Runs() const;  // by their starts
  // Of a run, in its order.
  std::vector<TChannel> Channels(std::int64_t run) const;

  // A series for each channel, in their order, empty for one that is unknown. No sample
  // is in two points, none of the span is left out, and so no peak is. It reads some
  // twenty thousand rows at most, however long the span.
  bool View(const TView& view, std::vector<TSeries>* series, std::string* error);

  // CSV with the seconds of the run and a column for each channel: a row at the first
  // period and at each in which a channel has a sample. False with a message when the
  // archive can't be read or the file not be written.
  bool Export(const TExport& what, std::FILE* file, std::string* error);

 private:
  struct TState;
  explicit CArchive(std::unique_ptr<TState> theState);
  std::unique_ptr<TState> state;
};

}  // namespace archive

#endif
