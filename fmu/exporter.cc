// An application made a unit.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include "fmu/archive_file.h"
#include "fmu/description.h"
#include "fmu/fmu.h"
#include "fmu/unit/frames.h"
#include "fmu/unit/number_text.h"
#include "fmu/unit/unit_file.h"
#include "hash/hash.h"

namespace fmu {
namespace {

namespace fs = std::filesystem;

constexpr char kProgramName[] = "loopbox-fmu";
constexpr char kComment[] = "//";

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsInWord(char c) { return IsLetter(c) || (c >= '0' && c <= '9'); }

// The words of a text outside its quotes; those of comments that begin so aside.
void AddWords(std::string_view text, std::string_view comment, std::set<std::string>* words) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text.substr(at).starts_with(comment)) {
      at = std::min(text.find('\n', at), text.size());
    } else if (text[at] == '"') {
      at = std::min(text.find('"', at + 1), text.size());
    } else if (IsInWord(text[at])) {
      const std::size_t begin = at;
      while (at + 1 < text.size() && IsInWord(text[at + 1])) ++at;
      words->emplace(text.substr(begin, at + 1 - begin));
    }
  }
}

// What instruments and scripts may read.
std::set<std::string> WordsRead(const runtime::CApplication& application) {
  std::set<std::string> words;
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    for (const runtime::TDefinitionEntry& entry : application.Instrument(i).Definition()) {
      AddWords(entry.value, kComment, &words);
    }
  }
  const std::string_view text = application.Text();
  constexpr std::string_view kScript = "\nscript";
  constexpr std::string_view kEnd = "\nend_script";
  for (std::size_t at = text.find(kScript); at != std::string_view::npos; at = text.find(kScript, at)) {
    const std::size_t end = std::min(text.find(kEnd, at), text.size());
    AddWords(text.substr(at, end - at), "--", &words);
    at = end;
  }
  return words;
}

std::string_view LineAt(std::string_view text, std::size_t at) { return text.substr(at, text.find('\n', at) - at); }

std::string Trimmed(std::string_view text) {
  constexpr const char* kBlanks = " \t\r";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return std::string(text.substr(0, text.find_last_not_of(kBlanks) + 1));
}

// The comment behind a declaration on its line.
std::string CommentBehind(std::string_view text, std::size_t at) {
  const std::string_view line = LineAt(text, at);
  std::size_t end = 0;
  for (bool isQuoted = false; end < line.size() && (isQuoted || line[end] != ';'); ++end) {
    isQuoted = isQuoted != (line[end] == '"');
  }
  const std::string rest = Trimmed(line.substr(std::min(end + 1, line.size())));
  return rest.starts_with(kComment) ? Trimmed(rest.substr(2)) : "";
}

// The comment at the top of the text, as one line.
std::string CommentAtTop(std::string_view text) {
  std::string whole;
  while (text.starts_with(kComment)) {
    const std::string_view said = LineAt(text, 0);
    const std::string line = Trimmed(said.substr(2));
    if (!line.empty()) whole += (whole.empty() ? "" : " ") + line;
    text.remove_prefix(std::min(said.size() + 1, text.size()));
  }
  return whole;
}

// A name of C's.
std::string Identifier(const std::string& name) {
  std::string identifier = name.empty() || !IsLetter(name[0]) ? "_" : "";
  for (const char c : name) identifier += IsInWord(c) ? c : '_';
  return identifier;
}

class CExporter {
 public:
  CExporter(runtime::CApplication& theApplication, const TParts& theParts, const TExport& theWhat, TExported& theMade)
      : application(theApplication), parts(theParts), what(theWhat), made(theMade) {}

  bool Export(std::string* error);

 private:
  using TItems = std::set<std::pair<std::size_t, std::size_t>>;

  bool FindItems(const std::vector<std::string>& names, TItems* items, std::string* error) const;
  bool Classify(std::string* error);
  bool ClassifyItem(const runtime::TElement& element, const runtime::TItem& item, std::string* error);
  void AddVariable(const runtime::TElement& element, const runtime::TItem& item, ECausality causality);
  bool AddFile(const std::string& name, const std::string& path, std::string* error, bool isProgram = false);
  bool AddParameterFiles(std::string* error);
  void SetGuid();

