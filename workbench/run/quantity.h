// What a curve may show of a run: a data element or an item of one, a pane of a
// regulator, a meter; each by the name that heads its column in a trace.
#ifndef LOOPBOX_WORKBENCH_RUN_QUANTITY_H
#define LOOPBOX_WORKBENCH_RUN_QUANTITY_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "workbench/run/observation.h"

namespace workbench {

struct TQuantity {
  enum EKind { kElement, kPane, kMeter };

  std::string name;  // "zone[0]", "heater.wish_value"
  std::string unit;
  bool holds;  // its value until the next period; else it moves there in a straight line
  EKind kind;
  std::size_t number;  // of the element, the regulator or the instrument
  std::size_t part;    // the element's item, or the EPane

  // At the end of the period that was observed last. Wish and value are what they
  // are, whatever a pane cut.
  double Value(const CObservation& observation) const;
  bool operator==(const TQuantity& other) const { return name == other.name; }
};

// None with a message, which tells names that are near.
std::optional<TQuantity> FindQuantity(const CObservation& observation, const std::string& name, std::string* error);
// All, in the order of a trace's columns; the first `most`. *further: how many more
// there are.
std::vector<TQuantity> QuantitiesOf(const CObservation& observation, std::size_t most, std::uint64_t* further);

// Curves by panel, from "pos,open;heat,cool". False with a message.
using TCurves = std::vector<std::vector<TQuantity>>;
bool ReadCurves(const CObservation& observation, const std::string& list, TCurves* curves, std::string* error);
// What all of them have; empty where they differ.
std::string CommonUnit(const std::vector<TQuantity>& panel);

}  // namespace workbench

#endif
