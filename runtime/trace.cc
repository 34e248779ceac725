// The trace of a run as CSV.
#include "runtime/number_format.h"
#include "runtime/runtime.h"

namespace runtime {

namespace {

// Panes in the order of their columns, which is not that of registration.
constexpr struct {
  const char* name;
  EPane pane;
} kPaneColumns[] = {{"wish_value", kWishPane}, {"value", kValuePane}, {"output", kOutputPane}};

}  // namespace

CTrace::CTrace(CApplication& theApplication, std::vector<TStateColumn> columns, std::FILE* theFile)
    : application(theApplication), file(theFile) {
  row = "time";
  for (std::size_t i = 0; i < application.ElementCount(); ++i) {
    const TElement element = application.Element(i);
    if (element.length == 0) {
      row += "," + element.name;
    } else {
      for (std::size_t item = 0; item < element.length; ++item) {
        row += "," + element.name + "[" + std::to_string(item) + "]";
      }
    }
    lengths.push_back(element.length == 0 ? 1 : element.length);
  }
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const CInstrumentHandle instrument = application.Instrument(i);
    if (instrument.IsMeter()) row += "," + instrument.Name() + ".value";
    if (instrument.PaneCount() > 0) {
      for (const auto& column : kPaneColumns) row += "," + instrument.Name() + "." + column.name;
    }
    for (const TStateColumn& column : columns) {
      if (column.className != instrument.ClassName()) continue;
      row += "," + instrument.Name() + "." + column.name;
      state.emplace_back(i, column);
    }
  }
  WriteLine();
}

void CTrace::WriteRow() {
  row.clear();
  AppendShortest(application.Time(), &row);
  for (std::size_t i = 0; i < lengths.size(); ++i) {
    for (std::size_t item = 0; item < lengths[i]; ++item) Put(application.ElementValue(i, item));
  }
  auto column = state.begin();
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const CInstrumentHandle instrument = application.Instrument(i);
    if (instrument.IsMeter()) Put(instrument.MeterValue());
    if (instrument.PaneCount() > 0) {
      for (const auto& pane : kPaneColumns) Put(instrument.Pane(pane.pane).value);
    }
    for (; column != state.end() && column->first == i; ++column) PutState(instrument, column->second);
  }
  WriteLine();
}

void CTrace::PutState(const CInstrumentHandle& instrument, const TStateColumn& column) {
  std::vector<double> arguments(column.argumentCount);
  if (instrument.Call(column.procedure, &arguments)) {
    Put(column.negate ? -arguments.at(column.argument) : arguments.at(column.argument));
  } else {
    row += ',';
  }
}

void CTrace::Put(double value) {
  row += ',';
  AppendShortest(value, &row);
}

void CTrace::WriteLine() {
  row += "\r\n";
  if (std::fwrite(row.data(), 1, row.size(), file) != row.size()) failed = true;
}

bool CTrace::Flush() {
  if (std::fflush(file) != 0) failed = true;
  return !failed;
}

}  // namespace runtime
