// A long run of all classes, twice at once in two processes.
//   loopbox_soak PLUGIN APPLICATION PERIODS
// Demands that both runs show the same values, that the clock of every period
// is exact, and that from the 1,000th period on the memory in use stays the
// same to the byte. Exit status 0 when all holds, else 1.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "host/panes.h"
#include "processes/child.h"
#include "runtime/platform/memory.h"
#include "runtime/runtime.h"

namespace {

// What operator new gave and operator delete has not taken back, as asked for.
std::uint64_t liveBytes = 0;

// Stands in front of each block, which it keeps aligned.
struct alignas(std::max_align_t) THeader {
  std::size_t size;
};

}  // namespace

// These replace the library's for the whole process: program, runtime and
// plug-in. The other forms of new and delete come down to them.
void* operator new(std::size_t size) {
  auto* header = static_cast<THeader*>(std::malloc(sizeof(THeader) + size));
  if (header == nullptr) throw std::bad_alloc();
  header->size = size;
  liveBytes += size;
  return header + 1;
}

void operator delete(void* block) noexcept {
  if (block == nullptr) return;
  THeader* header = static_cast<THeader*>(block) - 1;
  liveBytes -= header->size;
  std::free(header);
}

void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

namespace {

constexpr std::uint64_t kPeriodTenths = 8645;  // of a millisecond, a period
constexpr std::uint64_t kWarmUp = 1000;        // periods in which memory may grow
constexpr std::uint64_t kCheckpoints = 1000;

// What one of the two runs tells the other process that compares them.
struct TCheckpoint {
  std::uint64_t periods = 0;
  std::uint64_t values = 0;  // a hash of all that a trace would hold so far
  std::uint64_t restarts = 0;
  std::uint64_t wrongClocks = 0;
  std::uint64_t pluginBlocks = 0;
  std::uint64_t pluginBytes = 0;
  std::uint64_t heapBytes = 0;  // of operator new, in the whole process
  std::uint64_t residentKilobytes = 0;
  std::uint64_t messages = 0;
};

// Mixes a value's bits in, so that each later one depends on all before.
void Mix(double value, std::uint64_t* hash) {
  *hash = std::rotl((*hash ^ std::bit_cast<std::uint64_t>(value)) * 0x9E3779B97F4A7C15u, 29);
}

// From the whole time in tenths of a millisecond, without any rounding but the last.
std::uint64_t ExactClock(std::uint64_t period) {
  return (period * kPeriodTenths + 5) / 10 % vcore::kMillisecondsPerDay;
}

std::uint64_t ResidentKilobytes() {
  std::uint64_t kilobytes = 0;
  std::FILE* file = std::fopen("/proc/self/status", "r");
  if (file == nullptr) return 0;
  std::array<char, 256> line;
  while (std::fgets(line.data(), line.size(), file) != nullptr) {
    if (std::strncmp(line.data(), "RssAnon:", 8) == 0) kilobytes = std::strtoull(line.data() + 8, nullptr, 10);
  }
  std::fclose(file);
  return kilobytes;
}

class CSoak {
 public:
  // False with a message when the application can't be run.
  bool Load(const std::string& pluginPath, const std::string& path, std::uint64_t periods) {
    std::string error;
    plugin = runtime::CPlugin::Load(pluginPath, &error);
    if (!plugin) return Refuse(error);
    runtime::TReadOptions options;
    options.path = path;
    options.period = static_cast<double>(kPeriodTenths) / 1e4;
    options.duration = static_cast<double>(periods) * *options.period;
    std::vector<runtime::TDiagnostic> diagnostics;
    application = runtime::CApplication::Read(options, *plugin, &diagnostics);
    if (!application) return Refuse(diagnostics.front().message);
    if (application->PeriodCount() != periods) return Refuse("the duration holds another number of periods");
    application->SetMessageSink([this](const runtime::TRunTimeMessage&) { ++point.messages; });
    for (std::size_t i = 0; i < application->ElementCount(); ++i) lengths.push_back(application->Element(i).length);
    return true;
  }

  void Step() {
    application->Step();
    const std::uint64_t clock = vcore::GetTimeMS();
    ++point.periods;
    if (clock != ExactClock(point.periods)) ++point.wrongClocks;
    if (clock < lastClock) ++point.restarts;
    lastClock = clock;
    Mix(application->Time(), &point.values);
    for (std::size_t i = 0; i < lengths.size(); ++i) Mix(application->ElementValue(i, 0), &point.values);
    for (std::size_t i = 0; i < application->InstrumentCount(); ++i) {
      const runtime::CInstrumentHandle instrument = application->Instrument(i);
      if (instrument.IsMeter()) Mix(instrument.MeterValue(), &point.values);
      for (std::size_t pane = 0; pane < instrument.PaneCount(); ++pane) {
        Mix(instrument.Pane(pane).value, &point.values);
      }
    }
  }

