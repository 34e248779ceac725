// What stands in a record's record.json: what a run was asked for, and what became of
// it besides the numbers.
#ifndef LOOPBOX_WORKBENCH_RUN_RECORD_HEAD_H
#define LOOPBOX_WORKBENCH_RUN_RECORD_HEAD_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "json/json.h"

namespace workbench {

// The files of a record.
constexpr char kRecordHead[] = "record.json";
constexpr char kRecordTrace[] = "trace.csv";
constexpr char kRecordCommands[] = "commands.csv";
constexpr char kRecordTexts[] = "text";
constexpr char kRecordFiles[] = "files";

struct TRecordHead {
  using TNumbers = std::vector<std::pair<std::string, std::optional<double>>>;
  // From which period on outputs of a connection were written to the plant, 0 before the
  // first, and what stood there; none where that can't be read.
  struct TBegun {
    std::string connection;
    std::uint64_t period = 0;
    TNumbers found;
  };

  std::string program;  // its version
  std::string plugin;   // its file
  std::string pluginHash;
  std::string application;         // the name of its text in kRecordTexts
  std::vector<std::string> texts;  // all that stand there
  std::string connections;         // the one whose connections take the place of the application's; empty: none
  std::vector<std::string> files;  // in kRecordFiles: units, and parameter files as they were at the start
  double period = 0.0;             // seconds
  double duration = 0.0;           // seconds
  std::vector<std::pair<std::string, std::string>> set;
  std::uint64_t seed = 1;
  std::vector<std::string> connected;  // connections that were made
  std::vector<std::string> losses;     // NAME@S-S
  TNumbers input;                      // elements that recorded data drove, with their values at the start
  std::vector<TBegun> begun;
  // At the end of the run.
  std::optional<std::uint64_t> periods;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> leftOut;  // first and last

  json::CValue Value() const;
  // False with what is wrong with the text.
  static bool Parse(const std::string& text, TRecordHead* head, std::string* error);
};

}  // namespace workbench

#endif
