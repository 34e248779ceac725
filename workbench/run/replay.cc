#include "workbench/run/replay.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace workbench {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestRow = std::size_t{64} << 20;  // bytes

bool ReadWhole(const std::string& path, std::string* bytes, std::string* error) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (file) text << file.rdbuf();
  if (file && !text.fail()) *bytes = text.str();
  if (!file || text.fail()) *error = path + ": the record is damaged: this can't be read";
  return file && !text.fail();
}

std::vector<std::string_view> Split(std::string_view row) {
  std::vector<std::string_view> cells;
  for (;;) {
    const std::size_t comma = row.find(',');
    cells.push_back(row.substr(0, comma));
    if (comma == std::string_view::npos) return cells;
    row.remove_prefix(comma + 1);
  }
}

std::optional<double> Number(std::string_view cell) {
  double value = 0.0;
  const auto [end, failed] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
  if (failed != std::errc() || end != cell.data() + cell.size()) return std::nullopt;
  return value;
}

}  // namespace

// Writes what recorded data wrote, in the same periods.
class CReplay::CRecordedInput final : public runtime::CDataLink {
 public:
  explicit CRecordedInput(const CReplay& theReplay) : replay(theReplay) {}

  runtime::EDataLink Kind() const override { return runtime::EDataLink::kReplay; }
  const char* Name() const override { return "the record"; }
  bool Open(runtime::CApplication& opened, std::string* error) override {
    application = &opened;
    for (const auto& [name, value] : replay.head.input) {
      if (!application->FindItem(name, &items.emplace_back(), error)) {
        *error = name + ": " + *error;
        return false;
      }
      if (value) application->SetElementValue(items.back(), *value);
    }
    last.assign(items.size(), std::nan(""));
    return true;
  }
  const std::vector<runtime::TItem>& Written() const override { return items; }
  bool ReplacesProcess() const override { return true; }
  std::vector<std::string> Columns() const override {
    std::vector<std::string> headings;
    for (const auto& [name, value] : replay.head.input) headings.push_back(name + plant::kInputColumn);
    return headings;
  }
  runtime::TLinkCell Cell(std::size_t column) const override { return {nullptr, last[column]}; }
  bool BeforePeriod(double, std::string*) override {
    for (std::size_t i = 0; i < items.size(); ++i) {
      const auto value = Number(replay.Cell(replay.head.input[i].first + plant::kInputColumn));
      last[i] = value.value_or(std::nan(""));
      if (value) application->SetElementValue(items[i], *value);
    }
    return true;
  }
  bool AfterPeriod(double, std::string*) override { return true; }

 private:
  const CReplay& replay;
  runtime::CApplication* application = nullptr;
  std::vector<runtime::TItem> items;
  std::vector<double> last;  // written in this period; NaN: nothing
};

std::unique_ptr<CReplay> CReplay::Open(const std::string& folder, std::string* error) {
  std::unique_ptr<CReplay> replay(new CReplay());
  if (!replay->ReadHead(folder, error) || !replay->OpenTrace(error)) return nullptr;
  if (!replay->head.input.empty()) replay->input = std::make_unique<CRecordedInput>(*replay);
  return replay;
}

CReplay::~CReplay() {
  if (trace != nullptr) std::fclose(trace);
  table.reset();
  if (rows != nullptr) std::fclose(rows);
  std::free(made);
}

bool CReplay::ReadHead(const std::string& folder, std::string* error) {
  const std::string path = folder + "/" + kRecordHead;
  std::string text;
  std::string problem;
  if (!ReadWhole(path, &text, error)) return false;
  if (!TRecordHead::Parse(text, &head, &problem)) {
    *error = path + ": the record is damaged: " + problem;
    return false;
  }
  std::string commandRows;
  std::uint64_t wrongLine = 0;
  const std::string commandsPath = folder + "/" + kRecordCommands;
  if (!ReadWhole(commandsPath, &commandRows, error)) return false;
  if (!ReadCommands(commandRows, &commands, &wrongLine)) {
    *error = commandsPath + ":" + std::to_string(wrongLine) + ": the record is damaged: this is no command";
    return false;
  }
  files = std::make_unique<processes::CTemporaryFolder>("replay");
  const auto copy = [&](const char* part, const std::string& name) {
    std::error_code failed;
    const fs::path to = files->Path(name);
    fs::create_directories(to.parent_path(), failed);
    fs::copy_file(fs::path(folder) / part / name, to, failed);
    if (failed) *error = folder + "/" + part + "/" + name + ": the record is damaged: " + failed.message();
    return !failed;
  };
  for (const std::string& name : head.texts) {
    if (!copy(kRecordTexts, name)) return false;
  }
  for (const std::string& name : head.files) {
    if (!copy(kRecordFiles, name)) return false;
  }
  tracePath = folder + "/" + kRecordTrace;
  return true;
}

