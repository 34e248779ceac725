#include "bench/applications.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "bench/baseline.h"
#include "processes/temporary_folder.h"

namespace bench {

namespace {

[[noreturn]] void Fail(const std::string& message) {
  std::fprintf(stderr, "bench: %s\n", message.c_str());
  std::exit(1);
}

}  // namespace

std::string FilePath(const std::string& name) {
  static const std::filesystem::path memory = "/dev/shm";
  static const processes::CTemporaryFolder folder(
      "bench", std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path());
  return folder.Path(name);
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!file.flush()) Fail(path + ": can't be written");
}

runtime::CPlugin& Plugin() {
  static const std::unique_ptr<runtime::CPlugin> plugin = [] {
    std::string error;
    auto loaded = runtime::CPlugin::Load(LOOPBOX_PLUGIN, &error);
    if (!loaded) Fail(error);
    return loaded;
  }();
  return *plugin;
}

std::unique_ptr<runtime::CApplication> Read(const std::string& path) {
  runtime::TReadOptions options;
  options.path = path;
  std::vector<runtime::TDiagnostic> diagnostics;
  auto application = runtime::CApplication::Read(options, Plugin(), &diagnostics);
  if (!application) Fail(diagnostics.empty() ? path : Format(diagnostics.front()));
  return application;
}

std::unique_ptr<runtime::CApplication> ReadText(const std::string& text) {
  const std::string path = FilePath("bench.lbx");
  WriteFile(path, text);
  return Read(path);
}

const std::vector<std::pair<std::string, TShape>>& Shapes() {
  static const std::vector<std::pair<std::string, TShape>> shapes = [] {
    std::vector<std::pair<std::string, TShape>> all;
    for (const runtime::TClass& item : Plugin().Classes()) all.push_back({item.name, {.className = item.name}});
    all.insert(all.end(), {{"sine", {.sine = true}},
                           {"script event", {.event = true}},
                           {"one history pane", {.historyPanes = 1}},
                           {"two history panes", {.historyPanes = 2}},
                           {"adaptive", {.adaptive = true}},
                           {"variable law", {.law = "variable", .adaptive = true}}});
    return all;
  }();
  return shapes;
}

bool FindShape(const std::string& name, TShape* shape) {
  for (const auto& [known, found] : Shapes()) {
    if (known != name) continue;
    *shape = found;
    return true;
  }
  return false;
}

std::string Text(const TShape& shape) {
  std::string data;
  std::string instruments;
  std::string script;
  runtime::TClassDescription description;
  std::string error;
  if (!Plugin().Describe(shape.className, &description, &error)) Fail(error);
  const std::string& event = description.events.at(0).name;  // its letters say what the output is
  const bool continuous = event.ends_with("__R");
  const bool incremental = event.ends_with("__ll");
  const bool hasLaw = shape.className == "pid_regulator";
  for (std::size_t i = 0; i < shape.count; ++i) {
    const std::string n = std::to_string(i);
    const std::string phase = std::to_string(static_cast<double>(i % 64) + 0.123457);
    data.append("  sp").append(n).append(" : real = ").append(std::to_string(80 + i % 40)).append(".5;\n");
    data.append("  pv").append(n).append(" : real = ").append(phase).append(";\n");
    data.append("  out").append(n).append(continuous ? " : real;\n" : " : boolean;\n");
    instruments.append("instrument ").append(shape.className).append(" r").append(n);
    instruments.append("\n  wish_value = sp").append(n).append(" * 0.5;\n  expression = pv").append(n);
    instruments += shape.sine ? " + sin(ramp);\n" : " + ramp;\n";
    instruments +=
        std::string("  condition = run;\n  ") + (incremental ? "output_plus" : "output") + " = out" + n + ";\n";
    const auto mode = [&shape](int pane) { return shape.historyPanes > pane ? " mode = history;" : ""; };
    instruments += std::string("  value_section range_from = 0; range_to = 100;") + mode(0) + " end_value_section;\n";
    if (shape.historyPanes > 1)
      instruments += std::string("  wish_value_section") + mode(1) + " end_wish_value_section;\n";
    if (hasLaw) {
      instruments += "  parameters\n    regulator_type = " + shape.law + ";\n";
      instruments += shape.adaptive ? "    adaptive = true;\n" : "    param_1 = 2; param_2 = 30; param_3 = 1.5;\n";
      instruments += "  end_parameters;\n";
    }
    instruments += "end_instrument;\n";
    if (shape.event) {
      script += incremental ? "  function r" + n + ".OnOutput(minus, plus) return minus, plus end\n"
                            : "  function r" + n + ".OnOutput(u) return u end\n";
    }
  }
  std::string text = "application bench\n  period = 0.1;\n  duration = 100000000;\nend_application;\n";
  text += "data\n  ramp : real;\n  run : boolean = true;\n" + data + "end_data;\n" + instruments;
  if (!script.empty()) text += "script\n" + script + "end_script;\n";
  return text;
}

CBenchRun::CBenchRun(const std::string& text) : application(ReadText(text)) {
  runtime::TItem ramp;
  std::string error;
  if (!application->FindItem("ramp", &ramp, &error)) return;
  ramps.push_back(ramp);
  if (!application->AddLink(*this, &error)) Fail(error);
}

bool CBenchRun::BeforePeriod(double, std::string*) {
  application->SetElementValue(ramps.front(), Varied(done++));
  return true;
}

void CBenchRun::Step(std::size_t periods) {
  for (std::size_t i = 0; i < periods; ++i) {
    if (!application->Step()) Fail("the run is over");
  }
}

}  // namespace bench
