// Any bytes in the place of some of a day's file. What is damaged is told with the file's
// name, and what is shown ascends.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>

#include "archive/archive.h"
#include "archive/days.h"
#include "archive/writer.h"
#include "fuzz/harness.h"

namespace {

// A folder with a small day that has two runs' chunks of all kinds, and levels.
struct TDay {
  TDay() {
    for (const std::int64_t start : {1795600000000000, 1795610000000000}) {
      archive::TRun run;
      run.id = start;
      run.start = static_cast<double>(run.id) * 1e-6;
      run.period = 0.01;
      run.application = "fuzz";
      archive::CWriter writer(folder.Path(), run, {{"a", "K", {}}, {"b", "", archive::EKind::kBoolean}}, 0);
      for (std::uint64_t period = 1; period < 600; ++period) {
        const double values[] = {static_cast<double>(period % 7), static_cast<double>(period / 40 % 2)};
        const std::uint8_t qualities[] = {static_cast<std::uint8_t>(period % 100 == 0), 0};
        writer.Take(period, 0, values, qualities);
      }
      writer.End();
    }
    path = archive::DayPath(folder.Path(), archive::DayOf(1795600000.0));
    bytes = tests::ReadFile(path);
  }

  tests::CFolder folder;
  std::string path;
  std::string bytes;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TDay day;
  fuzz::CBytes bytes(data, size);
  std::string damaged = day.bytes;
  if (bytes.Below(8) == 0) {
    damaged = bytes.Rest();
  } else {
    while (!bytes.IsAtEnd()) {
      const std::size_t at = bytes.Word() % damaged.size();
      damaged[at] = static_cast<char>(bytes.Byte());
    }
  }
  archive::DeleteDay(day.folder.Path(), archive::DayOf(1795600000.0));  // with what stands beside it
  std::ofstream(day.path, std::ios::binary) << damaged;
  std::string error;
  const auto archive = archive::CArchive::Open(day.folder.Path(), &error);
  const auto check = [&](bool succeeded) {
    fuzz::Check(succeeded || error.find(".sqlite: ") != std::string::npos, "what is damaged is told by its name");
  };
  check(archive != nullptr);
  if (archive == nullptr) return 0;
  const double start = 1795600000.0;
  for (const double span : {0.5, 20000.0}) {
    archive::TView view;
    view.channels = {"a", "b"};
    view.from = start + 1.0;
    view.to = view.from + span;
    view.points = 100;
    std::vector<archive::TSeries> all;
    check(archive->View(view, &all, &error));
    for (const archive::TSeries& series : all) {
      double last = -HUGE_VAL;
      for (const archive::TPoint& point : series.points) {
        fuzz::Check(point.from > last && point.to >= point.from && point.count > 0, "points ascend");
        last = point.to;
      }
    }
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> nothing(std::fopen("/dev/null", "wb"), std::fclose);
  for (const archive::TRun& run : std::vector<archive::TRun>(archive->Runs())) {
    check(archive->Export({run.id, 0.0, 1e9}, nothing.get(), &error));
  }
  return 0;
}
