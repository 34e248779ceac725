// An application with the plug-in that it needs and what it has told so far: what
// the module's objects share.
#ifndef LOOPBOX_PYTHON_SESSION_H
#define LOOPBOX_PYTHON_SESSION_H

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/runtime.h"
#include "runtime/trace.h"

namespace python {

// Chooses the language of the messages from now on: "en", which it is from the
// start, or that of a file NAME.lang beside the plug-in; "cs" needs none.
bool ChooseLanguage(const std::string& name, std::string* error);

// None of it knows Python. Whoever calls holds the runtime's turn: one thread at a
// time.
class CSession {
 public:
  // `plugin` is a path, empty for the plug-in that belongs to the module. A row of
  // the trace is kept every `every` periods; 0: none. Null when something is wrong:
  // an error in the diagnostics tells what.
  static std::unique_ptr<CSession> Read(runtime::TReadOptions options, const std::string& plugin, std::uint64_t every,
                                        std::vector<runtime::TDiagnostic>* diagnostics);
  CSession(const CSession&) = delete;
  CSession& operator=(const CSession&) = delete;

  runtime::CApplication& Application() const { return *application; }
  // At most `count` periods, and no further one once a tenth of a second has
  // passed; yields how many, 0 at the end of the run.
  std::uint64_t Step(std::uint64_t count);
  // -1: there is none.
  std::ptrdiff_t FindElement(const std::string& name) const { return Find(elements, name); }
  std::ptrdiff_t FindInstrument(const std::string& name) const { return Find(instruments, name); }

  const std::vector<std::string>& Columns() const { return trace->Names(); }
  const std::vector<double>& Rows() const { return rows; }  // one after another
  const std::vector<runtime::TDiagnostic>& Warnings() const { return warnings; }
  const std::vector<runtime::TRunTimeMessage>& Messages() const { return messages; }
  const std::vector<std::string>& Printed() const { return printed; }

 private:
  using TNumbers = std::unordered_map<std::string, std::size_t>;

  CSession() = default;
  static std::ptrdiff_t Find(const TNumbers& numbers, const std::string& name);

  std::unique_ptr<runtime::CPlugin> plugin;  // outlives the application
  std::unique_ptr<runtime::CApplication> application;
  TNumbers elements;
  TNumbers instruments;
  std::unique_ptr<runtime::CTrace> trace;
  std::uint64_t every = 1;
  std::vector<double> rows;
  std::vector<runtime::TDiagnostic> warnings;
  std::vector<runtime::TRunTimeMessage> messages;
  std::vector<std::string> printed;
};

}  // namespace python

#endif
