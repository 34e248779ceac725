#include "fmu/loaded_unit.h"

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "fmu/archive_file.h"

namespace fmu {
namespace {

template <typename TFunction>
bool Find(void* library, const char* name, TFunction* function, std::string* error) {
  *function = reinterpret_cast<TFunction>(dlsym(library, name));
  if (*function == nullptr) *error += (error->empty() ? "its library lacks " : ", ") + std::string(name);
  return *function != nullptr;
}

}  // namespace

std::unique_ptr<CLoadedUnit> CLoadedUnit::Open(const std::string& path, std::string* error) {
  std::unique_ptr<CLoadedUnit> unit(new CLoadedUnit());
  if (!Unpack(path, unit->folder.Path(), error)) return nullptr;
  std::ifstream file(unit->folder.Path("modelDescription.xml"), std::ios::binary);
  const std::string xml(std::istreambuf_iterator<char>(file), {});
  if (!file.is_open()) {
    *error = path + ": it has no modelDescription.xml";
    return nullptr;
  }
  if (ReadDescription(xml, &unit->description, error)) return unit;
  *error = path + ": " + *error;
  return nullptr;
}

CLoadedUnit::~CLoadedUnit() = default;

std::string CLoadedUnit::Library() const {
  return folder.Path(std::string("binaries/") + LOOPBOX_FMU_PLATFORM + "/" + description.identifier + ".so");
}

std::string CLoadedUnit::Resources() const { return "file://" + folder.Path("resources"); }

bool CLoadedUnit::Load(std::string* error) {
  void* const library = dlopen(Library().c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    *error = std::string("its library can't be loaded: ") + dlerror();
    return false;
  }
  bool isWhole = true;
#define LOOPBOX_FIND(result, name, parameters) isWhole = Find(library, #name, &functions.name, error) && isWhole;
  FMI2_FUNCTIONS(LOOPBOX_FIND)
#undef LOOPBOX_FIND
  return isWhole;
}

void CLoadedInstance::Log(fmi2ComponentEnvironment self, fmi2String, fmi2Status status, fmi2String, fmi2String message,
                          ...) {
  char text[2000];
  std::va_list arguments;
  va_start(arguments, message);
  std::vsnprintf(text, sizeof(text), message, arguments);
  va_end(arguments);
  if (status >= fmi2Error) static_cast<CLoadedInstance*>(self)->told = text;
}

CLoadedInstance::CLoadedInstance(const CLoadedUnit& unit, const std::string& name, const std::string& guid)
    : functions(unit.Functions()), callbacks{Log, std::calloc, std::free, nullptr, this} {
  component = functions.fmi2Instantiate(name.c_str(), fmi2CoSimulation, guid.c_str(), unit.Resources().c_str(),
                                        &callbacks, 0, 0);
}

CLoadedInstance::~CLoadedInstance() {
  if (component != nullptr) functions.fmi2FreeInstance(component);
}

fmi2Status CLoadedInstance::Begin(double start) {
  fmi2Status status = functions.fmi2SetupExperiment(component, 0, 0.0, start, 0, 0.0);
  if (status < fmi2Discard) status = functions.fmi2EnterInitializationMode(component);
  return status < fmi2Discard ? functions.fmi2ExitInitializationMode(component) : status;
}

}  // namespace fmu
