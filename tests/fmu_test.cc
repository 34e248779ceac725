// An application as a unit, driven by its functions as an importer drives it.
#include "fmu/fmu.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <sstream>
#include <thread>

#include "fmu/archive_file.h"
#include "fmu/loaded_unit.h"
#include "tests/support.h"

namespace {

namespace fs = std::filesystem;
using tests::Loopbox;

constexpr char kUnitLoop[] =
    "// A loop\n// of one regulator.\n"
    "application loop period = 0.5; duration = 50; end_application;\n"
    "data wish : real = 3 \"m\"; // the set-point\n x : real = 1 \"m\"; u : real \"%\"; n : integer = 2; on : boolean; "
    "z : "
    "real[2] = [4, 5]; spare : real; end_data;\n"
    "process x' = 0.1 * u - x; spare = 2 * x; end_process;\n"
    "instrument pid_regulator reg expression = x; wish_value = wish; output = u; start = output;\n"
    "  output_section range_from = 0; range_to = 100; end_output_section; end_instrument;\n";

const tests::CFolder& UnitsFolder() {
  static const tests::CFolder folder;
  return folder;
}

std::unique_ptr<fmu::CLoadedUnit> UnitOf(const std::string& application, const std::string& options = "") {
  const std::string path = UnitsFolder().Path("unit.fmu");
  const auto outcome = Loopbox("fmu " + application + " -o " + path + " " + options);
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  std::string error;
  auto unit = fmu::CLoadedUnit::Open(path, &error);
  if (unit == nullptr || !unit->Load(&error)) throw std::runtime_error(error);
  return unit;
}

std::unique_ptr<fmu::CLoadedUnit> LoopUnit(const std::string& options = "") {
  return UnitOf(UnitsFolder().Write("loop.lbx", kUnitLoop), options);
}

std::uint32_t ReferenceOf(const fmu::CLoadedUnit& unit, const std::string& name) {
  for (const fmu::TScalar& scalar : unit.Description().variables) {
    if (scalar.name == name) return scalar.reference;
  }
  throw std::runtime_error("no variable " + name);
}

// An instance of the unit, by the names of its variables.
class CDriven : public fmu::CLoadedInstance {
 public:
  explicit CDriven(const fmu::CLoadedUnit& theUnit)
      : CLoadedInstance(theUnit, "driven", theUnit.Description().guid), unit(theUnit), call(theUnit.Functions()) {}

  double Get(const std::string& name) const {
    const std::uint32_t reference = ReferenceOf(unit, name);
    const std::string& type = unit.Description().variables[reference].type;
    double value = std::numeric_limits<double>::quiet_NaN();
    int whole = -1;
    const fmi2Status status = type == "Real"      ? call.fmi2GetReal(Component(), &reference, 1, &value)
                              : type == "Integer" ? call.fmi2GetInteger(Component(), &reference, 1, &whole)
                                                  : call.fmi2GetBoolean(Component(), &reference, 1, &whole);
    EXPECT_EQ(status, fmi2OK) << name << ": " << Told();
    return type == "Real" ? value : whole;
  }
  fmi2Status Set(const std::string& name, double value) const {
    const std::uint32_t reference = ReferenceOf(unit, name);
    const std::string& type = unit.Description().variables[reference].type;
    const int whole = static_cast<int>(value);
    return type == "Real"      ? call.fmi2SetReal(Component(), &reference, 1, &value)
           : type == "Integer" ? call.fmi2SetInteger(Component(), &reference, 1, &whole)
                               : call.fmi2SetBoolean(Component(), &reference, 1, &whole);
  }
  fmi2Status Step(double time, double step) const { return call.fmi2DoStep(Component(), time, step, 1); }

