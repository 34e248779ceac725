#include "workbench/run/loop_record.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>

#include "plant/plant.h"
#include "workbench/csv.h"
#include "workbench/run/record_head.h"
#include "workbench/run/time_column.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr double kUnevenness = 0.05;        // of the distance of rows: clocks jitter
constexpr double kMostMissing = 0.2;        // of all rows
constexpr std::size_t kMostRows = 1 << 20;  // with those that are missing
constexpr char kGood[] = "good";

class CLoopRecordReader {
 public:
  CLoopRecordReader(const TTunedLoop& theLoop, const std::vector<std::string>& theMaps, double thePeriod)
      : loop(theLoop), maps(theMaps), period(thePeriod) {}

  bool Read(const std::string& path, TLoopRecord* record, std::string* error);

 private:
  bool FindColumns(std::string* error);
  bool CheckMaps(std::string* error) const;
  // By the map of one of the names, or the first of them that heads a column.
  bool FindColumn(const std::string& what, const std::vector<std::string>& names, std::size_t* column,
                  std::string* error) const;
  bool ReadRows(std::string* error);
  bool Arrange(TLoopRecord* record, std::string* error) const;
  double CellOf(std::size_t column) const;
  std::string OfFile(const std::string& problem) const { return path + ": " + problem; }

  const TTunedLoop& loop;
  const std::vector<std::string>& maps;
  const double period;
  std::string path;
  std::unique_ptr<CCsvReader> reader;
  CTimeColumn times;
  std::size_t value = 0;
  std::size_t output = 0;
  std::ptrdiff_t quality = -1;

  struct TRow {
    double time;
    double value;   // NaN: none
    double output;  // NaN: none
  };
  std::vector<TRow> rows;
};

bool CLoopRecordReader::Read(const std::string& name, TLoopRecord* record, std::string* error) {
  std::error_code ignored;
  path = std::filesystem::is_directory(name, ignored) ? name + "/" + kRecordTrace : name;
  reader = CCsvReader::Open(path, error);
  return reader && FindColumns(error) && ReadRows(error) && Arrange(record, error);
}

bool CLoopRecordReader::FindColumns(std::string* error) {
  const std::string& name = loop.instrument.Name();
  if (!CheckMaps(error) || !times.Find(*reader, maps, error)) return false;
  std::vector<std::string> values = {name + ".value"};
  if (loop.value) values.insert(values.begin(), loop.valueName);
  // What the plant got, before what the application wanted.
  const std::vector<std::string> outputs = {loop.outputName + plant::kWrittenColumn, loop.outputName, name + ".output"};
  if (loop.value) quality = reader->Column(loop.valueName + plant::kQualityColumn);
  return FindColumn("value", values, &value, error) && FindColumn("output", outputs, &output, error);
}

bool CLoopRecordReader::CheckMaps(std::string* error) const {
  const std::string& name = loop.instrument.Name();
  for (const std::string& map : maps) {
    const std::size_t equal = map.find('=');
    const std::string element = map.substr(0, equal);
    const bool isKnown = element == CTimeColumn::kName || (loop.value && element == loop.valueName) ||
                         element == loop.outputName || element == name + ".value" || element == name + ".output";
    if (isKnown && reader->Column(map.substr(equal + 1)) >= 0) continue;
    *error =
        OfFile("--map " + map + ": " +
               (isKnown ? "the file has no such column" : element + " is neither the value nor the output of " + name));
    return false;
  }
  return true;
}

bool CLoopRecordReader::FindColumn(const std::string& what, const std::vector<std::string>& names, std::size_t* column,
                                   std::string* error) const {
  std::ptrdiff_t found = -1;
  for (const std::string& name : names) {
    for (const std::string& map : maps) {
      if (map.starts_with(name + "=")) found = reader->Column(map.substr(name.size() + 1));
    }
  }
  for (const std::string& name : names) {
    if (found < 0) found = reader->Column(name);
  }
  *column = static_cast<std::size_t>(found);
  if (found >= 0) return true;
  std::string all;
  for (const std::string& name : names) all += (all.empty() ? "" : ", ") + name;
  *error = OfFile("has no column of the " + what + " of " + loop.instrument.Name() + ", by these names: " + all +
                  "; --map ELEMENT=COLUMN names another");
  return false;
}

