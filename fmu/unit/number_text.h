// A number as the shortest text that reads back as the same.
#ifndef LOOPBOX_FMU_UNIT_NUMBER_TEXT_H
#define LOOPBOX_FMU_UNIT_NUMBER_TEXT_H

#include <charconv>
#include <string>

namespace fmu {

inline std::string NumberText(double value) {
  char digits[40];
  return {digits, std::to_chars(digits, digits + sizeof(digits), value).ptr};
}

// Of a data element's value.
inline std::string ValueText(bool isBoolean, double value) {
  return !isBoolean ? NumberText(value) : value != 0.0 ? "true" : "false";
}

}  // namespace fmu

#endif
