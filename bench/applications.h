// Applications of many instruments of one class, for the bench.
#ifndef LOOPBOX_BENCH_APPLICATIONS_H
#define LOOPBOX_BENCH_APPLICATIONS_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "runtime/runtime.h"

namespace bench {

// Where the bench keeps its files: a folder in memory, where there is one, that
// goes with the program.
std::string FilePath(const std::string& name);
void WriteFile(const std::string& path, const std::string& text);

runtime::CPlugin& Plugin();

// Reads a text; ends the program with what is wrong.
std::unique_ptr<runtime::CApplication> Read(const std::string& path);
std::unique_ptr<runtime::CApplication> ReadText(const std::string& text);

struct TShape {
  std::string className = "pid_regulator";
  std::size_t count = 1;
  std::string law = "classical";
  bool sine = false;      // in the expression of the controlled quantity
  bool event = false;     // a script's OnOutput that returns its arguments
  int historyPanes = 0;   // of wish value and value, as curves of 100
  bool adaptive = false;  // identification and synthesis in each period
};

// The kinds that are measured, by name.
const std::vector<std::pair<std::string, TShape>>& Shapes();
bool FindShape(const std::string& name, TShape* shape);

// Each instrument: wish value `sp * 0.5`, quantity `pv + ramp`, condition `run`,
// one element written (of two outputs the plus one), three meters. The
// element `ramp`, common to all, is to be varied from period to period.
std::string Text(const TShape& shape);

// An application that runs on and on, its `ramp` varied.
class CBenchRun final : private runtime::CDataLink {
 public:
  explicit CBenchRun(const std::string& text);
  // Runs so many periods.
  void Step(std::size_t periods = 1);
  runtime::CApplication& operator*() const { return *application; }

 private:
  runtime::EDataLink Kind() const override { return runtime::EDataLink::kInput; }
  const char* Name() const override { return "the bench"; }
  bool Open(runtime::CApplication&, std::string*) override { return true; }
  const std::vector<runtime::TItem>& Written() const override { return ramps; }
  bool BeforePeriod(double time, std::string* error) override;
  bool AfterPeriod(double, std::string*) override { return true; }

  std::unique_ptr<runtime::CApplication> application;
  std::vector<runtime::TItem> ramps;  // the element that is varied
  std::size_t done = 0;
};

}  // namespace bench

#endif
