#include "fmu/unit/unit_file.h"

#include <charconv>
#include <cstddef>
#include <iterator>
#include <sstream>
#include <system_error>

#include "fmu/unit/frames.h"

namespace fmu {
namespace {

constexpr char kKept[] = "kept";
constexpr char kLeft[] = "left";

bool ReadLine(const std::string& word, const std::string& text, TUnitFile* unit) {
  if (word == "guid") return !(unit->guid = text).empty();
  if (word == "name") return !(unit->name = text).empty();
  if (word == "plugin") return !(unit->plugin = text).empty() && text.find('/') == std::string::npos;
  if (word == "seed") {
    const char* const end = text.data() + text.size();
    const auto [read, problem] = std::from_chars(text.data(), end, unit->seed);
    return problem == std::errc() && read == end;
  }
  if (word == "process") {
    unit->keepsProcess = text == kKept;
    return unit->keepsProcess || text == kLeft;
  }
  for (std::size_t i = 0; i < std::size(kCausalityWords); ++i) {
    if (word != kCausalityWords[i]) continue;
    unit->variables.push_back({static_cast<ECausality>(i), text});
    return !text.empty() && unit->variables.size() <= kMostVariables;
  }
  return false;
}

}  // namespace

std::string TextOf(const TUnitFile& unit) {
  std::string text = "guid " + unit.guid + "\nname " + unit.name + "\nplugin " + unit.plugin + "\nseed " +
                     std::to_string(unit.seed) + "\nprocess " + (unit.keepsProcess ? kKept : kLeft) + "\n";
  for (const TUnitVariable& variable : unit.variables) {
    text.append(kCausalityWords[static_cast<std::size_t>(variable.causality)]).append(" ");
    text.append(variable.item).append("\n");
  }
  return text;
}

bool ReadUnitFile(const std::string& text, TUnitFile* unit, std::string* error) {
  *unit = {};
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t blank = line.find(' ');
    if (blank != std::string::npos && ReadLine(line.substr(0, blank), line.substr(blank + 1), unit)) continue;
    *error = std::string(kUnitFile) + ": this line means nothing: " + line;
    return false;
  }
  if (!unit->guid.empty() && !unit->plugin.empty()) return true;
  *error = std::string(kUnitFile) + ": it has no guid or no plugin";
  return false;
}

}  // namespace fmu