  TCheckpoint Checkpoint() {
    const runtime::TMemoryStatistics memory = runtime::MemoryStatistics();
    point.pluginBlocks = memory.blocks;
    point.pluginBytes = memory.bytes;
    point.heapBytes = liveBytes;
    point.residentKilobytes = ResidentKilobytes();
    return point;
  }

 private:
  static bool Refuse(const std::string& message) {
    std::fprintf(stderr, "loopbox_soak: %s\n", message.c_str());
    return false;
  }

  std::unique_ptr<runtime::CPlugin> plugin;
  std::unique_ptr<runtime::CApplication> application;
  std::vector<std::size_t> lengths;
  TCheckpoint point;
  std::uint64_t lastClock = 0;
};

// One of the two runs, in a process of its own.
int RunToEnd(const char* const* arguments, std::uint64_t periods, int pipe) {
  CSoak soak;
  if (!soak.Load(arguments[1], arguments[2], periods)) return 1;
  const std::uint64_t stride = std::max(kWarmUp, periods / kCheckpoints);
  for (std::uint64_t k = 1; k <= periods; ++k) {
    soak.Step();
    if (k != kWarmUp && k % stride != 0 && k != periods) continue;
    const TCheckpoint point = soak.Checkpoint();
    if (write(pipe, &point, sizeof point) != sizeof point) return 1;
  }
  return 0;
}

void Print(const TCheckpoint& point, double seconds) {
  std::printf(
      "%12llu periods  %6llu restarts of the clock  plug-in %llu bytes in %llu blocks  heap %llu bytes  "
      "resident %llu kB  values %016llx  %.0f s\n",
      static_cast<unsigned long long>(point.periods), static_cast<unsigned long long>(point.restarts),
      static_cast<unsigned long long>(point.pluginBytes), static_cast<unsigned long long>(point.pluginBlocks),
      static_cast<unsigned long long>(point.heapBytes), static_cast<unsigned long long>(point.residentKilobytes),
      static_cast<unsigned long long>(point.values), seconds);
  std::fflush(stdout);
}

// What is wrong with a checkpoint of the two runs; null when nothing is.
const char* Fault(const TCheckpoint& first, const TCheckpoint& one, const TCheckpoint& other) {
  if (one.periods != other.periods || one.values != other.values) return "the two runs differ";
  if (one.messages != 0) return "run-time errors were reported";
  if (one.wrongClocks != 0) return "the clock of a period is not exact";
  if (one.restarts != (one.periods * kPeriodTenths + 5) / 10 / vcore::kMillisecondsPerDay)
    return "a restart was missed";
  for (const TCheckpoint& point : {one, other}) {
    if (point.pluginBlocks != first.pluginBlocks || point.pluginBytes != first.pluginBytes) {
      return "the plug-in's memory changed";
    }
    if (point.heapBytes != first.heapBytes) return "the process's memory changed";
  }
  return nullptr;
}

int Soak(const char* const* arguments, std::uint64_t periods) {
  const auto start = std::chrono::steady_clock::now();
  const auto run = [&](int pipe) { return RunToEnd(arguments, periods, pipe); };
  processes::CChild runners[] = {processes::CChild(run), processes::CChild(run)};
  TCheckpoint first;
  TCheckpoint points[2];
  const char* fault = nullptr;
  double nextLine = 0.0;
  while (fault == nullptr && points[0].periods < periods) {
    for (std::size_t i = 0; i < 2; ++i) {
      if (read(runners[i].Answer(), &points[i], sizeof points[i]) != sizeof points[i]) fault = "a run ended early";
    }
    if (fault != nullptr) break;
    if (first.periods == 0) first = points[0];
    fault = Fault(first, points[0], points[1]);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (fault == nullptr && seconds < nextLine && points[0].periods != periods) continue;
    Print(points[0], seconds);
    if (fault != nullptr) Print(points[1], seconds);
    nextLine = seconds + 10.0;
  }
  for (processes::CChild& runner : runners) {
    if (fault == nullptr && runner.Wait() != 0) fault = "a run did not end well";
  }
  if (fault != nullptr) {
    std::printf("failed after %llu periods: %s\n", static_cast<unsigned long long>(points[0].periods), fault);
    return 1;
  }
  std::printf("passed: both runs equal, each clock exact, memory the same since period %llu\n",
              static_cast<unsigned long long>(first.periods));
  return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  std::uint64_t periods = 0;
  if (argumentCount == 4) {
    const char* const end = arguments[3] + std::strlen(arguments[3]);
    const auto [rest, error] = std::from_chars(arguments[3], end, periods);
    if (error != std::errc() || rest != end || periods > 100'000'000'000) periods = 0;
  }
  if (periods <= kWarmUp) {
    std::fprintf(stderr, "usage: loopbox_soak PLUGIN APPLICATION PERIODS\nPERIODS is a whole number of %llu to 10^11\n",
                 static_cast<unsigned long long>(kWarmUp) + 1);
    return 2;
  }
  return Soak(arguments, periods);
}
