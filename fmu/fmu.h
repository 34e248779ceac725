// Functional mock-up units for co-simulation (FMI 2.0): an application as one, what is
// wrong with one, and one as the process of an application.
#ifndef LOOPBOX_FMU_FMU_H
#define LOOPBOX_FMU_FMU_H

#include <functional>
#include <string>
#include <vector>

#include "runtime/runtime.h"

namespace fmu {

// Files that a unit is made of, beside the application.
struct TParts {
  std::string plugin;   // its path
  std::string shim;     // the library with the functions of the interface
  std::string program;  // the instances' process
};

struct TExport {
  std::string file;                  // the application's
  std::string tool;                  // what makes the unit, with its version
  std::vector<std::string> inputs;   // besides those that are found: NAME or NAME[INDEX]
  std::vector<std::string> outputs;  // the same
  bool keepsProcess = false;
};

// What became of the application's elements.
struct TExported {
  std::string bytes;  // of the unit, an archive
  std::vector<std::string> inputs;
  std::vector<std::string> outputs;
  std::size_t parameters = 0;
  bool keepsProcess = false;       // asked for, or because instruments read values of it that are no elements
  std::vector<std::string> notes;  // files that don't come along
};

// The application as it was read, not run yet. False with a message.
bool Export(runtime::CApplication& application, const TParts& parts, const TExport& what, TExported* made,
            std::string* error);

// A case of the check of a unit.
struct TCase {
  enum EOutcome { kPassed, kFailed, kSkipped };

  std::string name;
  EOutcome outcome = kPassed;
  std::string message;  // what is wrong, why it was skipped, or what was measured
};

// Drives a unit of anybody's through its functions, each case in a process of its own
// with some seconds of time. False with a message when it is no unit.
bool Check(const std::string& path, std::vector<TCase>* cases, std::string* error);

}  // namespace fmu

#endif
