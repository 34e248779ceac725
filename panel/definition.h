// What the `panel` blocks of an application say: what an operator may do, and when an
// alarm stands.
#ifndef LOOPBOX_PANEL_DEFINITION_H
#define LOOPBOX_PANEL_DEFINITION_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/runtime.h"

namespace panel {

// What an operator may do.
struct TOperator {
  enum EKind : std::uint8_t {
    kElement,     // write a data element
    kParameters,  // set an instrument's parameters as a whole
    kProcedure    // call a procedure of an instrument
  };

  EKind kind = kElement;
  std::string name;  // as written: "set_point", "heater.parameters", "heater.save"
  runtime::TItem item;
  std::size_t instrument = 0;  // of an application's, for all but kElement
  std::string procedure;       // "Name__letters" of a kProcedure
  std::optional<std::pair<double, double>> range;
  std::optional<double> rate;  // change in a second
  std::uint32_t offset = 0;    // its place in the text
};

// One of the numbers that are an instrument's parameters, by its class's reference.
struct TParameter {
  std::string name;            // "tI"
  std::string reads;           // a procedure "Name__letters", which answers it
  std::string sets;            // one with the same arguments
  std::size_t argument = 0;    // which of theirs, from 0
  std::size_t arguments = 1;   // how many they have
  std::optional<double> low;   // it is at least this
  std::optional<double> high;  // and at most this
  bool isOpenLow = false;      // above `low`
};
// Of a class, in the order of a command's values. Which of them an instrument has may
// depend on its law: those whose procedures resolve.
using TParameterSet = std::vector<TParameter>;
using TParameterSets = std::map<std::string, TParameterSet>;  // by class

// The four of ISA-18.2, the gravest first.
enum class EPriority : std::uint8_t { kCritical, kHigh, kMedium, kLow };
const char* NameOf(EPriority priority);  // "critical", "high", "medium", "low"

struct TAlarm {
  std::string name;
  runtime::CBlockExpression when;
  std::optional<runtime::CBlockExpression> clear;  // none: where `when` doesn't hold
  double onDelay = 0.0;                            // seconds
  double offDelay = 0.0;                           // seconds
  EPriority priority = EPriority::kMedium;
  std::string text;  // for a person; may be empty
  std::uint32_t offset = 0;
  std::vector<std::size_t> elements;  // that `when` names
};

struct TDefinition {
  bool isGiven = false;  // the text has a block
  std::string title;     // empty: the application's name
  std::vector<TOperator> operators;
  std::vector<TAlarm> alarms;
};

}  // namespace panel

#endif