  const fmu::CLoadedUnit& unit;
  const fmu::TFunctions& call;
};

using TColumns = std::map<std::string, std::vector<double>>;

TColumns ReadTrace(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::vector<std::string> names;
  TColumns columns;
  while (std::getline(file, line)) {
    std::istringstream cells(line.substr(0, line.find('\r')));
    std::size_t place = 0;
    const bool isHeader = names.empty();
    for (std::string cell; std::getline(cells, cell, ',');) {
      if (isHeader) {
        names.push_back(cell);
      } else if (place < names.size()) {
        columns[names[place++]].push_back(std::strtod(cell.c_str(), nullptr));
      }
    }
  }
  return columns;
}

void WriteInputs(const std::string& path, const TColumns& trace, const std::vector<std::string>& names) {
  std::ofstream file(path);
  file.precision(17);
  file << "time";
  for (const std::string& name : names) file << "," << name;
  for (std::size_t row = 0; row < trace.at("time").size(); ++row) {
    file << "\n" << trace.at("time")[row];
    for (const std::string& name : names) file << "," << trace.at(name)[row];
  }
  file << "\n";
}

std::vector<std::string> NamesOf(const fmu::CLoadedUnit& unit, const std::string& causality) {
  std::vector<std::string> names;
  for (const fmu::TScalar& scalar : unit.Description().variables) {
    if (scalar.causality == causality) names.push_back(scalar.name);
  }
  return names;
}

// In steps of the periods, and in others: what is set before a step acts in its periods.
void ExpectSameAsRun(const fmu::CLoadedUnit& unit, const TColumns& trace, double share) {
  CDriven driven(unit);
  ASSERT_NE(driven.Component(), nullptr) << driven.Told();
  ASSERT_LT(driven.Begin(100.0), fmi2Error) << driven.Told();
  const std::vector<std::string> inputs = NamesOf(unit, "input");
  const std::vector<std::string> outputs = NamesOf(unit, "output");
  const std::vector<double>& times = trace.at("time");
  double now = 0.0;
  for (std::size_t row = 0; row < times.size(); ++row) {
    for (const std::string& name : inputs) ASSERT_EQ(driven.Set(name, trace.at(name)[row]), fmi2OK);
    const double begin = now;
    for (double part = share; part < 1.0; part += share) {
      const double next = begin + part * (times[row] - begin);
      ASSERT_LT(driven.Step(100.0 + now, next - now), fmi2Error) << driven.Told();
      now = next;
    }
    ASSERT_LT(driven.Step(100.0 + now, times[row] - now), fmi2Error) << driven.Told();
    now = times[row];
    for (const std::string& name : outputs) {
      ASSERT_EQ(driven.Get(name), trace.at(name)[row]) << name << " at " << times[row] << " s";
    }
  }
}

TEST(Fmu, GivesWhatARunWithTheSameInputsGives) {
  std::vector<std::string> files{UnitsFolder().Write("loop.lbx", kUnitLoop)};
  const std::string examples = UnitsFolder().Path("examples");
  fs::copy(tests::SourcePath("examples"), examples, fs::copy_options::recursive);
  for (const auto& entry : fs::recursive_directory_iterator(examples)) {
    const std::string text = entry.path().extension() == ".lbx" ? tests::ReadFile(entry.path().string()) : "";
    if (!text.empty() && text.find("end_connections") == std::string::npos) files.push_back(entry.path().string());
  }
  EXPECT_GT(files.size(), 15u);
  // All of them where there is time.
  if (std::getenv("LOOPBOX_ALL_UNITS") == nullptr) files.resize(6);
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    const auto unit = UnitOf(file);
    EXPECT_EQ(fmu::Faults(unit->Description()), std::vector<std::string>());
    const std::string own = UnitsFolder().Path("own.csv");
    const std::string fed = UnitsFolder().Path("fed.csv");
    const std::string driven = UnitsFolder().Path("driven.csv");
    const std::string run = "run " + file + " --quiet --duration " + std::to_string(200.0 * *unit->Description().step);
    Loopbox(run + " --trace " + own);
    // What was learnt, which a unit doesn't keep.
    tests::Shell("find " + examples + " -name '*.par' -delete");
    const std::vector<std::string> inputs = NamesOf(*unit, "input");
    if (!inputs.empty()) {
      WriteInputs(fed, ReadTrace(own), inputs);
      Loopbox(run + " --input " + fed + " --trace " + driven);
    }
    ExpectSameAsRun(*unit, ReadTrace(inputs.empty() ? own : driven), file == files[0] ? 1.0 / 3.0 : 1.0);
  }
}

