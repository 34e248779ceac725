#include "validation/testbed.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <utility>

#include "runtime/instruments/meters.h"
#include "runtime/text/wide_text.h"

namespace validation {

namespace {

constexpr char kSubject[] = "subject";

// With this name an instrument's own text has an instrument to refer to.
constexpr char kListener[] = "listener";

}  // namespace

CTestbed::CTestbed(CProbe& theProbe, const std::string& data, const std::string& definition, const std::string& script)
    : probe(theProbe) {
  const std::string path = probe.Path("check.lbx");
  std::ofstream(path, std::ios::binary) << "application check period = 1; duration = 1e9; end_application;\n"
                                        << data << script << "instrument meter " << kListener
                                        << " end_instrument;\ninstrument " << probe.ClassName() << " " << kSubject
                                        << "\n"
                                        << definition << "\nend_instrument;\n";
  runtime::TReadOptions options;
  options.path = path;
  options.print = [this](const std::string& line) { printed.push_back(line); };
  application = runtime::CApplication::Read(options, probe.Plugin(), &diagnostics);
  // Rewriting a file in place makes some file systems wait for the disk.
  std::filesystem::remove(path);
  if (application != nullptr) application->SetMessageSink([](const runtime::TRunTimeMessage&) {});
}

CTestbed::CTestbed(CProbe& theProbe, const CClassTexts& texts, const std::string& definition)
    : CTestbed(theProbe, texts.Data(), definition) {}

runtime::TInstrumentState& CTestbed::State() const {
  return runtime::InstrumentOf(runtime::StateOf(*application), kSubject);
}

hx_vinst::CInstrument& CTestbed::Subject() const { return *State().object; }

void CTestbed::Set(const std::string& element, double value) const {
  runtime::SetValue(runtime::StateOf(*application), element, value);
}

double CTestbed::Get(const std::string& element) const {
  return runtime::ValueOf(runtime::StateOf(*application), element);
}

void CTestbed::Act(std::uint32_t milliseconds, std::uint32_t reason) const {
  runtime::Act(runtime::StateOf(*application), Subject(), milliseconds, reason);
}

std::vector<const gaugekit::CMeter*> CTestbed::Meters() const {
  std::vector<const gaugekit::CMeter*> meters;
  for (const gaugekit::CMeter& meter : runtime::MetersOf(Subject())) meters.push_back(&meter);
  return meters;
}

bool CTestbed::ReadAgain(std::uint32_t end) const {
  CGuardedText error(kCapacity);
  CGuardedText token(kCapacity);
  const bool accepted = runtime::ReadDefinition(runtime::StateOf(*application), State(), end,
                                                {kCapacity, error.Buffer(), kCapacity, token.Buffer()});
  probe.Expect(accepted || !error.Text(probe, "ReadSelf").empty(), "a definition is refused without a message");
  return accepted;
}

bool CTestbed::ReadOver(const std::string& instrument) const {
  const runtime::TInstrumentState& other = runtime::InstrumentOf(runtime::StateOf(*application), instrument);
  const std::uint32_t own = std::exchange(State().begin, other.begin);
  const bool accepted = ReadAgain(other.end);
  State().begin = own;
  return accepted;
}

std::unique_ptr<CTestbed> MakeTestbed(CProbe& probe, const CClassTexts& texts, const std::string& definition) {
  probe.Doing("reading the definition: " + definition);
  auto testbed = std::make_unique<CTestbed>(probe, texts, definition);
  if (!testbed->IsRead()) {
    probe.Fail("the definition \"" + definition + "\" is refused: " +
               (testbed->Diagnostics().empty() ? "without a message" : testbed->Diagnostics().front().message));
  }
  probe.Doing("running with the definition: " + definition);
  return testbed;
}

void CheckOutputs(const CProbe& probe, const CClassTexts& texts, const CTestbed& testbed, const std::string& when) {
  const std::vector<const gaugekit::CMeter*> meters = testbed.Meters();
  int stepsOn = 0;
  for (const TWire& wire : texts.Wires()) {
    if (!wire.isOutput) continue;
    const double output = testbed.Get(wire.element);
    if (wire.isBoolean) {
      stepsOn += output != 0.0 ? 1 : 0;
      continue;
    }
    std::string shown = wire.keyword;
    shown.append(" = ").append(std::to_string(output)).append(" ").append(when);
    probe.Expect(std::isfinite(output), shown + ": an output is always finite");
    if (meters.empty()) continue;
    const gaugekit::CMeter& pane = *meters[runtime::kOutputPane];
    const auto [low, high] = std::minmax(pane.rangeFrom, pane.rangeTo);
    shown.append(" is out of the range of its pane, ").append(std::to_string(low));
    shown.append(" to ").append(std::to_string(high));
    probe.Expect(output >= low && output <= high, shown);
  }
  probe.Expect(stepsOn <= 1, "more than one of the two-state outputs is on " + when);
  for (const gaugekit::CMeter* meter : meters) {
    probe.Expect(std::isfinite(meter->meterValue), "a pane shows what is not finite " + when);
  }
}

std::vector<double> Look(const CTestbed& testbed) {
  hx_vinst::CInstrument& object = testbed.Subject();
  std::vector<double> look = {double(object.NeedsTiming()), double(object.stateWord & hx_vinst::kStateActivateAlways),
                              double(object.rect.x), double(object.rect.width)};
  for (const gaugekit::CMeter* meter : testbed.Meters()) {
    const gaugekit::CMeter& m = *meter;
    for (const double number : {double(m.mode), double(m.content), m.rangeFrom, m.rangeTo, m.lowLimit, m.highLimit,
                                double(m.rect.x), double(m.rect.width), double(m.disabled), double(m.painter.enable)}) {
      look.push_back(number);
    }
    look.insert(look.end(), m.historyBuffer, m.historyBuffer + m.history + 1);
    for (const std::uint32_t* word = &m.colors.borderInk; word <= &m.colors.vGrid; ++word) look.push_back(*word);
  }
  for (const vcont::CStaticText& text : runtime::TextsOf(object)) look.push_back(text.disabled);
  return look;
}

std::vector<double> Shown(const CClassTexts& texts, const CTestbed& testbed) {
  std::vector<double> shown;
  for (const TWire& wire : texts.Wires()) {
    if (wire.isOutput) shown.push_back(testbed.Get(wire.element));
  }
  for (const gaugekit::CMeter* meter : testbed.Meters()) shown.push_back(meter->meterValue);
  return shown;
}

// Inputs swing about the middle of the default range, each at its own pace, so
// that no output stays where it is.
void RunOrdinary(CProbe& probe, const CClassTexts& texts, const CTestbed& testbed, int periods, std::uint32_t start,
                 bool checked) {
  for (int k = 0; k < periods; ++k) {
    double pace = 0.1;
    for (const TWire& wire : texts.Wires()) {
      if (!wire.isOutput) testbed.Set(wire.element, wire.isBoolean ? 1.0 : 50.0 + 40.0 * std::sin(pace * k));
      pace += 0.13;
    }
    testbed.Act((start + static_cast<std::uint32_t>(k)) * 1000);
    if (checked) CheckOutputs(probe, texts, testbed, "in an ordinary period");
  }
}

// --- CClassTexts ---

namespace {

// What a class without a reference is asked for.
const TEntries& CommonEntries() {
  static const TEntries entries = {
      {"instrument", "expression", "expression", "", ""},
      {"instrument", "wish_value", "expression", "", ""},
      {"instrument", "manual", "expression", "", ""},
      {"instrument", "condition", "expression", "", ""},
      {"instrument", "output", "element", "", ""},
      {"instrument", "output_plus", "element", "", ""},
      {"instrument", "output_minus", "element", "", ""},
      {"instrument", "receivers", "names", "", ""},
      {"instrument", "inverse", "flag", "inverse;", ""},
      {"instrument", "file_name", "string", "file_name = \"learnt\";", ""},
      {"parameters", "file_name", "string", "file_name = \"learnt\";", ""},
  };
  return entries;
}

std::string InBlock(const std::string& block, const std::string& entry) {
  return block.empty() ? entry : block + " " + entry + " end_" + block + ";";
}

bool StartsWord(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

std::vector<std::string> WordsOf(const std::string& text) {
  std::vector<std::string> found;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t end = i;
    if (StartsWord(text[i])) {
      while (end < text.size() && (StartsWord(text[end]) || (text[end] >= '0' && text[end] <= '9'))) ++end;
      found.push_back(text.substr(i, end - i));
    }
    i = end == i ? i + 1 : end;
  }
  return found;
}

// The blocks in which an entry may stand; one empty name is the top level.
std::vector<std::string> BlocksOf(const TEntry& entry) {
  if (entry.section == "instrument" || entry.section == "system" || entry.section.empty()) return {""};
  return WordsOf(entry.section);
}

bool IsWired(const TEntry& entry) {
  return entry.type == "expression" || entry.type == "element" || entry.type == "names";
}

}  // namespace

CClassTexts::CClassTexts(CProbe& theProbe)
    : probe(theProbe), entries(theProbe.Entries().empty() ? CommonEntries() : theProbe.Entries()) {
  probe.Plugin();
  probe.Doing("trying what a definition may hold");
  // What the examples of the host's own entries name.
  data = "data\nhand : real;\nhand_on : boolean;\nby_hand : boolean;\n";
  for (const TEntry& entry : entries) {
    if (entry.type != "expression" && entry.type != "element") continue;
    data += entry.keyword + "_real : real;\n" + entry.keyword + "_flag : boolean;\n";
  }
  data += "end_data;\n";
  for (const TEntry& entry : entries) {
    if (IsWired(entry)) TryWire(entry);
  }
  probe.Doing("");
}

CClassChoices::CClassChoices(CProbe& theProbe) : CClassTexts(theProbe) {
  probe.Doing("trying what a definition may hold");
  for (const TEntry& entry : entries) {
    if (!IsWired(entry)) {
      for (const std::string& block : BlocksOf(entry)) TryEntry(entry, block);
    }
  }
  if (probe.Entries().empty()) refused.clear();
  MakeVariants();
  for (const char* word :
       {"=", ";", ",", "0", "-1", "1e308", "\"text\"", "#FF00FF", "(", ")", "[", "]", "end_colors"}) {
    words.push_back(word);
  }
  probe.Doing("");
}

bool CClassTexts::Accepts(const std::string& definition) const { return CTestbed(probe, data, definition).IsRead(); }

void CClassTexts::TryWire(const TEntry& entry) {
  words.push_back(entry.keyword);
  const bool names = entry.type == "names";
  const std::string ends[] = {names ? kListener : entry.keyword + "_real", names ? kListener : entry.keyword + "_flag"};
  for (const std::string& end : ends) {
    const std::string text = entry.keyword + " = " + end + ";";
    if (!Accepts(text)) continue;
    words.push_back(end);
    wiring += text + "\n";
    if (!names) wires.push_back({entry.keyword, end, end.ends_with("_flag"), entry.type == "element"});
    return;
  }
  refused.push_back(entry.keyword);
}

void CClassChoices::TryEntry(const TEntry& entry, const std::string& block) {
  words.push_back(entry.keyword);
  if (!block.empty()) words.insert(words.end(), {block, "end_" + block});
  if (entry.example.empty()) return;
  if (!Accepts(InBlock(block, entry.example))) {
    refused.push_back(entry.example);
    return;
  }
  examples.push_back(InBlock(block, entry.example) + "\n");
  if (entry.keyword == "file_name") {
    fileBlock = block;
    fileKeyword = entry.keyword;
  }
  if (entry.keyword == "range_from") ranges.push_back(block);
  TChoice choice{{""}};
  if (entry.type == "flag") choice.entries.push_back(entry.example);
  if (entry.type == "boolean") {
    choice.entries.push_back(entry.keyword + " = true;");
    switches[block] += choice.entries.back() + " ";
  }
  if (entry.type == "name") {
    // Some are right only together with a switch.
    for (const std::string& word : WordsOf(entry.range)) {
      const std::string text = entry.keyword + " = " + word + ";";
      const bool known = std::find(choice.entries.begin(), choice.entries.end(), text) != choice.entries.end();
      if (!known && (Accepts(InBlock(block, text)) || Accepts(InBlock(block, switches[block] + text)))) {
        choice.entries.push_back(text);
      }
    }
  }
  if (choice.entries.size() > 1) choices.emplace_back(block, std::move(choice));
}

// The top level's choices one by one, neighbours of a block with one another.
// A class may refuse a combination, though each entry of it is right.
void CClassChoices::MakeVariants() {
  variants.push_back(Wiring());
  std::vector<std::string> combined = {""};
  for (std::size_t i = 0; i < choices.size(); ++i) {
    const auto& [block, choice] = choices[i];
    std::vector<std::string> next;
    for (const std::string& before : block.empty() ? std::vector<std::string>{""} : combined) {
      for (const std::string& entry : choice.entries) next.push_back(before + entry + " ");
    }
    combined = std::move(next);
    if (!block.empty() && i + 1 < choices.size() && choices[i + 1].first == block) continue;
    for (std::size_t k = 1; k < combined.size(); ++k) {
      const std::string variant = Wiring() + InBlock(block, combined[k]);
      if (Accepts(variant)) variants.push_back(variant);
    }
    combined = {""};
  }
  for (const std::string range : {"range_from = -50; range_to = 50;", "range_from = -1e308; range_to = 1e308;"}) {
    std::string ranged = Wiring();
    for (const std::string& block : ranges) ranged += InBlock(block, range) + "\n";
    if (!ranges.empty()) variants.push_back(ranged);
  }
}

std::string CClassChoices::Fullest() const {
  std::string text = Wiring();
  for (const std::string& example : examples) {
    if (Accepts(text + example)) text += example;
  }
  return text;
}

const TWire* CClassTexts::Wire(const std::string& keyword) const {
  for (const TWire& wire : wires) {
    if (wire.keyword == keyword) return &wire;
  }
  return nullptr;
}

bool CClassChoices::FileKeyword(std::string* block, std::string* keyword) const {
  *block = fileBlock;
  *keyword = fileKeyword;
  return !fileKeyword.empty();
}

std::string CClassChoices::WithFile(const std::string& fileName) const {
  const auto found = switches.find(fileBlock);
  return Wiring() +
         InBlock(fileBlock, (found == switches.end() ? "" : found->second) + fileKeyword + " = \"" + fileName + "\";");
}

}  // namespace validation