bool CReplay::OpenTrace(std::string* error) {
  errno = 0;
  trace = std::fopen(tracePath.c_str(), "rb");
  if (trace == nullptr) {
    *error = tracePath + ": the record is damaged: " + std::strerror(errno);
    return false;
  }
  if (!ReadLine()) {
    *error = tracePath + ": the record is damaged: it has no columns";
    return false;
  }
  for (const std::string_view name : Split(line)) {
    columns.emplace(name, names.size());
    names.emplace_back(name);
  }
  return true;
}

// A whole line; false at the end.
bool CReplay::ReadLine() {
  line.clear();
  for (int c = std::fgetc(trace); c != EOF && line.size() < kLongestRow; c = std::fgetc(trace)) {
    if (c != '\n') {
      line += static_cast<char>(c);
      continue;
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    ++lineNumber;
    return true;
  }
  return false;
}

std::string CReplay::Text() const { return files->Path(head.application); }

std::string CReplay::Connections() const {
  return head.connections.empty() ? std::string() : files->Path(head.connections);
}

bool CReplay::Next(std::string* error) {
  if (!ReadLine()) return false;
  cells = Split(line);
  const std::optional<double> time = Number(cells[0]);
  const double passed = time ? std::round(*time / head.period) : 0.0;
  if (cells.size() != names.size() || !(passed > static_cast<double>(period)) || passed > 0x1p53) {
    *error = tracePath + ":" + std::to_string(lineNumber) + ": the record is damaged: this is no row of it";
    return false;
  }
  period = static_cast<std::uint64_t>(passed);
  return true;
}

std::string_view CReplay::Cell(const std::string& column) const {
  const auto found = columns.find(column);
  return found == columns.end() ? std::string_view() : cells[found->second];
}

std::optional<plant::CPast::TLatched> CReplay::Latched(const std::string& inputName) const {
  const auto quality = plant::QualityNamed(Cell(inputName + plant::kQualityColumn));
  const auto value = Number(Cell(inputName));
  if (!quality || !value) return std::nullopt;
  return TLatched{*quality, *value, Number(Cell(inputName + plant::kAgeColumn)).value_or(0.0)};
}

bool CReplay::HasBegun(const std::string& connection, std::uint64_t by) const {
  return std::any_of(head.begun.begin(), head.begun.end(),
                     [&](const TRecordHead::TBegun& one) { return one.connection == connection && one.period <= by; });
}

std::optional<double> CReplay::Found(const std::string& output) const {
  for (const TRecordHead::TBegun& one : head.begun) {
    for (const auto& [name, value] : one.found) {
      if (name == output) return value;
    }
  }
  return std::nullopt;
}

void CReplay::CompareWith(runtime::CApplication& application) {
  rows = open_memstream(&made, &madeSize);
  table.emplace(application, std::vector<runtime::TStateColumn>{}, rows);
}

std::string CReplay::Difference() {
  std::rewind(rows);
  table->WriteRow();
  table->Flush();
  const std::string_view row = std::string_view(made, madeSize).substr(0, std::string_view(made).find('\r'));
  if (row == line) return {};
  const std::vector<std::string_view> now = Split(row);
  const std::vector<std::string>& nowNames = table->Names();
  for (std::size_t i = 0; i < std::min(now.size(), cells.size()); ++i) {
    if (now[i] == cells[i] && nowNames[i] == names[i]) continue;
    if (nowNames[i] != names[i]) return "the record has the column " + names[i] + ", the run " + nowNames[i];
    return names[i] + " was " + std::string(cells[i]) + ", and is " + std::string(now[i]);
  }
  return "the record has " + std::to_string(cells.size()) + " columns, the run " + std::to_string(now.size());
}

}  // namespace workbench
