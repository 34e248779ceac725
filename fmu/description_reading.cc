// Reading modelDescription.xml, and the rules that it must keep.
#include <expat.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string_view>

#include "fmu/description.h"

namespace fmu {
namespace {

constexpr const char* kTypes[] = {"Real", "Integer", "Boolean", "String", "Enumeration"};

bool IsTrue(const std::string& text) { return text == "true" || text == "1"; }

using TAttributes = std::map<std::string, std::string, std::less<>>;

// What the parser calls: the elements that matter, by the names of those around.
class CReading {
 public:
  explicit CReading(TDescription& theRead) : read(theRead) {}

  void Begin(const std::string& name, const TAttributes& attributes);
  void End() { path.pop_back(); }
  const std::string& Problem() const { return problem; }

 private:
  static std::string Of(const TAttributes& attributes, const char* name) {
    const auto found = attributes.find(name);
    return found == attributes.end() ? "" : found->second;
  }
  template <typename TNumber>
  TNumber NumberOf(const TAttributes& attributes, const char* name) {
    const std::string text = Of(attributes, name);
    TNumber number{};
    const char* const end = text.data() + text.size();
    const auto [stopped, failure] = std::from_chars(text.data(), end, number);
    if ((failure != std::errc() || stopped != end) && problem.empty()) {
      problem = std::string("expected a number as ") + name + ", found \"" + text + "\"";
    }
    return number;
  }
  bool IsIn(const char* around) const { return path.size() >= 2 && path[path.size() - 2] == around; }

  TDescription& read;
  std::vector<std::string> path;
  std::string problem;
};

void CReading::Begin(const std::string& name, const TAttributes& attributes) {
  path.push_back(name);
  if (path.size() == 1) {
    if (name != "fmiModelDescription") problem = "expected fmiModelDescription, found " + name;
    read.version = Of(attributes, "fmiVersion");
    read.name = Of(attributes, "modelName");
    read.guid = Of(attributes, "guid");
    read.description = Of(attributes, "description");
    read.tool = Of(attributes, "generationTool");
  } else if (name == "CoSimulation" && path.size() == 2) {
    read.identifier = Of(attributes, "modelIdentifier");
    read.needsTool = IsTrue(Of(attributes, "needsExecutionTool"));
    read.keepsStates = IsTrue(Of(attributes, "canGetAndSetFMUstate"));
    read.takesAnyStep = IsTrue(Of(attributes, "canHandleVariableCommunicationStepSize"));
    read.isOnlyOnce = IsTrue(Of(attributes, "canBeInstantiatedOnlyOncePerProcess"));
  } else if (name == "Unit" && IsIn("UnitDefinitions")) {
    read.units.push_back(Of(attributes, "name"));
  } else if (name == "DefaultExperiment" && path.size() == 2) {
    if (attributes.contains("stopTime")) read.stop = NumberOf<double>(attributes, "stopTime");
    if (attributes.contains("stepSize")) read.step = NumberOf<double>(attributes, "stepSize");
  } else if (name == "ScalarVariable") {
    TScalar scalar;
    scalar.name = Of(attributes, "name");
    scalar.reference = NumberOf<std::uint32_t>(attributes, "valueReference");
    scalar.causality = Of(attributes, "causality");
    scalar.variability = Of(attributes, "variability");
    scalar.initial = Of(attributes, "initial");
    scalar.description = Of(attributes, "description");
    read.variables.push_back(std::move(scalar));
  } else if (IsIn("ScalarVariable")) {
    for (const char* type : kTypes) {
      if (name != type) continue;
      read.variables.back().type = name;
      read.variables.back().start = Of(attributes, "start");
      read.variables.back().unit = Of(attributes, "unit");
    }
  } else if (name == "Unknown" && IsIn("Outputs")) {
    read.outputs.push_back(NumberOf<std::uint32_t>(attributes, "index"));
  } else if (name == "Unknown" && IsIn("InitialUnknowns")) {
    read.unknowns.push_back(NumberOf<std::uint32_t>(attributes, "index"));
  }
}

void XMLCALL OnBegin(void* reading, const XML_Char* name, const XML_Char** attributes) {
  TAttributes all;
  for (; *attributes != nullptr; attributes += 2) all[attributes[0]] = attributes[1];
  static_cast<CReading*>(reading)->Begin(name, all);
}

void XMLCALL OnEnd(void* reading, const XML_Char*) { static_cast<CReading*>(reading)->End(); }

struct TFreeParser {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

// --- The rules -----------------------------------------------------------------------

// What may stand as `initial` with a causality and a variability, by the standard's
// table: the first is what an empty one means.
struct TInitialRule {
  const char* causality;
  const char* variability;
  std::vector<const char*> initial;  // empty: none may be given
};

const std::vector<TInitialRule>& InitialRules() {
  static const std::vector<TInitialRule> rules = {
      {"parameter", "fixed", {"exact"}},
      {"parameter", "tunable", {"exact"}},
      {"calculatedParameter", "fixed", {"calculated", "approx"}},
      {"calculatedParameter", "tunable", {"calculated", "approx"}},
      {"input", "discrete", {}},
      {"input", "continuous", {}},
      {"output", "constant", {"exact"}},
      {"output", "discrete", {"calculated", "exact", "approx"}},
      {"output", "continuous", {"calculated", "exact", "approx"}},
      {"local", "constant", {"exact"}},
      {"local", "fixed", {"calculated", "approx"}},
      {"local", "tunable", {"calculated", "approx"}},
      {"local", "discrete", {"calculated", "exact", "approx"}},
      {"local", "continuous", {"calculated", "exact", "approx"}},
      {"independent", "continuous", {}},
  };
  return rules;
}

class CRules {
 public:
  explicit CRules(const TDescription& theJudged) : judged(theJudged) {}

