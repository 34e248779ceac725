#include "workbench/run/input_file.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include "plant/plant.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::size_t kMostNamed = 10;  // columns in a note
constexpr double kBeforeAll = -std::numeric_limits<double>::infinity();

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::string Listed(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < std::min(names.size(), kMostNamed); ++i) text.append(i == 0 ? "" : ", ").append(names[i]);
  if (names.size() > kMostNamed) text.append(" … ").append(std::to_string(names.size() - kMostNamed)).append(" more");
  return text;
}

}  // namespace

CInputFile::CInputFile(TInputSource from, TSink whoIsTold)
    : source(std::move(from)), sink(std::move(whoIsTold)), nextTime(kBeforeAll) {}

bool CInputFile::Open(runtime::CApplication& theApplication, std::string* error) {
  application = &theApplication;
  reader = CCsvReader::Open(source.path, error);
  if (!reader || !FindTimes(error) || !MapColumns(error) || !MatchColumns(error)) return false;
  for (const TDriven& element : driven) items.push_back(element.item);
  if (source.waits) ReadAhead();
  if (ended && nextTime == kBeforeAll) {
    *error = reader->Complaint("expected rows behind the column names, found none");
    return false;
  }
  return BeforePeriod(0.0, error);
}

bool CInputFile::FindTimes(std::string* error) {
  if (!times.Find(*reader, source.maps, error)) return false;
  taken.insert(times.Column());
  return true;
}

std::string CInputFile::WhyNot(const runtime::TItem& item) const {
  const char* const writer = application->WriterOf(item);
  if (application->Element(item.element).isOutput) return "written by an instrument's output";
  if (writer != nullptr && std::string_view(writer) != runtime::kWriterProcess) {
    return std::string("written by ") + writer;
  }
  const auto is = [&item](const TDriven& element) { return element.item == item; };
  return std::any_of(driven.begin(), driven.end(), is) ? "another column drives it" : "";
}

bool CInputFile::MapColumns(std::string* error) {
  for (const std::string& map : source.maps) {
    const std::size_t equal = map.find('=');
    const std::string element = map.substr(0, equal);
    if (element == CTimeColumn::kName) continue;
    const std::ptrdiff_t column = reader->Column(map.substr(equal + 1));
    TDriven found{static_cast<std::size_t>(column), {}, {}};
    std::string problem;
    if (column < 0) {
      problem = "the file has no such column";
    } else if (application->FindItem(element, &found.item, &problem)) {
      problem = WhyNot(found.item);
    }
    if (!problem.empty()) {
      *error = reader->Complaint("--map " + map + ": " + problem);
      return false;
    }
    driven.push_back(found);
    taken.insert(found.column);
  }
  return true;
}

bool CInputFile::MatchColumns(std::string* error) {
  for (std::size_t column = 0; column < reader->Header().size(); ++column) {
    const std::string& name = reader->Header()[column];
    if (taken.contains(column) || name.empty() || plant::IsPlantColumn(name)) continue;
    TDriven found{column, {}, {}};
    std::string problem;
    if (application->FindItem(name, &found.item, &problem)) problem = WhyNot(found.item);
    if (problem.empty()) {
      driven.push_back(found);
    } else {
      left[problem].push_back(name);
    }
  }
  if (!driven.empty()) return true;
  *error = reader->Complaint("no column names a data element that can be driven");
  for (const auto& [reason, names] : left) error->append("; ").append(Listed(names)).append(": ").append(reason);
  return false;
}

void CInputFile::Report(double time, const std::string& problem) {
  sink({time, "input", runtime::Translated(problem)});
}

void CInputFile::ReadCell(TDriven& element) {
  const std::string text = reader->NumberText(element.column);
  double value = 0.0;
  std::string problem = "no value";
  const bool isGap = text.empty() || Lower(text) == "nan";
  element.value.reset();
  if (!isGap && application->ReadValue(element.item.element, text, &value, &problem)) {
    element.value = value;
    return;
  }
  if (!isGap) problem += ", found \"" + reader->Field(element.column) + "\"";
  if (element.held++ == 0)
    Report(nextTime, reader->Complaint(element.column, problem + "; what was there before is held"));
}

// The next row, past those that are none.
void CInputFile::ReadAhead() {
  std::string problem;
  while (!ahead && !ended && (source.waits || reader->IsReady())) {
    const CCsvReader::EOutcome outcome = reader->Next(&problem);
    ended = outcome == CCsvReader::kEnd || outcome == CCsvReader::kBad;
    double time = 0.0;
    ahead = outcome == CCsvReader::kRow && times.Read(*reader, nextTime, &time, &problem);
    if (ahead) {
      nextTime = time;
      for (TDriven& element : driven) ReadCell(element);
    } else if (outcome != CCsvReader::kEnd) {
      Report(application->Time(),
             problem + (ended ? "; what was there before is held to the end" : "; the row is left out"));
    }
  }
}

bool CInputFile::BeforePeriod(double time, std::string*) {
  const double reached = time + runtime::kForgivenRounding * application->Period();
  ReadAhead();
  for (TDriven& element : driven) element.given = std::nan("");
  while (ahead && nextTime <= reached) {
    for (TDriven& element : driven) {
      if (!element.value) continue;
      application->SetElementValue(element.item, *element.value);
      element.given = *element.value;
    }
    ahead = false;
    ReadAhead();
  }
  return true;
}

std::vector<std::string> CInputFile::Driven() const {
  std::vector<std::string> names;
  for (const TDriven& element : driven) {
    const runtime::TElement named = application->Element(element.item.element);
    names.push_back(named.name + (named.length == 0 ? "" : "[" + std::to_string(element.item.item) + "]"));
  }
  return names;
}

std::vector<std::string> CInputFile::Columns() const {
  std::vector<std::string> columns;
  if (source.isRecorded) columns = Driven();
  for (std::string& column : columns) column += plant::kInputColumn;
  return columns;
}

runtime::TLinkCell CInputFile::Cell(std::size_t column) const { return {nullptr, driven[column].given}; }

std::vector<std::string> CInputFile::Notes() const {
  std::vector<std::string> names = Driven();
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string& column = reader->Header()[driven[i].column];
    if (names[i] != column) names[i] += " by " + column;
  }
  std::vector<std::string> notes{"input drives " + Listed(names)};
  for (const auto& [reason, leftNames] : left) notes.push_back("input leaves " + Listed(leftNames) + ": " + reason);
  return notes;
}

void CInputFile::Finish() {
  for (const TDriven& element : driven) {
    if (element.held > 1) {
      Report(application->Time(),
             "column " + reader->Header()[element.column] + ": " + Count(element.held, "cell") + " without a value");
    }
  }
}

}  // namespace workbench