TEST(Fmu, DescribesTheApplication) {
  const auto unit = LoopUnit("--input z --output n");
  const fmu::TDescription& said = unit->Description();
  EXPECT_EQ(said.description, "A loop of one regulator.");
  EXPECT_EQ(NamesOf(*unit, "input"), (std::vector<std::string>{"x", "z[0]", "z[1]"}));
  EXPECT_EQ(NamesOf(*unit, "output"), (std::vector<std::string>{"u", "n"}));
  EXPECT_EQ(NamesOf(*unit, "parameter"), (std::vector<std::string>{"wish", "on"}));
  EXPECT_EQ(said.variables[0].description, "the set-point");
  EXPECT_EQ(said.variables[0].unit, "m");
  EXPECT_EQ(fmu::Faults(said), std::vector<std::string>());
  const auto whole = LoopUnit("--with-process");
  EXPECT_EQ(NamesOf(*whole, "input"), std::vector<std::string>());
  EXPECT_EQ(NamesOf(*whole, "local"), (std::vector<std::string>{"x", "spare"}));
  EXPECT_EQ(fmu::Faults(whole->Description()), std::vector<std::string>());
  const std::string file = UnitsFolder().Path("loop.lbx");
  tests::ExpectOutcome(Loopbox("fmu " + file + " -o /dev/null --input u"), 1, {"--input u: it is an output"});
  tests::ExpectOutcome(Loopbox("fmu " + file + " -o /dev/null --output y"), 1, {"y: there is no such data element"});
  tests::ExpectOutcome(Loopbox("fmu " + file), 2, {"-o is needed: the file of the unit"});
}

// The library is loaded into others' programs, and the process goes to other machines.
TEST(Fmu, NeedsTheCLibraryAlone) {
  const auto unit = LoopUnit();
  const std::string needed = tests::Shell("objdump -p " + unit->Library() + " | grep NEEDED").output;
  EXPECT_EQ(needed, "  NEEDED               libc.so.6\n");
  for (const char* part : {"loopbox-fmu", "loopbox.so"}) {
    const std::string file = unit->Resources().substr(7) + "/" + part;
    EXPECT_EQ(tests::Shell("objdump -p " + file + " | grep NEEDED | grep -vE 'lib(c|m)\\.so|ld-linux'").output, "")
        << part;
  }
}

// With the process inside, the wish that is set before the start is that of --set.
TEST(Fmu, TakesParameters) {
  const auto unit = LoopUnit("--with-process");
  const std::string trace = UnitsFolder().Path("set.csv");
  Loopbox("run " + UnitsFolder().Path("loop.lbx") + " --quiet --set wish=5 --set u=7 --trace " + trace);
  CDriven driven(*unit);
  EXPECT_EQ(driven.Set("wish", 5.0), fmi2OK);
  EXPECT_EQ(driven.Set("u", 7.0), fmi2OK);
  EXPECT_EQ(driven.Set("spare", 1.0), fmi2Error);  // computed
  EXPECT_EQ(driven.Get("wish"), 5.0);
  ASSERT_EQ(driven.Begin(0.0), fmi2OK);
  EXPECT_EQ(driven.Get("u"), 7.0);
  EXPECT_EQ(driven.Set("u", 1.0), fmi2Error);
  ASSERT_EQ(driven.Step(0.0, 50.0), fmi2OK);
  EXPECT_EQ(driven.Get("x"), ReadTrace(trace).at("x").back());
  EXPECT_EQ(driven.Set("n", 9), fmi2OK);
  EXPECT_EQ(driven.Get("n"), 9);
  EXPECT_EQ(driven.Set("wish", std::nan("")), fmi2Error);
}

TEST(Fmu, RunsWhatIsDueInAnyStep) {
  const auto unit = LoopUnit("--with-process");
  CDriven whole(*unit);
  CDriven parts(*unit);
  ASSERT_EQ(whole.Begin(0.0), fmi2OK);
  ASSERT_EQ(parts.Begin(0.0), fmi2OK);
  EXPECT_EQ(whole.Step(0.0, 1.2), fmi2OK);
  double now = 0.0;
  for (const double step : {0.0, 0.49, 0.01 - 1e-11, 0.3, 0.4}) {
    ASSERT_EQ(parts.Step(now, step), fmi2OK) << now;
    now += step;
  }
  EXPECT_EQ(parts.Get("u"), whole.Get("u"));
  EXPECT_EQ(parts.Get("x"), whole.Get("x"));
  EXPECT_EQ(parts.Step(0.7, 1.0), fmi2Error);
  tests::ExpectParts(parts.Told(), {"a step goes forward from the time that was reached"});
  EXPECT_EQ(parts.Step(1.2, -0.1), fmi2Error);
  EXPECT_EQ(parts.Step(1.2, std::nan("")), fmi2Error);
  EXPECT_EQ(parts.Step(1.2, 100.0), fmi2OK);  // the application's duration is no end
}

