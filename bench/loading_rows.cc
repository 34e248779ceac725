// Reading applications, and what they take in memory.
#include <malloc.h>

#include <memory>
#include <string>

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
  return {[path] { Read(*path); }, static_cast<double>(count), static_cast<double>(text.size())};
}

// What malloc has given, its own headers included.
double HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

double BytesPerInstrument(TShape shape) {
  Plugin();
  shape.count = 0;
  const std::string none = Text(shape);
  shape.count = 1000;
  const std::string many = Text(shape);
  const auto bytes = [](const std::string& text) {
    const double before = HeapBytes();
    const auto application = ReadText(text);
    return HeapBytes() - before;
  };
  bytes(many);  // what is made once
  return (bytes(many) - bytes(none)) / static_cast<double>(shape.count);
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
    const std::string name = "load/" + std::to_string(count) + " instruments";
    AddRow({name, EMeasure::kRate, 50.0, [count] { return LoadBatch(count); }, {}, {}});
    AddRow({name + ", an instrument", EMeasure::kRatio, 0.0, [count] { return LoadBatch(count); }, {}, {}});
  }
}

}  // namespace bench
