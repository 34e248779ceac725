// What links to a plant cost the loop: periods on the wall clock, each with the time of
// its thread's own processor clock that it took, and by how much it began late.
//
//   loopbox_paced PLUGIN APPLICATION CONNECTIONS PERIOD COUNT [drive]
//
// simulates the application with the connections of another text, or drives the plant.
// A line of five figures, of all periods but those of the first second, in which memory is
// met for the first time: work at the median and at p99.9, lateness at the median and at
// p99.9, all in microseconds; and how many periods began late since the one before was
// still at work.
#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "plant/plant.h"
#include "runtime/runtime.h"

namespace {

constexpr std::int64_t kSecond = 1'000'000'000;  // nanoseconds

std::int64_t Now(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec * kSecond + now.tv_nsec;
}

// In microseconds.
double Quantile(std::vector<std::int64_t>& nanoseconds, double share) {
  const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(nanoseconds.size() - 1));
  std::nth_element(nanoseconds.begin(), nanoseconds.begin() + place, nanoseconds.end());
  return static_cast<double>(nanoseconds[static_cast<std::size_t>(place)]) / 1e3;
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "%s\n", message.c_str());
  return 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 6) return Fail("loopbox_paced PLUGIN APPLICATION CONNECTIONS PERIOD COUNT [drive]");
  const std::uint64_t periods = std::strtoull(arguments[5], nullptr, 10);
  std::string error;
  const auto plugin = runtime::CPlugin::Load(arguments[1], &error);
  if (plugin == nullptr) return Fail(error);
  plant::CConnectionsReader connections;
  runtime::TReadOptions reading;
  reading.path = arguments[2];
  reading.period = std::strtod(arguments[4], nullptr);
  reading.duration = static_cast<double>(periods) * *reading.period;
  reading.blocks = {&connections};
  reading.blockFiles = {{connections.Keyword(), arguments[3]}};
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto application = runtime::CApplication::Read(reading, *plugin, &diagnostics);
  if (application == nullptr) return Fail(diagnostics.front().message);
  plant::TPlantOptions options;
  options.report = options.note = [](const runtime::TRunTimeMessage& message) {
    std::fprintf(stderr, "t=%g s: %s\n", message.time, message.text.c_str());
  };
  if (count > 6 && !plant::ReadPlantWords(connections.Connections(), "", &options, &error)) return Fail(error);
  plant::CPlant plant(connections.Connections(), options);
  if (!application->AddLink(plant, &error)) return Fail(error);

  const auto settled = static_cast<std::uint64_t>(1.0 / application->Period());
  std::vector<std::int64_t> work;
  std::vector<std::int64_t> lateness;
  std::uint64_t overrun = 0;
  const auto step = static_cast<std::int64_t>(application->Period() * 1e9);
  std::int64_t due = Now(CLOCK_MONOTONIC) + step;
  for (std::uint64_t i = 0; i < periods; ++i, due += step) {
    if (Now(CLOCK_MONOTONIC) > due) ++overrun;
    const timespec until{due / kSecond, due % kSecond};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    const std::int64_t late = Now(CLOCK_MONOTONIC) - due;
    const std::int64_t begun = Now(CLOCK_THREAD_CPUTIME_ID);
    if (!application->Step()) return Fail(application->LinkError());
    const std::int64_t worked = Now(CLOCK_THREAD_CPUTIME_ID) - begun;
    if (i < settled) continue;
    lateness.push_back(late);
    work.push_back(worked);
  }
  if (work.empty()) return Fail("more periods than those of the first second, please");
  std::printf("%.2f %.2f %.2f %.2f %llu\n", Quantile(work, 0.5), Quantile(work, 0.999), Quantile(lateness, 0.5),
              Quantile(lateness, 0.999), static_cast<unsigned long long>(overrun));
  std::string failure;
  if (!plant.Finish(&failure)) return Fail(failure);
  application->End();
  return 0;
}
