// Functional mock-up units where they were not built in.
#include "fmu/fmu.h"

#include "fmu/process.h"

namespace fmu {
namespace {

constexpr char kAbsent[] = "this build of the program has no units: it lacks libzip or expat";

}  // namespace

bool Export(runtime::CApplication&, const TParts&, const TExport&, TExported*, std::string* error) {
  *error = kAbsent;
  return false;
}

bool Check(const std::string&, std::vector<TCase>*, std::string* error) {
  *error = kAbsent;
  return false;
}

std::unique_ptr<runtime::CDataLink> LinkOf(const TUnitProcess&, std::string* error) {
  *error = kAbsent;
  return nullptr;
}

}  // namespace fmu
