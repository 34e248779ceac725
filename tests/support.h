// What the tests share: a loaded plug-in, applications from text, and single
// instruments driven by hand.
#ifndef LOOPBOX_TESTS_SUPPORT_H
#define LOOPBOX_TESTS_SUPPORT_H

#include <array>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/gaugekit.h"
#include "processes/temporary_folder.h"
#include "runtime/instruments/driver.h"
#include "runtime/runtime.h"

namespace tests {

std::string BuildPath(const std::string& name);   // in the build folder
std::string SourcePath(const std::string& name);  // in the tree
runtime::CPlugin& Plugin();                       // loopbox.so, loaded once

class CFolder : public processes::CTemporaryFolder {
 public:
  CFolder() : CTemporaryFolder("test") {}
  std::string Write(const std::string& name, const std::string& text) const;  // yields its path
};

std::string ReadFile(const std::string& path);

std::string Replaced(std::string text, const std::string& what, const std::string& by);  // everywhere
// The rows below [SECTION] in a file of tests/, each as its cells between bars; no
// rows at all fail the test. Lines that begin with # are comments.
std::vector<std::vector<std::string>> TableRows(const std::string& file, const std::string& section);

// The plug-in's classes, in their order.
std::vector<std::string> ClassNames();
// What its events hand over: "R" a continuous output, "l" a two-state one, "ll" the
// steps of an incremental one.
std::string EventLetters(const std::string& className);

// An application of one regulator `reg` with these entries: `x` against `wish`
// while `run`, its output in `u` (continuous), `on` (two-state) or `plus` and
// `minus` (incremental); `hand` is free.
std::string OneRegulator(const std::string& className, const std::string& entries, const std::string& period = "1");

// A parameter file's bytes: the law's code, then theta 0 to 4, the forgetting
// coefficient and rho.
using TLearnt = std::array<double, 7>;
std::string ParameterFile(std::uint32_t law, const TLearnt& learnt);

// An application from text, in a folder of its own, with what it reports.
class CRun {
 public:
  explicit CRun(const std::string& text, runtime::TReadOptions options = {});
  // In that folder, as NAME.
  CRun(const CFolder& place, const std::string& name, const std::string& text, runtime::TReadOptions options = {});

  bool IsRead() const { return application != nullptr; }
  // The diagnostics as the program prints them, "FILE" for the path.
  std::string Diagnostics() const;
  // What was not read can't be used: its diagnostics are thrown.
  runtime::CApplication& operator*() const {
    if (application == nullptr) throw std::runtime_error(Diagnostics());
    return *application;
  }
  runtime::CApplication* operator->() const { return &**this; }

  runtime::TApplicationState& State() const { return runtime::StateOf(**this); }

  void Steps(std::uint64_t count);
  double Value(const std::string& element, std::size_t item = 0) const;
  void SetValue(const std::string& element, double value, std::size_t item = 0) const;
  runtime::CInstrumentHandle Instrument(const std::string& name) const;
  hx_vinst::CInstrument& Object(const std::string& name) const;
  // The meters of a regulator by pane, or the meter itself.
  gaugekit::CMeter& Meter(const std::string& name, runtime::EPane pane = runtime::kOutputPane) const;
  // Calls a procedure by its identifier name; fails the test when it fails.
  std::vector<double> Call(const std::string& instrument, const std::string& procedure,
                           std::vector<double> arguments) const;
  std::string Trace();  // of the whole run, CSV
  // What a host does when a definition was changed: the same object reads anew,
  // up to this offset of the text. False: it refused.
  bool ReadAgain(std::size_t instrument, std::uint32_t end) const;

  std::vector<runtime::TRunTimeMessage> messages;
  std::vector<std::string> printed;
  std::vector<runtime::TDiagnostic> diagnostics;

 private:
  void Read(const CFolder& place, const std::string& name, const std::string& text, runtime::TReadOptions options);

  std::unique_ptr<CFolder> own;
  std::unique_ptr<runtime::CApplication> application;
};

// Runs a command line by the shell; yields its exit status.
struct TOutcome {
  int status;
  std::string output;  // standard output and error together
};
TOutcome Shell(const std::string& command);
// The program with these arguments.
TOutcome Loopbox(const std::string& arguments);

// What a text must contain, in whatever order; what an outcome must be.
void ExpectParts(const std::string& text, const std::vector<std::string>& parts);
void ExpectOutcome(const TOutcome& outcome, int status, const std::vector<std::string>& parts);
struct TCall {
  std::string arguments;
  int status;
  std::vector<std::string> parts;
};

}  // namespace tests

#endif
