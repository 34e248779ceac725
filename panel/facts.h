// What is known of an instrument by its class's reference. Who reads references hands
// it over: a panel knows no class.
#ifndef LOOPBOX_PANEL_FACTS_H
#define LOOPBOX_PANEL_FACTS_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runtime/runtime.h"

namespace panel {

// A number that the instrument answers when it is asked.
struct TFact {
  std::string name;
  std::string unit;
  bool isTruth = false;            // 0 or 1
  std::vector<std::string> words;  // for 1, 2 and so on; none: a number
};

struct TFacts {
  std::string kind;                       // "continuous", "twoState", "step" or "meter"
  std::vector<std::string> words;         // what `check` says of it
  std::vector<TFact> settings;            // by what it acts
  std::vector<TFact> learnt;              // empty where its class doesn't learn
  std::optional<std::size_t> identifies;  // which of the learnt is 1 while it identifies
  // The items that wish and value are, where their expressions are nothing else.
  std::optional<runtime::TItem> wish;
  std::optional<runtime::TItem> value;
  // Asks for the settings, then for what was learnt, one number each, NaN where there
  // is none now. Empty where there are none of both.
  std::function<void(std::vector<double>* values)> read;
};

}  // namespace panel

#endif
