#include "workbench/run/input_file.h"

#include <limits>
#include <utility>

namespace workbench {
namespace {

constexpr char kTime[] = "time";
constexpr double kBeforeAll = -std::numeric_limits<double>::infinity();

}  // namespace

bool CInputFile::Open(runtime::CApplication& theApplication, std::string* error) {
  application = &theApplication;
  reader = CCsvReader::Open(path, error);
  if (!reader || !MatchColumns(error) || !ReadThrough(error)) return false;
  reader = CCsvReader::Open(path, error);
  if (!reader) return false;
  nextTime = kBeforeAll;
  ahead = ReadAhead(error) == CCsvReader::kRow;
  for (const TDriven& element : driven) items.push_back(element.item);
  return BeforePeriod(0.0, error);
}

bool CInputFile::MatchColumns(std::string* error) {
  const std::ptrdiff_t time = reader->Column(kTime);
  if (time < 0) {
    *error = reader->Complaint("expected a column \"time\", in seconds");
    return false;
  }
  timeColumn = static_cast<std::size_t>(time);
  for (std::size_t column = 0; column < reader->Header().size(); ++column) {
    if (column == timeColumn) continue;
    const std::string& name = reader->Header()[column];
    TDriven found{column, {}, 0.0};
    std::string problem;
    if (!application->FindItem(name, &found.item, &problem)) {
      Leave(name, problem);
    } else if (const char* writer = application->WriterOf(found.item)) {
      Leave(name, std::string("written by ") + writer);
    } else {
      driven.push_back(found);
    }
  }
  if (!driven.empty()) return true;
  *error = reader->Complaint("no column names a data element that can be driven");
  for (const auto& [reason, names] : left) error->append("; ").append(names).append(": ").append(reason);
  return false;
}

void CInputFile::Leave(const std::string& name, const std::string& reason) {
  std::string& names = left[reason];
  names.append(names.empty() ? "" : ", ").append(name);
}

CCsvReader::EOutcome CInputFile::ReadAhead(std::string* error) {
  const CCsvReader::EOutcome outcome = reader->Next(error);
  if (outcome != CCsvReader::kRow) return outcome;
  if (!reader->Later(timeColumn, &nextTime, error)) return CCsvReader::kBad;
  for (TDriven& element : driven) {
    const std::string& text = reader->Field(element.column);
    if (application->ReadValue(element.item.element, text, &element.value, error)) continue;
    *error = reader->Complaint(element.column, *error + ", found \"" + text + "\"");
    return CCsvReader::kBad;
  }
  return CCsvReader::kRow;
}

bool CInputFile::ReadThrough(std::string* error) {
  nextTime = kBeforeAll;
  CCsvReader::EOutcome outcome = CCsvReader::kRow;
  while (outcome == CCsvReader::kRow) outcome = ReadAhead(error);
  if (outcome == CCsvReader::kEnd && nextTime == kBeforeAll) {
    *error = reader->Complaint("expected rows behind the column names, found none");
    return false;
  }
  return outcome == CCsvReader::kEnd;
}

bool CInputFile::BeforePeriod(double time, std::string* error) {
  const double reached = time + runtime::kForgivenRounding * application->Period();
  while (ahead && nextTime <= reached) {
    for (const TDriven& element : driven) application->SetElementValue(element.item, element.value);
    const CCsvReader::EOutcome outcome = ReadAhead(error);
    ahead = outcome == CCsvReader::kRow;
    if (outcome == CCsvReader::kBad) return false;
  }
  return true;
}

std::vector<std::string> CInputFile::Notes() const {
  std::string names;
  for (const TDriven& element : driven) {
    names.append(names.empty() ? "" : ", ").append(reader->Header()[element.column]);
  }
  std::vector<std::string> notes{"input drives " + names};
  for (const auto& [reason, leftNames] : left)
    notes.emplace_back("input leaves ").append(leftNames).append(": ").append(reason);
  return notes;
}

}  // namespace workbench
