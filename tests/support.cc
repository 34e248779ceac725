#include "tests/support.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <bit>
#include <fstream>
#include <sstream>
#include <utility>

#include "runtime/instruments/meters.h"
#include "runtime/trace.h"

namespace {

// Messages are Czech, whatever the language of who runs the tests.
[[maybe_unused]] const int kInitialLanguage = setenv("LC_ALL", "C", 1);

}  // namespace

namespace tests {

std::string BuildPath(const std::string& name) { return std::string(LOOPBOX_BUILD) + "/" + name; }
std::string SourcePath(const std::string& name) { return std::string(LOOPBOX_SOURCE) + "/" + name; }

runtime::CPlugin& Plugin() {
  static std::string error;
  static const std::unique_ptr<runtime::CPlugin> plugin = runtime::CPlugin::Load(BuildPath("loopbox.so"), &error);
  if (plugin == nullptr) throw std::runtime_error(error);
  return *plugin;
}

std::string CFolder::Write(const std::string& name, const std::string& text) const {
  std::ofstream(Path(name), std::ios::binary) << text;
  return Path(name);
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
  return text;
}

std::vector<std::vector<std::string>> TableRows(const std::string& file, const std::string& section) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(ReadFile(SourcePath("tests/" + file)));
  bool isInside = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('[')) isInside = line == "[" + section + "]";
    if (!isInside || line.empty() || line.starts_with('[') || line.starts_with('#')) continue;
    std::vector<std::string>& cells = rows.emplace_back();
    for (std::size_t at = 0, bar = 0; bar != std::string::npos; at = bar + 3) {
      bar = line.find(" | ", at);
      cells.push_back(line.substr(at, bar - at));
    }
  }
  EXPECT_FALSE(rows.empty()) << file << " " << section;
  return rows;
}

std::vector<std::string> ClassNames() {
  std::vector<std::string> names;
  for (const runtime::TClass& item : Plugin().Classes()) names.push_back(item.name);
  return names;
}

std::string EventLetters(const std::string& className) {
  runtime::TClassDescription description;
  std::string error;
  if (!Plugin().Describe(className, &description, &error)) throw std::runtime_error(error);
  const std::string& event = description.events.at(0).name;
  return event.substr(event.rfind('_') + 1);
}

std::string OneRegulator(const std::string& className, const std::string& entries, const std::string& period) {
  const std::map<std::string, std::string> outputs = {
      {"R", "output = u;"}, {"l", "output = on;"}, {"ll", "output_plus = plus; output_minus = minus;"}};
  return "application test period = " + period +
         "; duration = 1e8; end_application;\n"
         "data x : real = 50; wish : real = 50; hand : real; u : real; run : boolean = true;\n"
         "on : boolean; plus : boolean; minus : boolean; end_data;\n"
         "instrument " +
         className + " reg expression = x; wish_value = wish; condition = run;\n" +
         outputs.at(EventLetters(className)) + "\n" + entries + "\nend_instrument;\n";
}

std::string ParameterFile(std::uint32_t law, const TLearnt& learnt) {
  std::string bytes;
  const auto put = [&bytes](std::uint64_t word, int size) {
    for (int i = 0; i < size; ++i) bytes += static_cast<char>(word >> (8 * i) & 0xFF);
  };
  put(law, 4);
  for (const double real : learnt) put(std::bit_cast<std::uint64_t>(real), 8);
  return bytes;
}

CRun::CRun(const std::string& text, runtime::TReadOptions options) : own(std::make_unique<CFolder>()) {
  Read(*own, "test.lbx", text, std::move(options));
}

CRun::CRun(const CFolder& place, const std::string& name, const std::string& text, runtime::TReadOptions options) {
  Read(place, name, text, std::move(options));
}

void CRun::Read(const CFolder& place, const std::string& name, const std::string& text, runtime::TReadOptions options) {
  options.path = place.Write(name, text);
  options.print = [this](const std::string& line) { printed.push_back(line); };
  application = runtime::CApplication::Read(options, Plugin(), &diagnostics);
  if (application == nullptr) return;
  application->SetMessageSink([this](const runtime::TRunTimeMessage& message) { messages.push_back(message); });
}

std::string CRun::Diagnostics() const {
  std::string text;
  for (runtime::TDiagnostic diagnostic : diagnostics) {
    if (!diagnostic.path.empty()) diagnostic.path = "FILE";
    text += runtime::Format(diagnostic);
  }
  return text;
}

void CRun::Steps(std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) ASSERT_TRUE((*this)->Step());
}

double CRun::Value(const std::string& element, std::size_t item) const {
  return runtime::ValueOf(State(), element, item);
}

void CRun::SetValue(const std::string& element, double value, std::size_t item) const {
  runtime::SetValue(State(), element, value, item);
}

runtime::CInstrumentHandle CRun::Instrument(const std::string& name) const {
  return (*this)->Instrument(State().instrumentByName.at(name));
}

hx_vinst::CInstrument& CRun::Object(const std::string& name) const {
  return *runtime::InstrumentOf(State(), name).object;
}

gaugekit::CMeter& CRun::Meter(const std::string& name, runtime::EPane pane) const {
  hx_vinst::CInstrument& object = Object(name);
  if (object.kind == view::kMeter) return static_cast<gaugekit::CMeter&>(object);
  gaugekit::CMeter* meter = runtime::MeterOf(object, pane);
  if (meter == nullptr) throw std::runtime_error("no such pane");
  return *meter;
}

std::vector<double> CRun::Call(const std::string& instrument, const std::string& procedure,
                               std::vector<double> arguments) const {
  EXPECT_TRUE(Instrument(instrument).Call(procedure, &arguments)) << procedure;
  return arguments;
}

std::string CRun::Trace() {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* file = open_memstream(&text, &size);
  runtime::CTrace trace(**this, {}, file);
  while (application->Step()) trace.WriteRow();
  application->End();
  EXPECT_TRUE(trace.Flush());
  std::fclose(file);
  std::string result(text, size);
  free(text);
  return result;
}

bool CRun::ReadAgain(std::size_t instrument, std::uint32_t end) const {
  char16_t error[runtime::kTextCapacity + 1] = {};
  char16_t token[runtime::kTokenCapacity + 1] = {};
  return runtime::ReadDefinition(State(), State().instruments[instrument], end,
                                 {runtime::kTextCapacity, error, runtime::kTokenCapacity, token});
}

TOutcome Shell(const std::string& command) {
  TOutcome outcome{-1, {}};
  std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return outcome;
  char buffer[4096];
  for (std::size_t read = 0; (read = fread(buffer, 1, sizeof buffer, pipe)) > 0;) outcome.output.append(buffer, read);
  const int status = pclose(pipe);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return outcome;
}

TOutcome Loopbox(const std::string& arguments) { return Shell(BuildPath("loopbox") + " " + arguments); }

void ExpectParts(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
}

void ExpectOutcome(const TOutcome& outcome, int status, const std::vector<std::string>& parts) {
  EXPECT_EQ(outcome.status, status) << outcome.output;
  ExpectParts(outcome.output, parts);
}

}  // namespace tests
