// Loading a plug-in and asking what it offers.
#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "runtime/instruments/driver.h"
#include "runtime/instruments/making.h"
#include "runtime/platform/regular_file.h"
#include "runtime/runtime.h"
#include "runtime/text/wide_text.h"

namespace runtime {

namespace {

constexpr std::uint32_t kMaximumClasses = 1000;  // a plug-in that never says no is cut off

template <typename TFunction>
bool FindExport(void* library, const char* exportName, TFunction* function, std::string* error) {
  void* symbol = dlsym(library, exportName);
  if (symbol == nullptr) {
    *error = std::string("the plug-in has no export ") + exportName;
    return false;
  }
  *function = reinterpret_cast<TFunction>(symbol);
  return true;
}

bool FindExports(void* library, TExports* exports, std::string* error) {
  return FindExport(library, "Version", &exports->version, error) &&
         FindExport(library, "Check", &exports->check, error) &&
         FindExport(library, "GetDLLInfo", &exports->getDllInfo, error) &&
         FindExport(library, "GetInstrumentName", &exports->getInstrumentName, error) &&
         FindExport(library, "GetInstrumentInfo", &exports->getInstrumentInfo, error) &&
         FindExport(library, "MakeInstrument", &exports->makeInstrument, error);
}

// A library's own initialiser is Init_ of the namespace named like its file.
// A plug-in that needs none of the platform's modules may lack it.
void InitialiseModule(void* library, const std::string& path) {
  const std::string stem = std::filesystem::path(path).stem().string();
  const std::string symbol = "_ZN" + std::to_string(stem.size()) + stem + "5Init_Ev";
  if (void* initialiser = dlsym(library, symbol.c_str())) reinterpret_cast<void (*)()>(initialiser)();
}

// What the plug-in calls it finds by name among what all of the process sees. A
// host that was itself loaded later, such as another program's extension, shows its
// libraries to nobody: then this one is shown.
void ShowOwnLibrary() {
  Dl_info found;
  link_map* own = nullptr;
  dladdr1(reinterpret_cast<void*>(&ShowOwnLibrary), &found, reinterpret_cast<void**>(&own), RTLD_DL_LINKMAP);
  if (own != nullptr && own->l_name[0] != 0) dlopen(own->l_name, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL);
}

// What a text can name.
bool IsName(std::string_view name) {
  const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  return !name.empty() && name.size() <= kMaximumNameLength && isLetter(name.front()) &&
         std::all_of(name.begin(), name.end(), [&](char c) { return isLetter(c) || isDigit(c); });
}

bool Enumerate(TPluginState* state, std::string* error) {
  char16_t text[kTextCapacity + 1] = {};
  std::uint8_t flag = 0;
  state->version = state->exports.version();
  state->exports.getDllInfo(kTextCapacity, text, &state->smallImage, &state->largeImage, &flag);
  state->name = Translated(Utf8(text));
  for (std::uint32_t index = 0; index < kMaximumClasses; ++index) {
    if (!state->exports.getInstrumentName(index, kTextCapacity, text)) break;
    TClass found;
    const std::u16string className = text;
    found.name = Utf8(className);
    if (!IsName(found.name)) {
      *error = "the name of class " + std::to_string(index + 1) + " is no identifier of at most 63 characters";
      return false;
    }
    if (state->exports.getInstrumentInfo(static_cast<std::uint32_t>(className.size()), className.c_str(),
                                         &found.smallImage, &found.largeImage, &found.infoWord, kTextCapacity, text)) {
      found.description = Translated(Utf8(text));
    }
    state->classes.push_back(std::move(found));
  }
  return true;
}

}  // namespace

CPlugin::CPlugin() : state(std::make_unique<TPluginState>()) {}

CPlugin::~CPlugin() {
  if (state->library != nullptr) dlclose(state->library);
}

std::unique_ptr<CPlugin> CPlugin::Load(const std::string& path, std::string* error) {
  std::unique_ptr<CPlugin> plugin(new CPlugin());
  TPluginState& state = *plugin->state;
  std::error_code failure;
  // A bare name would be looked for in the system's library folders.
  state.path = std::filesystem::absolute(path, failure).string();
  if (!std::filesystem::exists(state.path, failure)) {
    *error = path + ": there is no such plug-in";
    return nullptr;
  }
  std::string problem;
  if (!IsRegularFile(state.path, &problem)) {
    *error = path + ": the plug-in can't be loaded: it " + problem;
    return nullptr;
  }
  ShowOwnLibrary();
  state.library = dlopen(state.path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (state.library == nullptr) {
    *error = path + ": the plug-in can't be loaded: " + dlerror();
    return nullptr;
  }
  if (!FindExports(state.library, &state.exports, error)) {
    *error = path + ": " + *error;
    return nullptr;
  }
  char16_t message[kTextCapacity + 1] = {};
  if (!state.exports.check(kTextCapacity, message, 0, 0, 0, hx_main::kInterfaceNumber)) {
    *error = path + ": the plug-in refuses this host: " + Translated(Utf8(message));
    return nullptr;
  }
  InitialiseModule(state.library, state.path);
  if (!Enumerate(&state, error)) {
    *error = path + ": " + *error;
    return nullptr;
  }
  return plugin;
}

const std::string& CPlugin::Path() const { return state->path; }
const std::string& CPlugin::Name() const { return state->name; }
std::uint32_t CPlugin::Version() const { return state->version; }
const std::uint8_t* CPlugin::SmallImage() const { return state->smallImage; }
const std::uint8_t* CPlugin::LargeImage() const { return state->largeImage; }
const std::vector<TClass>& CPlugin::Classes() const { return state->classes; }

TPluginState& StateOf(CPlugin& plugin) { return *plugin.state; }

bool CPlugin::Describe(const std::string& className, TClassDescription* description, std::string* error) {
  // An application of nothing but this instrument, without a definition.
  TApplicationState application(*this);
  hx_vinst::CInstrument* object = MakeObject(application, className, className, error);
  if (object == nullptr) return false;
  description->events = Described(EventsOf(*object));
  description->procedures = Described(ProceduresOf(*object));
  char16_t keyword[kTextCapacity + 1];
  char16_t text[kTextCapacity + 1];
  std::uint32_t* word = nullptr;
  std::uint32_t defaultColor = 0;
  for (std::uint32_t index = 0;
       object->GetColorDescription(index, 0, &word, kTextCapacity, keyword, kTextCapacity, text, &defaultColor);
       ++index) {
    description->colors.push_back({Utf8(keyword), Translated(Utf8(text)), defaultColor});
  }
  ReleaseObject(object);
  return true;
}

}  // namespace runtime
