// The trace of a run as CSV.
#include "runtime/trace.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <string_view>

#include "runtime/instruments/driver.h"
#include "runtime/instruments/meters.h"
#include "runtime/runtime.h"
#include "runtime/text/number_format.h"

namespace runtime {

namespace {

constexpr std::string_view kLineEnd = "\r\n";

static_assert(static_cast<int>(EType::kReal) == 0 && static_cast<int>(EType::kBoolean) == 1 &&
              static_cast<int>(EType::kInteger) == 2);  // the order of TColumn's kinds

}  // namespace

CTrace::CTrace(CApplication& theApplication, const std::vector<TStateColumn>& stateColumns, std::FILE* theFile)
    : application(theApplication), file(theFile) {
  const CDataElements& data = StateOf(application).data;
  names.emplace_back("time");
  for (std::size_t i = 0; i < application.ElementCount(); ++i) {
    const TDataElement& element = data[static_cast<std::int32_t>(i)];
    for (std::uint32_t item = 0; item < element.count; ++item) {
      names.push_back(element.name + (element.isArray ? "[" + std::to_string(item) + "]" : ""));
      const auto kind = static_cast<TColumn::EKind>(element.type);
      columns.push_back({kind, static_cast<const std::byte*>(element.values) + item * TypeSize(element.type)});
    }
  }
  for (const CDataLink* link : StateOf(application).links) {
    const std::vector<std::string> further = link->Columns();
    for (std::size_t i = 0; i < further.size(); ++i) {
      names.push_back(further[i]);
      columns.push_back({TColumn::kLink, nullptr, linked.size()});
      linked.emplace_back(link, i);
    }
  }
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const CInstrumentHandle instrument = application.Instrument(i);
    const auto add = [&](const std::string& name, const gaugekit::CMeter& meter) {
      names.push_back(instrument.Name() + "." + name);
      columns.push_back({TColumn::kReal, &meter.meterValue});
    };
    const view::CNodeView& object = *instrument.View();
    if (instrument.IsMeter()) add("value", static_cast<const gaugekit::CMeter&>(object));
    if (instrument.PaneCount() > 0) {
      for (const TPaneName& name : kPaneNames) add(name.column, *MeterOf(object, name.pane));
    }
    for (const TStateColumn& column : stateColumns) {
      if (column.className != instrument.ClassName()) continue;
      names.push_back(instrument.Name() + "." + column.name);
      columns.push_back({TColumn::kState, nullptr, state.size()});
      state.emplace_back(instrument, column);
    }
  }
  if (file == nullptr) return;
  for (const std::string& name : names) row.append(row.empty() ? "" : ",").append(name);
  row += kLineEnd;
  Write(row.size());
  row.resize((columns.size() + 1) * (1 + kShortestLength) + kLineEnd.size());
}

void CTrace::WriteRow() {
  char* end = PutShortest(application.Time(), row.data());
  for (TColumn& column : columns) {
    *end++ = ',';
    switch (column.kind) {
      case TColumn::kReal:
        end = PutNumber(column, *static_cast<const double*>(column.value), end);
        break;
      case TColumn::kBoolean:
        *end++ = *static_cast<const std::uint8_t*>(column.value) != 0 ? '1' : '0';
        break;
      case TColumn::kInteger:
        end = PutShortest(*static_cast<const std::int32_t*>(column.value), end);
        break;
      case TColumn::kState:
        end = PutState(column, end);
        break;
      case TColumn::kLink:
        end = PutLinked(column, end);
        break;
    }
  }
  end = std::copy(kLineEnd.begin(), kLineEnd.end(), end);
  Write(static_cast<std::size_t>(end - row.data()));
}

char* CTrace::PutNumber(TColumn& column, double value, char* end) {
  static_assert(sizeof(column.lastText) == kShortestLength);
  if (std::bit_cast<std::uint64_t>(value) != std::bit_cast<std::uint64_t>(column.last)) {
    column.last = value;
    column.lastLength = static_cast<std::uint8_t>(PutShortest(value, column.lastText) - column.lastText);
  }
  std::copy_n(column.lastText, sizeof(column.lastText), end);
  return end + column.lastLength;
}

// False where the procedure's name does not resolve.
bool CTrace::CallFor(const TColumn& column, double* value) const {
  const auto& [instrument, shown] = state[column.state];
  std::vector<double> arguments(shown.argumentCount);
  if (!instrument.Call(shown.procedure, &arguments)) return false;
  *value = shown.negate ? -arguments.at(shown.argument) : arguments.at(shown.argument);
  return true;
}

char* CTrace::PutState(const TColumn& column, char* end) const {
  double value = 0.0;
  return CallFor(column, &value) ? PutShortest(value, end) : end;
}

// A text is a word or two, and as short as a number.
char* CTrace::PutLinked(const TColumn& column, char* end) const {
  const auto& [link, number] = linked[column.state];
  const TLinkCell cell = link->Cell(number);
  if (cell.text == nullptr) return std::isnan(cell.number) ? end : PutShortest(cell.number, end);
  const std::string_view text = std::string_view(cell.text).substr(0, kShortestLength);
  return std::copy(text.begin(), text.end(), end);
}

void CTrace::ReadRow(double* values) const {
  *values++ = application.Time();
  for (const TColumn& column : columns) {
    switch (column.kind) {
      case TColumn::kReal:
        *values = *static_cast<const double*>(column.value);
        break;
      case TColumn::kBoolean:
        *values = *static_cast<const std::uint8_t*>(column.value) != 0 ? 1.0 : 0.0;
        break;
      case TColumn::kInteger:
        *values = *static_cast<const std::int32_t*>(column.value);
        break;
      case TColumn::kState:
        if (!CallFor(column, values)) *values = std::numeric_limits<double>::quiet_NaN();
        break;
      case TColumn::kLink: {
        const auto& [link, number] = linked[column.state];
        const TLinkCell cell = link->Cell(number);
        *values = cell.text == nullptr ? cell.number : std::numeric_limits<double>::quiet_NaN();
        break;
      }
    }
    ++values;
  }
}

void CTrace::Write(std::size_t size) {
  if (std::fwrite(row.data(), 1, size, file) != size) failed = true;
}

bool CTrace::Flush() {
  if (std::fflush(file) != 0) failed = true;
  return !failed;
}

}  // namespace runtime
