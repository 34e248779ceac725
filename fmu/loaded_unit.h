// A unit in an importer's hands: unpacked, and its library loaded into this process.
#ifndef LOOPBOX_FMU_LOADED_UNIT_H
#define LOOPBOX_FMU_LOADED_UNIT_H

#include <memory>
#include <string>
#include <vector>

#include "fmu/description.h"
#include "fmu/unit/fmi2.h"
#include "processes/temporary_folder.h"

namespace fmu {

// The functions of the interface, by their names.
struct TFunctions {
#define LOOPBOX_MEMBER(result, name, parameters) result(*name) parameters = nullptr;
  FMI2_FUNCTIONS(LOOPBOX_MEMBER)
#undef LOOPBOX_MEMBER
};

class CLoadedUnit {
 public:
  // Unpacks it and reads its description. Null with a message.
  static std::unique_ptr<CLoadedUnit> Open(const std::string& path, std::string* error);
  ~CLoadedUnit();
  CLoadedUnit(const CLoadedUnit&) = delete;
  CLoadedUnit& operator=(const CLoadedUnit&) = delete;

  const TDescription& Description() const { return description; }
  std::string Library() const;    // its path
  std::string Resources() const;  // the location, a URI
  // False with a message that says which function lacks. The library is loaded into
  // this process and stays.
  bool Load(std::string* error);
  const TFunctions& Functions() const { return functions; }

 private:
  CLoadedUnit() : folder("unit") {}

  processes::CTemporaryFolder folder;
  TDescription description;
  TFunctions functions;
};

// One instance, and what it told.
class CLoadedInstance {
 public:
  // Null component where the unit refused.
  CLoadedInstance(const CLoadedUnit& unit, const std::string& name, const std::string& guid);
  ~CLoadedInstance();
  CLoadedInstance(const CLoadedInstance&) = delete;
  CLoadedInstance& operator=(const CLoadedInstance&) = delete;

  fmi2Component Component() const { return component; }
  const std::string& Told() const { return told; }  // what it said of errors last
  // From behind the instantiation to the first step, from `start` on.
  fmi2Status Begin(double start);

 private:
  static void Log(fmi2ComponentEnvironment self, fmi2String, fmi2Status status, fmi2String, fmi2String message, ...);

  const TFunctions& functions;
  fmi2CallbackFunctions callbacks;
  fmi2Component component = nullptr;
  std::string told;
};

}  // namespace fmu

#endif
