// A conformance check of any plug-in of this interface: named cases, each in a
// process of its own, so that one that crashes or hangs is an outcome like
// others. The plug-in's code runs in those processes alone.
#ifndef LOOPBOX_VALIDATION_VALIDATION_H
#define LOOPBOX_VALIDATION_VALIDATION_H

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace validation {

enum class EOutcome { kPassed, kWarning, kSkipped, kFailed, kCrashed };

// A keyword of a class as its reference tells it. `section` names the blocks in
// which it may stand; "instrument" and "system" are the top level.
struct TEntry {
  std::string section;
  std::string keyword;
  std::string type;     // expression, element, names, name, boolean, flag, block, …
  std::string example;  // an entry that is right
  std::string range;    // of a choice its names
};
using TEntries = std::vector<TEntry>;

struct TResult {
  std::string name;       // GROUP/CASE
  std::string className;  // empty: about the plug-in as a whole
  std::string claim;      // what the case proves
  EOutcome outcome = EOutcome::kSkipped;
  std::string message;  // why, unless it passed
  double seconds = 0.0;
};

constexpr double kMostPatience = 3600.0;  // seconds

struct TOptions {
  std::string plugin;
  // Globs over GROUP/CASE and GROUP/CASE:CLASS. No include stands for all.
  std::vector<std::string> include;
  std::vector<std::string> exclude;
  double patience = 10.0;  // seconds that a case may take, at most kMostPatience
  // The reference of a class; empty when there is none, false with a message
  // when it is wrong.
  std::function<bool(const std::string& className, TEntries* entries, std::string* error)> reference;
  std::function<bool()> interrupted;  // asked now and then whether the check is to end
};

struct TReport {
  std::string plugin;
  std::vector<std::string> classes;
  std::vector<TResult> results;

  std::size_t CountOf(EOutcome outcome) const;
  bool Conforms() const { return CountOf(EOutcome::kFailed) + CountOf(EOutcome::kCrashed) == 0; }
};

// False with a message, and no report, when a pattern matches nothing, the
// patterns leave no case, a reference is wrong, or it was interrupted. No process
// and no file of a case is left, whichever way it ends.
bool Validate(const TOptions& options, TReport* report, std::string* error);

const char* Word(EOutcome outcome);
// The cases: name, what each is about (the plug-in or each class), its claim.
struct TCaseText {
  std::string name;
  bool perClass;
  std::string claim;
};
std::vector<TCaseText> Cases();
// One document; its schema is in docs/validate.md.
std::string Json(const TReport& report);

}  // namespace validation

#endif
