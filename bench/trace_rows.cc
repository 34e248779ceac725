// Traces written to a file in memory, each row with its period: of the six
// numbers of an instrument three stay as they are, as wish values do.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/applications.h"
#include "bench/rows.h"
#include "runtime/trace.h"

namespace bench {

namespace {

constexpr std::size_t kRewind = std::size_t{1} << 28;  // bytes; the file is written anew from here

// An open file with its buffer, as the workbench opens traces.
struct TTraced {
  explicit TTraced(const TShape& shape)
      : running(Text(shape)), file(std::fopen(FilePath("trace.csv").c_str(), "wb")), buffer(std::size_t{1} << 20) {
    if (file == nullptr) std::abort();
    std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
    trace = std::make_unique<runtime::CTrace>(*running, std::vector<runtime::TStateColumn>(), file);
    running.Step(3);
    Row();  // its length serves for all
  }
  ~TTraced() {
    trace.reset();
    std::fclose(file);
  }
  void Row() {
    const long before = std::ftell(file);
    trace->WriteRow();
    rowBytes = static_cast<std::size_t>(std::ftell(file) - before);
  }
  CBenchRun running;
  std::FILE* file;
  std::vector<char> buffer;
  std::unique_ptr<runtime::CTrace> trace;
  std::size_t rowBytes = 0;
};

TBatch TraceBatch(std::size_t count, bool perRow) {
  TShape shape;
  shape.count = count;
  auto traced = std::make_shared<TTraced>(shape);
  const std::size_t rows = std::max<std::size_t>(1, (std::size_t{1} << 20) / traced->rowBytes);
  return {[traced, rows] {
            for (std::size_t i = 0; i < rows; ++i) {
              traced->running.Step();
              traced->trace->WriteRow();
            }
            if (std::ftell(traced->file) > static_cast<long>(kRewind)) std::rewind(traced->file);
          },
          perRow ? static_cast<double>(rows) : static_cast<double>(rows * (1 + 2 + 6 * count)),
          static_cast<double>(rows * traced->rowBytes)};
}

}  // namespace

void AddTraceRows() {
  for (const std::size_t count : {1, 10, 100, 1000}) {
    const std::string name = "trace/" + std::to_string(3 + 6 * count) + " columns";
    AddRow({name, EMeasure::kRate, 200.0, [count] { return TraceBatch(count, false); }, {}, {}});
    AddRow({name + ", a row", EMeasure::kRatio, 0.0, [count] { return TraceBatch(count, true); }, {}, {}});
  }
}

}  // namespace bench