  std::vector<std::string> Find();

 private:
  void Add(const TScalar& scalar, const std::string& what) { faults.push_back(scalar.name + ": " + what); }
  void JudgeScalar(const TScalar& scalar);
  void JudgeStart(const TScalar& scalar, const std::string& initial);
  void JudgeStructure();
  std::string InitialOf(const TScalar& scalar) const;

  const TDescription& judged;
  std::vector<std::string> faults;
  std::set<std::string> names;
  std::set<std::string> units;
  std::map<std::pair<std::string, std::uint32_t>, const TScalar*> references;
};

std::string Causality(const TScalar& scalar) { return scalar.causality.empty() ? "local" : scalar.causality; }

std::string Variability(const TScalar& scalar) {
  return !scalar.variability.empty() ? scalar.variability : scalar.type == "Real" ? "continuous" : "discrete";
}

const TInitialRule* RuleOf(const TScalar& scalar) {
  for (const TInitialRule& rule : InitialRules()) {
    if (Causality(scalar) == rule.causality && Variability(scalar) == rule.variability) return &rule;
  }
  return nullptr;
}

std::string CRules::InitialOf(const TScalar& scalar) const {
  const TInitialRule* const rule = RuleOf(scalar);
  if (!scalar.initial.empty() || rule == nullptr || rule->initial.empty()) return scalar.initial;
  return rule->initial.front();
}

void CRules::JudgeStart(const TScalar& scalar, const std::string& initial) {
  const bool needs = initial == "exact" || initial == "approx" || Causality(scalar) == "input";
  if (needs && scalar.start.empty() && scalar.type != "String") Add(scalar, "it needs a start");
  if (initial == "calculated" && !scalar.start.empty()) Add(scalar, "it is calculated and has a start");
  if (scalar.start.empty()) return;
  const char* const end = scalar.start.data() + scalar.start.size();
  double number = 0.0;
  const bool isNumber = std::from_chars(scalar.start.data(), end, number).ptr == end;
  const bool isWhole = isNumber && number == std::floor(number);
  const bool isTruth = scalar.start == "true" || scalar.start == "false" || scalar.start == "0" || scalar.start == "1";
  if ((scalar.type == "Real" && !isNumber) || (scalar.type == "Integer" && !isWhole) ||
      (scalar.type == "Boolean" && !isTruth)) {
    Add(scalar, "its start is no value of its type: " + scalar.start);
  }
}

void CRules::JudgeScalar(const TScalar& scalar) {
  if (scalar.name.empty()) Add(scalar, "a variable without a name");
  if (!names.insert(scalar.name).second) Add(scalar, "a second variable of that name");
  if (scalar.type.empty()) Add(scalar, "it has no type");
  if (Variability(scalar) == "continuous" && scalar.type != "Real") Add(scalar, "only a Real is continuous");
  const TInitialRule* const rule = RuleOf(scalar);
  if (rule == nullptr) {
    Add(scalar, "no variable is " + Causality(scalar) + " and " + Variability(scalar));
    return;
  }
  const auto isAllowed = [&](const char* word) { return scalar.initial == word; };
  bool isKnown = scalar.initial.empty();
  for (const char* word : rule->initial) isKnown = isKnown || isAllowed(word);
  if (!isKnown) Add(scalar, "its initial can't be " + scalar.initial);
  JudgeStart(scalar, InitialOf(scalar));
  if (!scalar.unit.empty() && !units.contains(scalar.unit)) Add(scalar, "its unit isn't defined: " + scalar.unit);
  // Those of one reference are one variable by several names: at most one is set.
  const TScalar*& other = references[{scalar.type, scalar.reference}];
  const auto isSet = [this](const TScalar& one) {
    return Causality(one) == "input" || Causality(one) == "parameter" || InitialOf(one) == "exact";
  };
  if (other != nullptr && isSet(*other) && isSet(scalar)) Add(scalar, "it has the value reference of " + other->name);
  other = &scalar;
}

void CRules::JudgeStructure() {
  std::set<std::uint32_t> expected;
  std::set<std::uint32_t> calculated;
  for (std::uint32_t i = 0; i < judged.variables.size(); ++i) {
    const TScalar& scalar = judged.variables[i];
    const std::string initial = InitialOf(scalar);
    if (Causality(scalar) != "output") continue;
    expected.insert(i + 1);
    if (initial == "calculated" || initial == "approx") calculated.insert(i + 1);
  }
  const std::set<std::uint32_t> outputs(judged.outputs.begin(), judged.outputs.end());
  const std::set<std::uint32_t> unknowns(judged.unknowns.begin(), judged.unknowns.end());
  if (outputs != expected || outputs.size() != judged.outputs.size()) {
    faults.emplace_back("the structure's outputs aren't the variables that are outputs");
  }
  for (const std::uint32_t place : calculated) {
    if (!unknowns.contains(place)) {
      faults.push_back(judged.variables[place - 1].name + ": it is calculated, and none of the initial unknowns");
    }
  }
  for (const std::uint32_t place : unknowns) {
    if (place == 0 || place > judged.variables.size()) faults.emplace_back("an initial unknown that is no variable");
  }
}

std::vector<std::string> CRules::Find() {
  if (judged.version != "2.0") faults.push_back("it is of version " + judged.version + " of the interface, not 2.0");
  if (judged.name.empty()) faults.emplace_back("it has no name");
  if (judged.guid.empty()) faults.emplace_back("it has no GUID");
  if (judged.identifier.empty()) faults.emplace_back("it isn't for co-simulation");
  if (judged.identifier.find('/') != std::string::npos) faults.emplace_back("its identifier is no name");
  for (const std::string& unit : judged.units) {
    if (!units.insert(unit).second) faults.push_back("two units are called " + unit);
  }
  for (const TScalar& scalar : judged.variables) JudgeScalar(scalar);
  JudgeStructure();
  return std::move(faults);
}

}  // namespace

bool ReadDescription(const std::string& xml, TDescription* description, std::string* error) {
  *description = {};
  const std::unique_ptr<std::remove_pointer_t<XML_Parser>, TFreeParser> parser(XML_ParserCreate(nullptr));
  CReading reading(*description);
  XML_SetUserData(parser.get(), &reading);
  XML_SetElementHandler(parser.get(), OnBegin, OnEnd);
  const bool isForm = XML_Parse(parser.get(), xml.data(), static_cast<int>(xml.size()), 1) == XML_STATUS_OK;
  if (isForm && reading.Problem().empty()) return true;
  *error = "modelDescription.xml";
  if (!isForm) {
    *error += ":" + std::to_string(XML_GetCurrentLineNumber(parser.get())) + ":" +
              std::to_string(XML_GetCurrentColumnNumber(parser.get()) + 1);
  }
  *error += ": " + (isForm ? reading.Problem() : std::string(XML_ErrorString(XML_GetErrorCode(parser.get()))));
  return false;
}

std::vector<std::string> Faults(const TDescription& description) { return CRules(description).Find(); }

}  // namespace fmu