TEST(Fmu, ReturnsToStates) {
  const auto unit = LoopUnit("--with-process");
  CDriven driven(*unit);
  ASSERT_EQ(driven.Begin(0.0), fmi2OK);
  ASSERT_EQ(driven.Step(0.0, 2.0), fmi2OK);
  fmi2FMUstate state = nullptr;
  ASSERT_EQ(driven.call.fmi2GetFMUstate(driven.Component(), &state), fmi2OK);
  const double before = driven.Get("x");
  ASSERT_EQ(driven.Step(2.0, 3.0), fmi2OK);
  const double after = driven.Get("x");
  for (int again = 0; again < 2; ++again) {
    ASSERT_EQ(driven.call.fmi2SetFMUstate(driven.Component(), state), fmi2OK) << driven.Told();
    EXPECT_EQ(driven.Get("x"), before);
    ASSERT_EQ(driven.Step(2.0, 3.0), fmi2OK);
    EXPECT_EQ(driven.Get("x"), after);
  }
  ASSERT_EQ(driven.call.fmi2Reset(driven.Component()), fmi2OK);
  ASSERT_EQ(driven.Begin(0.0), fmi2OK);
  ASSERT_EQ(driven.Step(0.0, 2.0), fmi2OK);
  EXPECT_EQ(driven.Get("x"), before);
  ASSERT_EQ(driven.call.fmi2SetFMUstate(driven.Component(), state), fmi2OK);  // it outlives a reset
  EXPECT_EQ(driven.call.fmi2FreeFMUstate(driven.Component(), &state), fmi2OK);
  EXPECT_EQ(state, nullptr);
  std::size_t size = 0;
  EXPECT_EQ(driven.call.fmi2SerializedFMUstateSize(driven.Component(), state, &size), fmi2Error);
}

TEST(Fmu, RefusesWrongOrders) {
  const auto unit = LoopUnit();
  EXPECT_EQ(fmu::CLoadedInstance(*unit, "a", "{other}").Component(), nullptr);
  EXPECT_EQ(fmu::CLoadedInstance(*unit, "", unit->Description().guid).Component(), nullptr);
  CDriven driven(*unit);
  const fmu::TFunctions& call = driven.call;
  const auto expect = [&](fmi2Status status, const char* said) {
    EXPECT_EQ(status, fmi2Error);
    tests::ExpectParts(driven.Told(), {said});
  };
  expect(driven.Step(0.0, 1.0), "fmi2DoStep can't be called at this stage");
  expect(call.fmi2ExitInitializationMode(driven.Component()), "fmi2ExitInitializationMode can't be called");
  expect(call.fmi2EnterInitializationMode(driven.Component()), "fmi2SetupExperiment comes before");
  ASSERT_EQ(driven.Begin(0.0), fmi2OK);
  expect(driven.Begin(0.0), "fmi2SetupExperiment can't be called");
  const std::uint32_t beyond = 1000;
  double value = 0.0;
  expect(call.fmi2GetReal(driven.Component(), &beyond, 1, &value), "no variable of that type");
  ASSERT_EQ(call.fmi2Terminate(driven.Component()), fmi2OK);
  expect(driven.Step(0.0, 1.0), "fmi2DoStep can't be called");
  EXPECT_EQ(driven.Get("u"), 0.0);
}

// The processes below one, by their parents.
std::vector<pid_t> ChildrenOf(pid_t parent) {
  std::vector<pid_t> found;
  std::istringstream ids(
      tests::ReadFile("/proc/" + std::to_string(parent) + "/task/" + std::to_string(parent) + "/children"));
  for (pid_t id = 0; ids >> id;) found.push_back(id);
  return found;
}

// In µs, of one that lives.
double ProcessorTimeOf(pid_t id) {
  clockid_t clock = CLOCK_PROCESS_CPUTIME_ID;
  timespec spent{};
  EXPECT_TRUE(clock_getcpuclockid(id, &clock) == 0 && clock_gettime(clock, &spent) == 0);
  return 1e6 * static_cast<double>(spent.tv_sec) + 1e-3 * static_cast<double>(spent.tv_nsec);
}

