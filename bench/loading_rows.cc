// Reading applications, and what they take in memory.
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/applications.h"
#include "bench/rows.h"
#include "processes/child.h"

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
  processes::CChild child([&figure](int answer) {
    const double found = figure();
    return write(answer, &found, sizeof(found)) == sizeof(found) ? 0 : 1;
  });
  double found = 0.0;
  if (read(child.Answer(), &found, sizeof(found)) != sizeof(found)) std::abort();
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
  for (const runtime::TClass& item : Plugin().Classes()) {
    TShape shape;
    shape.className = item.name;
    const double target = item.name == "pid_regulator" ? 10240.0 : 0.0;
    AddRow({"memory/" + item.name, EMeasure::kAmount, target, {}, {}, [shape] { return BytesPerInstrument(shape); }});
  }
  for (const std::size_t count : {1000, 10000, 100000}) {
    const int batches = count == 100000 ? 5 : 25;
    const std::string name = "load/" + std::to_string(count) + " instruments";
    AddRow({name, EMeasure::kRate, 50.0, [count] { return LoadBatch(count); }, {}, {}, batches});
    AddRow({name + ", an instrument", EMeasure::kRatio, 0.0, [count] { return LoadBatch(count); }, {}, {}, batches});
  }
}

}  // namespace bench
