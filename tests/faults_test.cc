// The program when the world around it fails: signals, full disks, readers and
// folders that go, memory that ends, plug-ins that crash.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "tests/support.h"

namespace {

using tests::ExpectOutcome;
using tests::Shell;
using tests::TOutcome;

// Learns, and keeps what it has learnt in heater.par.
constexpr char kLearning[] =
    "application learning period = 0.01; duration = 1e6; end_application;\n"
    "data w : real = 5; x : real; u : real; end_data;\n"
    "process x' = (u - x) / 20; end_process;\n"
    "instrument pid_regulator heater expression = x; wish_value = w; output = u;\n"
    "parameters adaptive = true; file_name = \"heater.par\"; end_parameters; end_instrument;\n";

class Faults : public testing::Test {
 protected:
  // Where the tests were started by nohup, they would ignore it, and the program with them.
  Faults() { std::signal(SIGHUP, SIG_DFL); }

  // A command line for bash in the folder, where P is the program.
  TOutcome In(const std::string& command) const {
    return Shell("cd " + folder.Path(".") + " && P=" + tests::BuildPath("loopbox") + " bash -c '" + command + "'");
  }
  bool Exists(const std::string& name) const { return std::filesystem::exists(folder.Path(name)); }

  const tests::CFolder folder;
  const std::string learning = folder.Write("learning.lbx", kLearning);
};

TEST_F(Faults, ASignalEndsARunWithAllThatItKeeps) {
  folder.Write("busy.lbx", std::string(kLearning) +
                               "script\nevery(1, function() for i = 1, 1e6 do end end)\n"
                               "end_script;\n");
  folder.Write("slow.lbx", std::string(kLearning) + "script\nat(0, function() while true do end end)\nend_script;\n");
  const std::pair<const char*, const char*> rows[] = {
      {"INT", "learning.lbx"},
      {"TERM", "learning.lbx"},
      {"HUP", "learning.lbx"},
      {"INT", "learning.lbx --realtime"},
      {"TERM", "learning.lbx --realtime --period 100"},
      {"INT", "busy.lbx"},
      {"INT", "slow.lbx"},
  };
  for (const auto& [signal, arguments] : rows) {
    SCOPED_TRACE(std::string(signal) + " " + arguments);
    std::filesystem::remove(folder.Path("heater.par"));
    std::filesystem::remove(folder.Path("t.csv"));
    ExpectOutcome(
        In(std::string("$P run ") + arguments +
           " --trace t.csv & until [ -e t.csv ]; do sleep 0.01; done; sleep 0.1; kill -" + signal + " $!; wait $!"),
        130, {"stopped at t=", "heater"});
    EXPECT_TRUE(Exists("heater.par"));
    EXPECT_TRUE(tests::ReadFile(folder.Path("t.csv")).ends_with("\r\n"));
  }
}

TEST_F(Faults, ASecondInterruptionEndsAtOnce) {
  // Nobody reads the pipe, so that the run waits in its writing.
  ExpectOutcome(
      In("mkfifo p; exec 3<>p; $P run learning.lbx --quiet --trace p & pid=$!; head -c 1 <&3 >/dev/null; sleep 0.1;"
         "kill -INT $pid; sleep 0.1; kill -0 $pid && kill -INT $pid; wait $pid; echo status $?"),
      0, {"status 130"});
}

TEST_F(Faults, AFailedWriteIsToldAndTheRestIsKept) {
  folder.Write("short.lbx", std::string(kLearning).replace(std::string(kLearning).find("1e6"), 3, "100"));
  const struct {
    const char* command;
    int status;
    const char* message;
  } rows[] = {
      {"$P run short.lbx --trace /dev/full", 1, "/dev/full: the trace is not complete: No space left on device"},
      {"$P run short.lbx --trace - | head -1; exit ${PIPESTATUS[0]}", 1,
       "standard output: the trace is not complete: Broken pipe"},
      {"ln -sf /dev/full f.png; $P run short.lbx --panes f.png", 1, "f.png: "},
      {"ln -sf /dev/full f.svg; $P run short.lbx --plot f.svg", 1, "f.svg: "},
      {"(ulimit -f 20; $P run learning.lbx --duration 100 --trace t.csv; s=$?; tail -c 1 t.csv | wc -l; exit $s)", 1,
       "t.csv: the trace is not complete: File too large\nlearning: "},
      {"(echo old > r.html; ulimit -f 20; $P run short.lbx --report r.html; s=$?; cat r.html; exit $s)", 1, "\nold\n"},
      // What was open when its folder's name went is written all the same.
      {"mkdir -p gone; $P run short.lbx --realtime --duration 0.5 --trace gone/t.csv & "
       "until rm -r gone/t.csv 2>/dev/null; do sleep 0.01; done; rmdir gone; wait $!",
       0, "learning: 50 periods"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.command);
    std::filesystem::remove(folder.Path("heater.par"));
    ExpectOutcome(In(row.command), row.status, {row.message, "heater"});
    EXPECT_TRUE(Exists("heater.par"));
  }
  // A folder where nobody can write, not even the superuser.
  for (const char* option : {"--trace", "--panes", "--plot"}) {
    for (const char* place : {"learning.lbx/x.svg", "/proc/x.svg"}) {
      ExpectOutcome(In(std::string("$P run short.lbx ") + option + " " + place), 1, {place, "can't be written"});
    }
  }
}

TEST_F(Faults, ACrashingPluginIsNamed) {
  const std::string crashes = tests::BuildPath("tests/regulator_crashes.so");
  const std::string making = tests::BuildPath("tests/regulator_crashes_making.so");
  for (const char* command : {"run learning.lbx", "check learning.lbx", "classes", "describe pid_regulator"}) {
    SCOPED_TRACE(command);
    ExpectOutcome(In(std::string("$P ") + command + " --plugin " + crashes), 1,
                  {"loopbox: " + crashes + ": the plug-in crashed while it was loaded (invalid access to memory)\n"});
    if (std::string_view(command) == "classes") continue;
    ExpectOutcome(In(std::string("$P ") + command + " --plugin " + making), 1,
                  {making, "crashed while", "(aborted)\n"});
  }
}

TEST_F(Faults, APluginThatEndsTheProgramIsNamed) {
  const std::string ends = tests::BuildPath("tests/regulator_ends.so");
  const std::string crashed = "loopbox: " + ends + ": the plug-in crashed while it was loaded ";
  for (const char* how : {"exit", "_exit", "quick_exit"}) {
    for (const char* command : {"run learning.lbx", "check learning.lbx", "classes", "describe pid_regulator"}) {
      SCOPED_TRACE(std::string(how) + " " + command);
      ExpectOutcome(In(std::string("ENDS=") + how + " $P " + command + " --plugin " + ends), 1,
                    {crashed + "(ended the program)\n"});
    }
  }
  ExpectOutcome(In("ENDS=signal $P classes --plugin " + ends), 1, {crashed + "(User defined signal 1)\n"});
  for (const auto& [how, message] : std::initializer_list<std::pair<const char*, const char*>>{
           {"exit", "ended the process with exit status 0"},
           {"forges", "ended the process with exit status 0"},
           {"floods", "answered without an end while loading the plug-in"}}) {
    SCOPED_TRACE(how);
    ExpectOutcome(In(std::string("ENDS=") + how + " $P validate --include load/opens " + ends), 1,
                  {message, "The plug-in does not conform."});
  }
}

TEST_F(Faults, ASmallStackIsNoFaultOfThePlugin) {
  ExpectOutcome(In("ulimit -Ss 32; $P run learning.lbx --duration 1"), 0, {"heater"});
  folder.Write("deep.lbx", "process x = " + std::string(150, '(') + "1" + std::string(150, ')') + "; end_process;");
  ExpectOutcome(In("ulimit -s 32; $P run deep.lbx"), 1, {"loopbox: the stack of 32 KiB is too small"});
}

// Neither by cases that leave processes, nor by a signal, is anything left.
TEST_F(Faults, AValidationLeavesNothingBehind) {
  const std::string validate = "export TMPDIR=$PWD LEFT=left-of-$$; $P validate --include load/opens " +
                               tests::BuildPath("tests/regulator_ends.so");
  const std::string left = "; echo status $?; sleep 0.01; ls -d loopbox-* 2>/dev/null; pgrep -f $LEFT; true";
  EXPECT_EQ(In("export ENDS=leaves; " + validate + " >/dev/null" + left).output, "status 0\n");
  for (const char* signal : {"INT", "TERM", "HUP"}) {
    EXPECT_EQ(In("export ENDS=hangs; " + validate + " & until pgrep -f ^$LEFT >/dev/null; do sleep 0.01; done; kill -" +
                 signal + " $!; wait $!" + left)
                  .output,
              "loopbox: interrupted\nstatus 130\n")
        << signal;
  }
}

// A sample of the allocations that the program makes for itself fail, alone and
// with all that follow. The first are made before main, where none can be told.
TEST_F(Faults, MemoryThatEndsIsTold) {
  folder.Write("short.lbx", std::string(kLearning).replace(std::string(kLearning).find("1e6"), 3, "0.05") +
                                "script\nevery(0.01, function() print(data.x) end)\nend_script;\n");
  // Yields how many runs there were, and what was neither success nor told.
  const TOutcome outcome =
      In("export LD_PRELOAD=" + tests::BuildPath("tests/failing_new.so") +
         "; runs=0; told=0; for count in 1 1000000; do for ((n = 97; n < 6000; n += 199 + count % 7)); do "
         "FAILING_NEW_AFTER=$n FAILING_NEW_COUNT=$count $P run short.lbx --trace t.csv >out 2>&1; status=$?; "
         "runs=$((runs + 1)); "
         "if [ $status = 1 ] && grep -q -i memory out; then told=$((told + 1)); "
         "elif [ $status != 0 ] && [ $status != 3 ]; then echo \"$n $count: status $status\"; head -3 out; fi; "
         "done; done; echo runs $runs; [ $told -gt 15 ] && echo enough");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.output.starts_with("runs ") && outcome.output.ends_with("enough\n")) << outcome.output;
}

}  // namespace