  runtime::CApplication& application;
  const TParts& parts;
  const TExport& what;
  TExported& made;
  TItems inputs;
  TItems outputs;
  std::set<std::string> read;
  TUnitFile unit;
  TDescription description;
  std::vector<TMember> members;
};

bool CExporter::FindItems(const std::vector<std::string>& names, TItems* items, std::string* error) const {
  for (const std::string& name : names) {
    bool isArray = false;
    for (std::size_t i = 0; i < application.ElementCount() && !isArray; ++i) {
      const runtime::TElement element = application.Element(i);
      isArray = element.length != 0 && element.name == name;
      for (std::size_t item = 0; isArray && item < element.length; ++item) items->emplace(i, item);
    }
    runtime::TItem item;
    if (!isArray && !application.FindItem(name, &item, error)) {
      *error = name + ": " + *error;
      return false;
    }
    if (!isArray) items->emplace(item.element, item.item);
  }
  return true;
}

void CExporter::AddVariable(const runtime::TElement& element, const runtime::TItem& item, ECausality causality) {
  TScalar scalar;
  scalar.name = element.name + (element.length == 0 ? "" : "[" + std::to_string(item.item) + "]");
  scalar.reference = static_cast<std::uint32_t>(unit.variables.size());
  scalar.type = element.isBoolean ? "Boolean" : element.isInteger ? "Integer" : "Real";
  scalar.causality = kCausalityWords[static_cast<std::size_t>(causality)];
  const bool isReal = scalar.type == "Real";
  // What comes from outside may change at any time; all others at a period alone.
  scalar.variability = causality == ECausality::kParameter         ? "tunable"
                       : causality == ECausality::kInput && isReal ? "continuous"
                                                                   : "discrete";
  const double value = application.ElementValue(item.element, item.item);
  std::string ignored;
  const bool isFree = application.WriteElement(item, value, &ignored);
  if (causality != ECausality::kInput) scalar.initial = isFree ? "exact" : "calculated";
  if (causality == ECausality::kInput || isFree) scalar.start = ValueText(element.isBoolean, value);
  if (isReal) scalar.unit = element.unit;
  scalar.description = CommentBehind(application.Text(), element.offset);
  const auto place = static_cast<std::uint32_t>(description.variables.size() + 1);
  if (causality == ECausality::kOutput) description.outputs.push_back(place);
  if (causality == ECausality::kOutput && !isFree) description.unknowns.push_back(place);
  if (!scalar.unit.empty() &&
      std::find(description.units.begin(), description.units.end(), scalar.unit) == description.units.end()) {
    description.units.push_back(scalar.unit);
  }
  unit.variables.push_back({causality, scalar.name});
  if (causality == ECausality::kInput) made.inputs.push_back(scalar.name);
  if (causality == ECausality::kOutput) made.outputs.push_back(scalar.name);
  if (causality == ECausality::kParameter) ++made.parameters;
  description.variables.push_back(std::move(scalar));
}

bool CExporter::ClassifyItem(const runtime::TElement& element, const runtime::TItem& item, std::string* error) {
  const std::pair place(item.element, item.item);
  const char* const writer = application.WriterOf(item);
  const bool isProcess = writer != nullptr && std::string_view(writer) == runtime::kWriterProcess;
  if (inputs.contains(place)) {
    if (element.isOutput || outputs.contains(place)) {
      *error = "--input " + element.name + ": it is an output";
      return false;
    }
    AddVariable(element, item, ECausality::kInput);
  } else if (element.isOutput || outputs.contains(place)) {
    AddVariable(element, item, ECausality::kOutput);
  } else if (!isProcess) {
    AddVariable(element, item, ECausality::kParameter);
  } else if (!what.keepsProcess && read.contains(element.name)) {
    AddVariable(element, item, ECausality::kInput);
  } else if (unit.keepsProcess) {
    AddVariable(element, item, ECausality::kLocal);
  }
  if (unit.variables.size() <= kMostVariables) return true;
  *error = "more than " + std::to_string(kMostVariables) + " variables";
  return false;
}

