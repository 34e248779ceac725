// The law and the parameters by which a regulator acts at a moment, as far as its
// class's reference says how to ask.
#ifndef LOOPBOX_WORKBENCH_RUN_SETTINGS_H
#define LOOPBOX_WORKBENCH_RUN_SETTINGS_H

#include <string>
#include <vector>

#include "json/json.h"
#include "workbench/run/observation.h"

namespace workbench {

struct TSetting {
  enum EKind { kNumber, kTruth, kWord };

  std::string name;
  EKind kind;
  double number;     // of a truth 0 or 1
  std::string word;  // of a kWord

  std::string Text() const;
  json::CValue Value() const;
};

constexpr char kLaw[] = "law";  // the setting that names it

// In the reference's order, without those that don't resolve now.
std::vector<TSetting> SettingsOf(const TRegulator& regulator);

}  // namespace workbench

#endif
