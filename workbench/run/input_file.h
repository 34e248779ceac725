// Data elements driven from recorded data: `--input`.
#ifndef LOOPBOX_WORKBENCH_RUN_INPUT_FILE_H
#define LOOPBOX_WORKBENCH_RUN_INPUT_FILE_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/csv.h"

namespace workbench {

// A CSV file whose column `time` holds ascending seconds and whose other
// columns name data elements, NAME or NAME[INDEX]. A trace is one. Elements
// that the process or an instrument's output writes stay theirs, and columns
// of other names are passed over. From the period at a row's time, and until
// that of the next row, the elements have the row's values.
class CInputFile final : public runtime::CDataLink {
 public:
  explicit CInputFile(std::string fileName) : path(std::move(fileName)) {}

  runtime::EDataLink Kind() const override { return runtime::EDataLink::kInput; }
  const char* Name() const override { return "the input"; }
  // Reads the whole file once, so that a bad row is found before the run, and
  // gives the elements the values of rows up to time 0.
  bool Open(runtime::CApplication& application, std::string* error) override;
  const std::vector<runtime::TItem>& Written() const override { return items; }
  // To the rows of times up to `time`, with a billionth of a period forgiven.
  // False when the file, read again, is no longer what it was; nothing is
  // driven any more then.
  bool BeforePeriod(double time, std::string* error) override;
  bool AfterPeriod(double, std::string*) override { return true; }
  // Which elements are driven, and which of the file's columns are not, and why.
  std::vector<std::string> Notes() const;

 private:
  struct TDriven {
    std::size_t column;
    runtime::TItem item;
    double value;  // in the row read ahead
  };

  bool MatchColumns(std::string* error);
  void Leave(const std::string& name, const std::string& reason);
  CCsvReader::EOutcome ReadAhead(std::string* error);
  bool ReadThrough(std::string* error);

  std::string path;
  runtime::CApplication* application = nullptr;
  std::unique_ptr<CCsvReader> reader;
  std::size_t timeColumn = 0;
  std::vector<TDriven> driven;
  std::vector<runtime::TItem> items;        // that are driven
  std::map<std::string, std::string> left;  // why, and the names
  double nextTime = 0.0;                    // of the row read ahead
  bool ahead = false;                       // there is such a row
};

}  // namespace workbench

#endif
