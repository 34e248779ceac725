// Data elements driven from recorded data: `--input`.
#ifndef LOOPBOX_WORKBENCH_RUN_INPUT_FILE_H
#define LOOPBOX_WORKBENCH_RUN_INPUT_FILE_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/csv.h"
#include "workbench/run/time_column.h"

namespace workbench {

struct TInputSource {
  std::string path;               // "-": standard input
  std::vector<std::string> maps;  // ELEMENT=COLUMN, or time=COLUMN
  bool isRecorded = false;        // the trace has the column NAME.input of each element: what it was given
  bool waits = true;              // for a row that hasn't come yet; false: it is taken when it has
};

// A CSV file with a column of ascending times and columns of data elements: by their
// names, NAME or NAME[INDEX], or as mapped. A trace is one. Times are seconds, or ISO
// 8601, of which the first row's is 0. Elements that an instrument's output writes stay
// its, lines of the process that compute others aren't evaluated, and columns of other
// names are passed over. From the
// period at a row's time, and until that of the next row, the elements have the row's
// values. A cell that is empty, NaN or no value changes nothing; it is reported, as is
// a row that is none. The file is read once, as far as the run goes.
class CInputFile final : public runtime::CDataLink {
 public:
  using TSink = std::function<void(const runtime::TRunTimeMessage&)>;

  CInputFile(TInputSource from, TSink whoIsTold);

  runtime::EDataLink Kind() const override { return runtime::EDataLink::kInput; }
  const char* Name() const override { return "the input"; }
  // Reads the names, and gives the elements the values of rows up to time 0.
  bool Open(runtime::CApplication& application, std::string* error) override;
  const std::vector<runtime::TItem>& Written() const override { return items; }
  bool ReplacesProcess() const override { return true; }
  std::vector<std::string> Columns() const override;
  runtime::TLinkCell Cell(std::size_t column) const override;
  // To the rows of times up to `time`, with a billionth of a period forgiven.
  bool BeforePeriod(double time, std::string* error) override;
  bool AfterPeriod(double, std::string*) override { return true; }
  // Which elements are driven, and which of the file's columns are not, and why.
  std::vector<std::string> Notes() const;
  // At the end of the run: tells how many cells of each column changed nothing.
  void Finish();
  // The elements that are driven, by their columns in a trace.
  std::vector<std::string> Driven() const;

 private:
  struct TDriven {
    std::size_t column;
    runtime::TItem item;
    std::optional<double> value;  // in the row read ahead
    double given = 0.0;           // in the period done last; NaN: nothing
    std::uint64_t held = 0;       // cells that changed nothing
  };

  bool FindTimes(std::string* error);
  bool MapColumns(std::string* error);
  bool MatchColumns(std::string* error);
  std::string WhyNot(const runtime::TItem& item) const;
  void Report(double time, const std::string& problem);
  void ReadCell(TDriven& element);
  void ReadAhead();

  TInputSource source;
  TSink sink;
  runtime::CApplication* application = nullptr;
  std::unique_ptr<CCsvReader> reader;
  CTimeColumn times;
  std::set<std::size_t> taken;  // columns that mean something
  std::vector<TDriven> driven;
  std::vector<runtime::TItem> items;                     // that are driven
  std::map<std::string, std::vector<std::string>> left;  // why, and the names
  double nextTime;                                       // of the row read ahead or last
  bool ahead = false;                                    // there is such a row
  bool ended = false;
};

}  // namespace workbench

#endif
