// How good data elements are that something outside provides, as expressions ask
// for it by `good(x)` and `age(x)`.
#ifndef LOOPBOX_RUNTIME_EXPRESSIONS_QUALITIES_H
#define LOOPBOX_RUNTIME_EXPRESSIONS_QUALITIES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "runtime/expressions/data_elements.h"

namespace runtime {

class CQualities {
 public:
  struct TValues {
    std::vector<std::uint8_t> good;  // of each item, 0 or 1
    std::vector<double> ages;        // seconds
  };

  // Those of an element that an expression asks for: good and of age 0 until they
  // are set. Their addresses stay.
  TValues& Of(const TDataElement& element) {
    TValues& values = asked[&element];
    values.good.resize(element.count, 1);
    values.ages.resize(element.count);
    return values;
  }
  // Null where no expression asks.
  TValues* Find(const TDataElement& element) {
    const auto found = asked.find(&element);
    return found == asked.end() ? nullptr : &found->second;
  }

 private:
  std::map<const TDataElement*, TValues> asked;
};

}  // namespace runtime

#endif
