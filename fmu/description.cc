#include "fmu/description.h"

#include <string_view>

#include "fmu/unit/number_text.h"

namespace fmu {
namespace {

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '"') {
      escaped += "&quot;";
    } else {
      escaped += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
  }
  return escaped;
}

// Nothing where the value is empty.
std::string Attribute(const char* name, std::string_view value) {
  return value.empty() ? "" : std::string(" ") + name + "=\"" + Escaped(value) + "\"";
}

std::string Scalar(const TScalar& scalar) {
  return "    <ScalarVariable" + Attribute("name", scalar.name) +
         Attribute("valueReference", std::to_string(scalar.reference)) + Attribute("description", scalar.description) +
         Attribute("causality", scalar.causality) + Attribute("variability", scalar.variability) +
         Attribute("initial", scalar.initial) + ">\n      <" + scalar.type + Attribute("start", scalar.start) +
         Attribute("unit", scalar.unit) + "/>\n    </ScalarVariable>\n";
}

std::string Unknowns(const char* name, const std::vector<std::uint32_t>& places) {
  if (places.empty()) return "";
  std::string text = std::string("    <") + name + ">\n";
  for (const std::uint32_t place : places) text += "      <Unknown index=\"" + std::to_string(place) + "\"/>\n";
  return text + "    </" + name + ">\n";
}

const char* Truth(bool value) { return value ? "true" : "false"; }

}  // namespace

std::string Xml(const TDescription& description) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<fmiModelDescription" +
                     Attribute("fmiVersion", description.version) + Attribute("modelName", description.name) +
                     Attribute("guid", description.guid) + Attribute("description", description.description) +
                     Attribute("generationTool", description.tool) +
                     " variableNamingConvention=\"structured\" numberOfEventIndicators=\"0\">\n  <CoSimulation" +
                     Attribute("modelIdentifier", description.identifier) +
                     Attribute("canHandleVariableCommunicationStepSize", Truth(description.takesAnyStep)) +
                     Attribute("canGetAndSetFMUstate", Truth(description.keepsStates)) +
                     " canNotUseMemoryManagementFunctions=\"true\"/>\n";
  if (!description.units.empty()) {
    text += "  <UnitDefinitions>\n";
    for (const std::string& unit : description.units) text += "    <Unit" + Attribute("name", unit) + "/>\n";
    text += "  </UnitDefinitions>\n";
  }
  text += "  <LogCategories>\n";
  for (const char* category : {"logStatusNote", "logStatusWarn", "logStatusError", "logStatusFatal"}) {
    text += std::string("    <Category name=\"") + category + "\"/>\n";
  }
  text += "  </LogCategories>\n  <DefaultExperiment startTime=\"0\"";
  if (description.stop) text += Attribute("stopTime", NumberText(*description.stop));
  if (description.step) text += Attribute("stepSize", NumberText(*description.step));
  text += "/>\n  <ModelVariables>\n";
  for (const TScalar& scalar : description.variables) text += Scalar(scalar);
  return text + "  </ModelVariables>\n  <ModelStructure>\n" + Unknowns("Outputs", description.outputs) +
         Unknowns("InitialUnknowns", description.unknowns) + "  </ModelStructure>\n</fmiModelDescription>\n";
}

}  // namespace fmu