// What a unit of ours can't do it refuses; a step is never pending.
TEST(Fmu, RefusesWhatItCanNot) {
  const auto unit = LoopUnit();
  CDriven driven(*unit);
  const fmu::TFunctions& call = driven.call;
  const fmi2Component self = driven.Component();
  const std::uint32_t any = 0;
  const int order = 1;
  double value = 0.0;
  int whole = 0;
  char byte = 0;
  const char* text = "";
  fmi2FMUstate state = nullptr;
  fmi2Status pending = fmi2OK;
  ASSERT_EQ(driven.Begin(1.0), fmi2OK);
  ASSERT_EQ(driven.Step(1.0, 1.5), fmi2OK);
  for (const fmi2Status status :
       {call.fmi2GetString(self, &any, 1, &text), call.fmi2SetString(self, &any, 1, &text), call.fmi2CancelStep(self),
        call.fmi2SerializeFMUstate(self, state, &byte, 1), call.fmi2DeSerializeFMUstate(self, &byte, 1, &state),
        call.fmi2GetDirectionalDerivative(self, &any, 1, &any, 1, &value, &value),
        call.fmi2SetRealInputDerivatives(self, &any, 1, &order, &value),
        call.fmi2GetRealOutputDerivatives(self, &any, 1, &order, &value), call.fmi2SetFMUstate(self, &byte)}) {
    EXPECT_EQ(status, fmi2Error);
  }
  EXPECT_EQ(call.fmi2GetString(self, nullptr, 0, nullptr), fmi2OK);
  EXPECT_EQ(call.fmi2GetStatus(self, fmi2DoStepStatus, &pending), fmi2Discard);
  EXPECT_EQ(call.fmi2GetStringStatus(self, fmi2PendingStatus, &text), fmi2Discard);
  EXPECT_EQ(call.fmi2GetIntegerStatus(self, fmi2LastSuccessfulTime, &whole), fmi2Discard);
  EXPECT_EQ(call.fmi2GetRealStatus(self, fmi2LastSuccessfulTime, &value), fmi2OK);
  EXPECT_EQ(value, 2.5);
  EXPECT_EQ(call.fmi2GetBooleanStatus(self, fmi2Terminated, &whole), fmi2OK);
  EXPECT_EQ(whole, 0);
  ASSERT_EQ(call.fmi2Terminate(self), fmi2OK);
  EXPECT_EQ(call.fmi2GetBooleanStatus(self, fmi2Terminated, &whole), fmi2OK);
  EXPECT_EQ(whole, 1);
}

void NoteCategory(fmi2ComponentEnvironment told, fmi2String, fmi2Status, fmi2String category, fmi2String, ...) {
  static_cast<std::string*>(told)->append(category).append(" ");
}

TEST(Fmu, TellsWhatARunTellsWhereItIsAsked) {
  const auto unit = UnitOf(UnitsFolder().Write(
      "says.lbx", tests::Replaced(kUnitLoop, "end_data;",
                                  "end_data;\nscript\nevery(1, function() print('at ' .. time()) if time() == 2 then "
                                  "error('no more') end end)\nend_script;")));
  const fmu::TFunctions& call = unit->Functions();
  std::string told;
  const fmi2CallbackFunctions callbacks{NoteCategory, std::calloc, std::free, nullptr, &told};
  const fmi2Component self = call.fmi2Instantiate("says", fmi2CoSimulation, unit->Description().guid.c_str(),
                                                  unit->Resources().c_str(), &callbacks, 0, 0);
  ASSERT_NE(self, nullptr);
  call.fmi2SetupExperiment(self, 0, 0.0, 0.0, 0, 0.0);
  call.fmi2EnterInitializationMode(self);
  call.fmi2ExitInitializationMode(self);
  EXPECT_EQ(call.fmi2DoStep(self, 0.0, 1.0, 1), fmi2OK);
  EXPECT_EQ(told, "");
  const char* const category = "logStatusWarn";
  EXPECT_EQ(call.fmi2SetDebugLogging(self, 1, 1, &category), fmi2OK);
  EXPECT_EQ(call.fmi2DoStep(self, 1.0, 1.0, 1), fmi2Warning);
  EXPECT_EQ(told, "logStatusNote logStatusWarn ");
  call.fmi2FreeInstance(self);
}

