// A plan: a folder from which any part of a study can be run, anywhere.
//
//   study.json        what was planned, and the hashes of what it was planned with
//   application.lbx   the text, with what it includes and repeats; beside it the files
//                     that its instruments read
//   cases.csv         a row for each case: its number from 0, its seed, its values
//   parts/A-B.csv     the outcomes of cases A to B: see part.h
//   results.csv       `case` and what was kept, once merged; failures.csv what failed
#ifndef LOOPBOX_STUDY_PLAN_H
#define LOOPBOX_STUDY_PLAN_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "study/definition.h"
#include "study/measure.h"

namespace study {

inline constexpr std::uint64_t kDefaultChunk = 500;  // cases of a part

struct TPlan {
  std::string folder;
  std::string file;  // the application's, as it was named
  std::string text;  // whole
  TDefinition definition;
  std::uint64_t runs = 0;
  std::uint64_t chunk = kDefaultChunk;
};

// Reads an application with one of its studies; an empty name: its only one. None with
// diagnostics, or with a message.
std::optional<TPlan> ReadStudy(const TSite& site, runtime::TReadOptions reading, const std::string& name,
                               std::vector<runtime::TDiagnostic>* diagnostics, std::string* error);

// Makes the plan's folder, or takes one that has no plan. False with a message: also where the
// first case can't be read.
bool WritePlan(const TSite& site, TPlan* plan, const std::string& folder, std::string* error);
// None with a message: also where the plan was made with another plug-in or program, or
// its text is another.
std::optional<TPlan> ReadPlan(const TSite& site, const std::string& folder, std::string* error);

std::string CasesName(const TPlan& plan);
std::string ResultsName(const TPlan& plan);
std::string FailuresName(const TPlan& plan);
std::string PartsFolder(const TPlan& plan);

class CRows;

// A case of cases.csv.
struct TCase {
  std::uint64_t number = 0;
  std::uint64_t seed = 0;
  std::vector<std::string> values;  // by input
};
// Of the row read last; false when it isn't one.
bool CaseOf(const CRows& rows, std::size_t inputs, TCase* read);

// The options of `loopbox run` that make that run alone.
std::string CommandOf(const TPlan& plan, const TCase& one);

}  // namespace study

#endif
