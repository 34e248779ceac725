// What a unit's process is told of the unit, in resources/unit.txt: lines of a word
// and a text.
//
//   guid {…}
//   name boiler            of the application
//   plugin loopbox.so      in resources/
//   seed 1
//   process left           or kept: whether its lines are evaluated, all but those of inputs
//   input water            the variables, from value reference 0 on: input, output,
//   parameter zone[2]      parameter or local, and a data element's item
#ifndef LOOPBOX_FMU_UNIT_UNIT_FILE_H
#define LOOPBOX_FMU_UNIT_UNIT_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace fmu {

inline constexpr char kUnitFile[] = "unit.txt";
inline constexpr char kApplicationFile[] = "application.lbx";
inline constexpr char kLanguageFile[] = "en.lang";           // may lack
inline constexpr char kApplicationFolder[] = "application";  // where it finds its parameter files

enum class ECausality { kInput, kOutput, kParameter, kLocal };
inline constexpr const char* kCausalityWords[] = {"input", "output", "parameter", "local"};

struct TUnitVariable {
  ECausality causality = ECausality::kLocal;
  std::string item;  // NAME or NAME[INDEX]
};

struct TUnitFile {
  std::string guid;
  std::string name;
  std::string plugin;
  std::uint64_t seed = 1;
  bool keepsProcess = false;
  std::vector<TUnitVariable> variables;
};

std::string TextOf(const TUnitFile& unit);
// False with what is wrong.
bool ReadUnitFile(const std::string& text, TUnitFile* unit, std::string* error);

}  // namespace fmu

#endif