// Beyond what its periods cost in a run.
TEST(Fmu, GivesAStepAtLittleCost) {
  constexpr int kStepsOfARound = 500;
  constexpr double kMost = 40.0;  // µs
  const auto unit = LoopUnit("--with-process");
  const tests::CRun run(tests::Replaced(kUnitLoop, "duration = 50", "duration = 1e6"));
  CDriven driven(*unit);
  const pid_t worker = ChildrenOf(ChildrenOf(getpid()).back()).at(0);
  ASSERT_EQ(driven.Begin(0.0), fmi2OK);
  double now = 0.0;
  // The medians of a round, by the clock; of processor time the mean.
  const auto round = [&](const std::function<bool()>& step, double* spent) {
    std::vector<double> costs;
    const double before = ProcessorTimeOf(getpid()) + ProcessorTimeOf(worker);
    for (int i = 0; i < kStepsOfARound; ++i) {
      const auto begin = std::chrono::steady_clock::now();
      EXPECT_TRUE(step());
      costs.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count());
    }
    *spent = (ProcessorTimeOf(getpid()) + ProcessorTimeOf(worker) - before) / kStepsOfARound;
    std::nth_element(costs.begin(), costs.begin() + kStepsOfARound / 2, costs.end());
    return costs[kStepsOfARound / 2];
  };
  double least = HUGE_VAL;
  double leastSpent = HUGE_VAL;
  // Others disturb some rounds.
  for (int i = 0; i < 20 && (least > kMost || leastSpent > kMost); ++i) {
    double spent = 0.0;
    double spentInRun = 0.0;
    const double inRun = round([&] { return run->Step(); }, &spentInRun);
    const double cost = round([&] { return driven.Step(std::exchange(now, now + 0.5), 0.5) == fmi2OK; }, &spent);
    least = std::min(least, cost - inRun);
    leastSpent = std::min(leastSpent, spent - spentInRun);
  }
  EXPECT_LE(least, kMost);
  EXPECT_LE(leastSpent, kMost);
}

