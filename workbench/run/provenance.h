// Where a run's numbers come from: what was asked for, and which files were read and
// written.
#ifndef LOOPBOX_WORKBENCH_RUN_PROVENANCE_H
#define LOOPBOX_WORKBENCH_RUN_PROVENANCE_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "json/json.h"
#include "runtime/runtime.h"

namespace workbench {

struct TProvenance {
  std::vector<std::pair<std::string, json::CValue>> options;  // those given, without dashes
  std::vector<std::pair<std::string, std::string>> set;       // by --set
  std::uint64_t seed = 1;
  std::string input;  // empty: none
  std::string plugin;
  std::vector<std::pair<std::string, std::string>> filesRead;  // and their hashes
  std::vector<std::string> filesWritten;
  // SHA-256 in hexadecimal.
  std::string pluginHash;
  std::string textHash;  // of the application's text, with what it includes

  // Before the run, which may change files that it reads. Those of `files` that are
  // there become the files read.
  void TakeHashes(const runtime::CApplication& application, const std::vector<std::string>& files);
};

}  // namespace workbench

#endif