bool CExporter::Classify(std::string* error) {
  if (!FindItems(what.inputs, &inputs, error) || !FindItems(what.outputs, &outputs, error)) return false;
  read = WordsRead(application);
  std::set<std::string> elements;
  for (std::size_t i = 0; i < application.ElementCount(); ++i) elements.insert(application.Element(i).name);
  unit.keepsProcess = what.keepsProcess || std::any_of(read.begin(), read.end(), [&](const std::string& word) {
                        return !elements.contains(word) && application.ProcessComputes(word);
                      });
  // An output that the process computes needs it.
  for (const auto& [element, item] : outputs) {
    if (application.WriterOf({element, item}) == nullptr || application.Element(element).isOutput) continue;
    unit.keepsProcess = true;
  }
  for (std::size_t i = 0; i < application.ElementCount(); ++i) {
    const runtime::TElement element = application.Element(i);
    const std::size_t count = element.length == 0 ? 1 : element.length;
    for (std::size_t item = 0; item < count; ++item) {
      if (!ClassifyItem(element, {i, item}, error)) return false;
    }
  }
  made.keepsProcess = unit.keepsProcess;
  return true;
}

bool CExporter::AddFile(const std::string& name, const std::string& path, std::string* error, bool isProgram) {
  std::ifstream file(path, std::ios::binary);
  TMember member{name, {std::istreambuf_iterator<char>(file), {}}, isProgram};
  if (!file.is_open() || file.bad()) {
    *error = path + ": it can't be read";
    return false;
  }
  members.push_back(std::move(member));
  return true;
}

// Those that the application's instruments name, as far as they are there, beside it.
bool CExporter::AddParameterFiles(std::string* error) {
  const fs::path folder = fs::path(what.file).parent_path();
  std::set<std::string> names;
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    for (const std::string& path : application.Instrument(i).Files()) {
      std::error_code ignored;
      if (!fs::is_regular_file(path, ignored)) continue;
      const std::string name = fs::path(path).lexically_relative(folder.empty() ? "." : folder).string();
      if (name.empty() || name.starts_with("..")) {
        made.notes.push_back(path + ": it doesn't stand beside the application, and doesn't come along");
      } else if (names.insert(name).second &&
                 !AddFile(std::string("resources/") + kApplicationFolder + "/" + name, path, error)) {
        return false;
      }
    }
  }
  return true;
}

// Of all that the unit is made of: the same unit has the same.
void CExporter::SetGuid() {
  std::string whole = TextOf(unit) + Xml(description);
  for (const TMember& member : members) whole += hash::Hex(hash::Sha256(member.name + "\n" + member.bytes));
  const std::string hex = hash::Hex(hash::Sha256(whole));
  unit.guid = description.guid = "{" + hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" +
                                 hex.substr(16, 4) + "-" + hex.substr(20, 12) + "}";
}

bool CExporter::Export(std::string* error) {
  const std::string stem = fs::path(what.file).stem().string();
  description.version = "2.0";
  description.name = application.Name().empty() ? stem : application.Name();
  description.identifier = Identifier(description.name);
  description.description = CommentAtTop(application.Text());
  description.tool = what.tool;
  description.keepsStates = description.takesAnyStep = true;
  description.stop = application.Duration();
  description.step = application.Period();
  unit.name = stem;
  unit.plugin = fs::path(parts.plugin).filename().string();
  const std::string resources = "resources/";
  if (!Classify(error) ||
      !AddFile(std::string("binaries/") + LOOPBOX_FMU_PLATFORM + "/" + description.identifier + ".so", parts.shim,
               error) ||
      !AddFile(resources + kProgramName, parts.program, error, true) ||
      !AddFile(resources + unit.plugin, parts.plugin, error) || !AddParameterFiles(error)) {
    return false;
  }
  const std::string language = (fs::path(parts.plugin).parent_path() / kLanguageFile).string();
  if (fs::exists(language) && !AddFile(resources + kLanguageFile, language, error)) return false;
  members.push_back({resources + kApplicationFile, std::string(application.Text())});
  SetGuid();
  members.push_back({resources + kUnitFile, TextOf(unit)});
  members.insert(members.begin(), {"modelDescription.xml", Xml(description)});
  return Pack(members, &made.bytes, error);
}

}  // namespace

bool Export(runtime::CApplication& application, const TParts& parts, const TExport& what, TExported* made,
            std::string* error) {
  return CExporter(application, parts, what, *made).Export(error);
}

}  // namespace fmu
