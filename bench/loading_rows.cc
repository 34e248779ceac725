// Reading applications, and what they take in memory.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/applications.h"
#include "bench/rows.h"

namespace bench {

namespace {

// About 400 bytes an instrument, as a person would write it.
std::string LoadedText(std::size_t count) {
  TShape shape;
  shape.count = count;
  return Text(shape);
}

TBatch LoadBatch(std::size_t count) {
  const std::string text = LoadedText(count);
  const auto path = std::make_shared<std::string>(FilePath("load.lbx"));
  WriteFile(*path, text);
  const auto loaded = std::make_shared<std::vector<std::unique_ptr<runtime::CApplication>>>();
  return {[path, loaded] { loaded->push_back(Read(*path)); }, static_cast<double>(count),
          static_cast<double>(text.size()), [loaded] { loaded->clear(); }};
}

// What the process holds in memory, whoever asked for it.
double ResidentBytes() {
  std::ifstream statistics("/proc/self/statm");
  double pages = 0.0;
  statistics >> pages >> pages;
  return pages * static_cast<double>(sysconf(_SC_PAGESIZE));
}

// What a figure is in a process that has not taken any memory for it yet.
double InChild(const std::function<double()>& figure) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  const pid_t child = fork();
  if (child == 0) {
    const double found = figure();
    _exit(write(ends[1], &found, sizeof(found)) == sizeof(found) ? 0 : 1);
  }
  double found = 0.0;
  if (child < 0 || read(ends[0], &found, sizeof(found)) != sizeof(found)) std::abort();
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  return found;
}

double BytesPerInstrument(TShape shape) {
  Plugin();
  const auto bytes = [&shape](std::size_t count) {
    shape.count = count;
    const std::string path = FilePath("memory.lbx");
    WriteFile(path, Text(shape));
    const double before = ResidentBytes();
    const auto application = Read(path);
    return ResidentBytes() - before;
  };
  constexpr std::size_t kFew = 10'000;  // with what is made once
  constexpr std::size_t kMany = 50'000;
  return (InChild([&] { return bytes(kMany); }) - InChild([&] { return bytes(kFew); })) / (kMany - kFew);
}

}  // namespace

void AddLoadingRows() {
  for (const char* className : {"pid_regulator", "boolean_regulator", "step_regulator"}) {
    TShape shape;
    shape.className = className;
    const bool isPid = shape.className == "pid_regulator";
    AddRow({std::string("memory/") + className, EMeasure::kAmount, isPid ? 10240.0 : 0.0, {}, {}, [shape] {
              return BytesPerInstrument(shape);
            }});
  }
  for (const std::size_t count : {1000, 10000, 100000}) {
    const int batches = count == 100000 ? 5 : 25;
    const std::string name = "load/" + std::to_string(count) + " instruments";
    AddRow({name, EMeasure::kRate, 50.0, [count] { return LoadBatch(count); }, {}, {}, batches});
    AddRow({name + ", an instrument", EMeasure::kRatio, 0.0, [count] { return LoadBatch(count); }, {}, {}, batches});
  }
}

}  // namespace bench
