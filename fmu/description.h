// modelDescription.xml: what a unit says of itself.
#ifndef LOOPBOX_FMU_DESCRIPTION_H
#define LOOPBOX_FMU_DESCRIPTION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fmu {

struct TScalar {
  std::string name;
  std::uint32_t reference = 0;
  std::string type;         // Real, Integer, Boolean, String, Enumeration
  std::string causality;    // input, output, parameter, local, …; empty: local
  std::string variability;  // continuous, discrete, tunable, …; empty: continuous
  std::string initial;      // exact, approx, calculated; empty: what the others imply
  std::string start;        // empty: none
  std::string unit;
  std::string description;
};

struct TDescription {
  std::string version;  // of the interface
  std::string name;
  std::string guid;
  std::string description;
  std::string tool;
  std::string identifier;      // of co-simulation; empty: it has none
  bool needsTool = false;      // runs in another program that must be there
  bool keepsStates = false;    // fmi2GetFMUstate
  bool takesAnyStep = false;   // canHandleVariableCommunicationStepSize
  bool isOnlyOnce = false;     // in a process
  std::optional<double> stop;  // of the experiment, seconds
  std::optional<double> step;  // the same
  std::vector<std::string> units;
  std::vector<TScalar> variables;
  std::vector<std::uint32_t> outputs;   // of the structure: places from 1
  std::vector<std::uint32_t> unknowns;  // the same, of the initialisation
};

std::string Xml(const TDescription& description);
// False with a message that says line and column.
bool ReadDescription(const std::string& xml, TDescription* description, std::string* error);
// What breaks the standard's rules, a sentence each; nothing where all are kept.
std::vector<std::string> Faults(const TDescription& description);

}  // namespace fmu

#endif
