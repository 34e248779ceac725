#include "workbench/run/state_reader.h"

#include <limits>

namespace workbench {

CStateReader::CStateReader(const std::vector<runtime::TStateColumn>& columns) {
  for (const runtime::TStateColumn& column : columns) {
    const runtime::TStateColumn* const last = calls.empty() ? nullptr : &calls.back().columns[0];
    if (last == nullptr || last->procedure != column.procedure || last->argumentCount != column.argumentCount) {
      calls.push_back({runtime::CProcedureName(column.procedure), {}});
    }
    calls.back().columns.push_back(column);
  }
}

void CStateReader::Read(const runtime::CInstrumentHandle& instrument, std::vector<double>* values) {
  constexpr double kUnresolved = std::numeric_limits<double>::quiet_NaN();
  values->clear();
  for (const TCall& call : calls) {
    arguments.assign(call.columns[0].argumentCount, 0.0);
    const bool resolves = instrument.Call(call.procedure, &arguments);
    for (const runtime::TStateColumn& column : call.columns) {
      const double answer = resolves ? arguments[column.argument] : kUnresolved;
      values->push_back(column.negate ? -answer : answer);
    }
  }
}

}  // namespace workbench
