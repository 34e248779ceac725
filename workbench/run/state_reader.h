// What the state columns of a regulator answer.
#ifndef LOOPBOX_WORKBENCH_RUN_STATE_READER_H
#define LOOPBOX_WORKBENCH_RUN_STATE_READER_H

#include <vector>

#include "runtime/runtime.h"
#include "runtime/trace.h"

namespace workbench {

class CStateReader {
 public:
  CStateReader() = default;
  explicit CStateReader(const std::vector<runtime::TStateColumn>& columns);

  // In the order of the columns, NaN where a procedure's name does not resolve now.
  void Read(const runtime::CInstrumentHandle& instrument, std::vector<double>* values);

 private:
  // Columns of one procedure that stand together: it is called once for them.
  struct TCall {
    runtime::CProcedureName procedure;
    std::vector<runtime::TStateColumn> columns;
  };

  std::vector<TCall> calls;
  std::vector<double> arguments;  // of a call
};

}  // namespace workbench

#endif