double CLoopRecordReader::CellOf(std::size_t column) const {
  double number = 0.0;
  std::string ignored;
  return reader->Number(column, &number, &ignored) ? number : std::numeric_limits<double>::quiet_NaN();
}

bool CLoopRecordReader::ReadRows(std::string* error) {
  double before = -std::numeric_limits<double>::infinity();
  for (;;) {
    const CCsvReader::EOutcome outcome = reader->Next(error);
    if (outcome == CCsvReader::kEnd) return true;
    TRow row{};
    if (outcome != CCsvReader::kRow || !times.Read(*reader, before, &row.time, error)) return false;
    before = row.time;
    row.value = CellOf(value);
    row.output = CellOf(output);
    if (quality >= 0 && Trim(reader->Field(static_cast<std::size_t>(quality))) != kGood) row.value = std::nan("");
    rows.push_back(row);
    if (rows.size() <= kMostRows) continue;
    *error = OfFile("has more than " + std::to_string(kMostRows) + " rows");
    return false;
  }
}

// At equal distances, with rows in the place of those that are missing.
bool CLoopRecordReader::Arrange(TLoopRecord* record, std::string* error) const {
  if (rows.size() < 3) {
    *error = OfFile("has " + Count(rows.size(), "row") + ", which tells nothing");
    return false;
  }
  std::vector<double> distances;
  for (std::size_t i = 1; i < rows.size(); ++i) distances.push_back(rows[i].time - rows[i - 1].time);
  const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
  std::nth_element(distances.begin(), middle, distances.end());
  double distance = *middle;
  if (std::abs(distance - period) < kUnevenness * period) distance = period;
  if (distance > period) {
    *error = OfFile("its rows are " + Quantity(distance, "s") + " apart, and the regulator acts each " +
                    Quantity(period, "s") + ": what it did between them isn't told");
    return false;
  }
  record->path = path;
  tuning::TRecord& table = record->rows;
  table.period = distance;
  std::size_t missing = 0;
  double before = 0.0;
  TRow held{};
  const auto add = [&](bool isWhole) {
    table.input.push_back(held.output);
    table.output.push_back(held.value);
    table.used.push_back(isWhole ? 1 : 0);
    if (!isWhole) ++missing;
  };
  for (const TRow& row : rows) {
    const bool isWhole = !std::isnan(row.value) && !std::isnan(row.output);
    if (table.input.empty()) {
      if (!isWhole) continue;
      record->begin = row.time;
      before = row.time - distance;
    }
    const double steps = (row.time - before) / distance;
    if (std::abs(steps - std::round(steps)) > kUnevenness || steps < 0.5) {
      *error = OfFile("its rows are not at equal distances: " + Quantity(distance, "s") + " as a rule, but not at " +
                      Seconds(row.time) + " s");
      return false;
    }
    if (static_cast<double>(table.input.size()) + steps > double{kMostRows}) {
      *error = OfFile("has more than " + std::to_string(kMostRows) + " rows");
      return false;
    }
    for (double step = 1.5; step < steps; ++step) add(false);
    before = row.time;
    if (!std::isnan(row.output)) held.output = row.output;
    if (!std::isnan(row.value)) held.value = row.value;
    add(isWhole);
  }
  const std::size_t count = table.input.size();
  if (count == 0 || static_cast<double>(missing) > kMostMissing * static_cast<double>(count)) {
    *error = OfFile("of its " + Count(count, "row") + " " + std::to_string(missing) +
                    " are missing, without a value, or of one that isn't good");
    return false;
  }
  return true;
}

}  // namespace

std::optional<TLoopRecord> ReadLoopRecord(const std::string& path, const TTunedLoop& loop,
                                          const std::vector<std::string>& maps, double period, std::string* error) {
  TLoopRecord record;
  if (!CLoopRecordReader(loop, maps, period).Read(path, &record, error)) return std::nullopt;
  return record;
}

}  // namespace workbench