bool IsGone(pid_t id) {
  for (int look = 0; look < 200; ++look) {
    std::ifstream status("/proc/" + std::to_string(id) + "/stat");
    std::string text(std::istreambuf_iterator<char>(status), {});
    if (text.empty() || text.find(") Z") != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

TEST(Fmu, OutlivesItsKilledProcess) {
  const auto unit = LoopUnit();
  CDriven killed(*unit);
  const pid_t nest = ChildrenOf(getpid()).back();
  CDriven other(*unit);
  ASSERT_EQ(killed.Begin(0.0), fmi2OK);
  ASSERT_EQ(other.Begin(0.0), fmi2OK);
  kill(ChildrenOf(nest).at(0), SIGKILL);
  EXPECT_EQ(killed.Step(0.0, 1.0), fmi2Fatal);
  tests::ExpectParts(killed.Told(), {"the process of the instance has ended"});
  EXPECT_EQ(killed.Step(0.0, 1.0), fmi2Fatal);
  EXPECT_EQ(other.Step(0.0, 1.0), fmi2OK);
}

// However an importer ends, nothing of it stays. A thread that ends is not its end.
TEST(Fmu, EndsWithItsImporter) {
  const auto unit = LoopUnit();
  int ids[2];
  ASSERT_EQ(pipe(ids), 0);
  const pid_t importer = fork();
  if (importer == 0) {
    std::thread([&] {
      CDriven* const driven = new CDriven(*unit);
      driven->Begin(0.0);
      fmi2FMUstate state = nullptr;
      driven->call.fmi2GetFMUstate(driven->Component(), &state);
    }).join();
    usleep(50'000);
    const pid_t nest = ChildrenOf(getpid()).back();
    std::vector<pid_t> all = ChildrenOf(nest);
    all.push_back(nest);
    all.resize(3);
    if (write(ids[1], all.data(), 3 * sizeof(pid_t)) < 0) _exit(1);
    pause();
  }
  pid_t all[3] = {};
  ASSERT_EQ(read(ids[0], all, sizeof(all)), static_cast<ssize_t>(sizeof(all)));
  kill(importer, SIGKILL);
  waitpid(importer, nullptr, 0);
  for (const pid_t id : all) {
    ASSERT_GT(id, 1);
    EXPECT_TRUE(IsGone(id));
  }
  close(ids[0]);
  close(ids[1]);
}

// Of its own a unit of ours keeps every rule.
TEST(Fmu, IsChecked) {
  LoopUnit("--with-process --output spare");
  const auto outcome = Loopbox("fmu check " + UnitsFolder().Path("unit.fmu"));
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  EXPECT_EQ(outcome.output.find("skipped"), std::string::npos) << outcome.output;
  tests::ExpectParts(outcome.output, {"passed  killed-process", "The unit keeps the rules."});
  tests::ExpectOutcome(Loopbox("fmu check " + UnitsFolder().Write("none.fmu", "none")), 1,
                       {"it can't be opened as a unit"});
}

TEST(Fmu, DescriptionsAreJudged) {
  const auto rows = tests::TableRows("fmu.txt", "descriptions");
  for (const auto& row : rows) {
    const std::string xml =
        "<fmiModelDescription fmiVersion='2.0' modelName='m' guid='g'><CoSimulation "
        "modelIdentifier='m'/><UnitDefinitions><Unit name='m'/></UnitDefinitions><ModelVariables>" +
        row[0] + "</ModelVariables><ModelStructure>" + row[1] + "</ModelStructure></fmiModelDescription>";
    fmu::TDescription description;
    std::string said;
    if (fmu::ReadDescription(xml, &description, &said)) {
      for (const std::string& fault : fmu::Faults(description)) said += (said.empty() ? "" : "; ") + fault;
    }
    EXPECT_EQ(said.empty() ? "none" : said, row[2]) << row[0];
  }
}

// --- A unit of somebody else's as the process ------------------------------------------

void WriteTank() {
  constexpr char kTank[] =
      "<fmiModelDescription fmiVersion='2.0' modelName='tank' guid='{tank}'><CoSimulation modelIdentifier='tank' "
      "canHandleVariableCommunicationStepSize='true'/><ModelVariables>"
      "<ScalarVariable name='q' valueReference='0' causality='input'><Real start='0'/></ScalarVariable>"
      "<ScalarVariable name='tank.h' valueReference='1' causality='output' initial='exact'><Real start='1'/>"
      "</ScalarVariable><ScalarVariable name='fault' valueReference='2' causality='parameter' variability='fixed'>"
      "<Integer start='0'/></ScalarVariable></ModelVariables><ModelStructure><Outputs><Unknown index='2'/></Outputs>"
      "</ModelStructure></fmiModelDescription>";
  std::string bytes;
  std::string error;
  const std::string library = "binaries/" + fs::path(LoopUnit()->Library()).parent_path().filename().string();
  ASSERT_TRUE(fmu::Pack({{"modelDescription.xml", kTank},
                         {library + "/tank.so", tests::ReadFile(tests::BuildPath("tests/tank_unit.so"))}},
                        &bytes, &error))
      << error;
  UnitsFolder().Write("tank.fmu", bytes);
}

std::string WithTank(const std::string& process) {
  return UnitsFolder().Write("tank.lbx",
                             "application level period = 0.5; duration = 30; end_application;\n"
                             "data wish : real = 2; h : real = 1; u : real; end_data;\n" +
                                 process +
                                 "instrument pid_regulator reg expression = h; wish_value = wish; output = u;\n"
                                 "  output_section range_from = 0; range_to = 100; end_output_section;\n"
                                 "  parameters param_1 = 40; param_2 = 20; end_parameters; end_instrument;\n");
}

TEST(Fmu, AUnitIsTheProcess) {
  WriteTank();
  tests::ExpectOutcome(Loopbox("fmu check " + UnitsFolder().Path("tank.fmu")), 1,
                       {"failed   step-back", "skipped  killed-process", "passed   steps"});
  const std::string own = UnitsFolder().Path("own.csv");
  const std::string units = UnitsFolder().Path("units.csv");
  const std::string file =
      WithTank("process substeps = 100; h' = (0.02 * u - 0.5 * sqrt(max(h, 0))) / 2; end_process;\n");
  ASSERT_EQ(Loopbox("run " + file + " --quiet --trace " + own).status, 0);
  WithTank("process fmu = \"tank.fmu\"; inputs q = 0.02 * u; outputs \"tank.h\" = h; end_process;\n");
  const auto outcome = Loopbox("run " + file + " --quiet --trace " + units);
  ASSERT_EQ(outcome.status, 0) << outcome.output;
  const TColumns expected = ReadTrace(own);
  const TColumns found = ReadTrace(units);
  ASSERT_EQ(found.at("h").size(), 60u);
  for (std::size_t row = 0; row < 60; ++row) {
    EXPECT_NEAR(found.at("h")[row], expected.at("h")[row], 1e-3) << row;
    EXPECT_NEAR(found.at("u")[row], expected.at("u")[row], 0.1) << row;
  }
  EXPECT_EQ(Loopbox("check " + file).status, 0);
}

constexpr char kTankProcess[] =
    "process fmu = \"./tank.fmu\"; inputs q = 0.02 * u; outputs \"tank.h\" = h; end_process;\n";

// The unit goes along: nothing of the text's folder is needed any more.
TEST(Fmu, ARecordKeepsTheUnit) {
  WriteTank();
  const std::string file = WithTank(kTankProcess);
  const std::string record = UnitsFolder().Path("record");
  ASSERT_EQ(Loopbox("run " + file + " --quiet --record " + record).status, 0);
  fs::rename(UnitsFolder().Path("tank.fmu"), UnitsFolder().Path("other.fmu"));
  tests::ExpectOutcome(Loopbox("replay " + record), 0, {"the same as the record, to the last bit"});
  WithTank(tests::Replaced(kTankProcess, "./tank.fmu", UnitsFolder().Path("other.fmu")));
  tests::ExpectOutcome(Loopbox("run " + file + " --quiet --record " + record + "2"), 1,
                       {"the unit stands outside the application's folder"});
}

TEST(Fmu, AStudyRunsTheUnitInEachCase) {
  WriteTank();
  const std::string study = "study s runs = 4; vary wish = uniform(1, 3); keep final(h), max(u); end_study;\n";
  const std::string file = WithTank(kTankProcess + study);
  const std::string here = UnitsFolder().Path("here");
  tests::ExpectOutcome(Loopbox("study " + file + " --jobs 2 -o " + here), 0, {"s: 4 runs"});
  // By itself a case gives the same, and elsewhere too.
  const std::string told = tests::ReadFile(here + "/cases.csv");
  const std::string wish = told.substr(told.rfind(',') + 1);
  const std::string trace = UnitsFolder().Path("one.csv");
  Loopbox("run " + file + " --quiet --trace " + trace + " --set wish=" + wish.substr(0, wish.size() - 1));
  const std::string results = tests::ReadFile(here + "/results.csv");
  EXPECT_EQ(std::stod(results.substr(results.find("\n3,") + 3)), ReadTrace(trace).at("h").back());
  fs::remove(UnitsFolder().Path("tank.fmu"));
  fs::remove_all(here + "/parts");
  fs::create_directory(here + "/parts");
  EXPECT_EQ(Loopbox("study run " + here).status, 0);
  tests::ExpectOutcome(Loopbox("study merge " + here), 0, {"gave the same bits"});
  EXPECT_EQ(tests::ReadFile(here + "/results.csv"), results);
  tests::ExpectOutcome(Loopbox("study " + file), 1, {"tank.fmu: it can't be opened as a unit"});
  // A unit that fails costs its case.
  WriteTank();
  WithTank(tests::Replaced(kTankProcess, "inputs", "inputs fault = if(wish > 2, 1, 0),") + study);
  tests::ExpectOutcome(Loopbox("study " + file), 3, {"failed: 2", "the tank's level is 9 m"});
}

TEST(Fmu, AUnitThatFailsEndsTheRun) {
  WriteTank();
  const struct {
    const char* entries;
    const char* said;
  } rows[] = {
      {"fmu = \"none.fmu\"; outputs h = h;", "none.fmu: it can't be opened as a unit"},
      {"fmu = \"tank.fmu\"; outputs \"h\" = h;", "tank.fmu: the unit has no variable h"},
      {"fmu = \"tank.fmu\"; outputs q = h;", "tank.fmu: the variable q is no output"},
      {"fmu = \"tank.fmu\"; outputs \"tank.h\" = u;",
       "'u' is written by the unit of the process and by an instrument's"},
      {"fmu = \"tank.fmu\"; patience = 0; outputs \"tank.h\" = h;", "expected seconds above 0"},
      {"fmu = \"tank.fmu\"; inputs fault = 1; outputs \"tank.h\" = h;",
       "tank.fmu: a step at 2 s ends with status 3: the tank's level is 9 m"},
      {"fmu = \"tank.fmu\"; patience = 0.2; inputs fault = 2; outputs \"tank.h\" = h;",
       "it doesn't answer within 0.2 s"},
      {"fmu = \"tank.fmu\"; inputs fault = 3; outputs \"tank.h\" = h;", "its process ended by a signal: Aborted"},
      {"fmu = \"tank.fmu\"; inputs fault = 4; outputs \"tank.h\" = h;", "its process ended with status 7"},
      {"fmu = \"tank.fmu\"; inputs fault = 5; outputs \"tank.h\" = h;", "its output tank.h is not finite"},
  };
  for (const auto& row : rows) {
    const std::string file = WithTank("process " + std::string(row.entries) + " end_process;\n");
    tests::ExpectOutcome(Loopbox("run " + file + " --quiet"), 1, {row.said});
  }
  EXPECT_EQ(tests::Shell("pgrep -f 'loopbox ru[n].*" + UnitsFolder().Path("tank.lbx") + "'").output, "");
}

}  // namespace
