// A plant: what is written to it, and how its losses are rehearsed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <sstream>

#include "plant/plant.h"
#include "tests/support.h"

namespace {

using tests::CFolder;
using tests::CRun;
using tests::Loopbox;
using tests::TOutcome;

// The process knows what is written and how good `x` was, each from the period before.
constexpr char kApplication[] =
    "application rehearsal period = 1; duration = 10; end_application;\n"
    "data x : real; u : real; v : real; q : real; end_data;\n"
    "process x = 10 * time; v = u; q = if(good(x), 0, 100) + age(x); end_process;\n"
    "connections modbus io tcp = \"127.0.0.1\", 1; every = 1;\n"
    "input x from = input[0], float; range = -10, 95; end_input;\n"
    "output u to = holding[0], float; limit = 0, 40; safe = 5; needs = x; on_loss = hold, 2; end_output; end_modbus;\n"
    "mqtt broker host = \"127.0.0.1\", 1; output u to = \"u\"; end_output; output x to = \"x\"; end_output; end_mqtt;\n"
    "end_connections;\n"
    "script\nevery(1, function() data.u = 10 * time() end)\n"
    "at(9, function() data.x = 1 end)\nend_script;\n";

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

TEST(Connections, IsWrittenWhatTheGuardLetsThrough) {
  for (const std::vector<std::string>& row : tests::TableRows("connections.txt", "Guard")) {
    SCOPED_TRACE(row.at(0) + " | " + row.at(1));
    plant::CConnectionsReader reader;
    runtime::TReadOptions options;
    options.blocks = {&reader};
    const CRun run(
        "data r : real; x : real; end_data;\nconnections modbus a tcp = \"h\"; input x from = input[0]; "
        "end_input;\noutput r to = holding[0], float; " +
            row[0] + " end_output; end_modbus; end_connections;",
        options);
    ASSERT_EQ(run.Diagnostics(), "");
    plant::COutputGuard guard(reader.Connections()[0].outputs[0]);
    std::string written;
    double time = 0.0;
    for (const std::string& wanted : Words(row[1])) {
      const plant::TGuarded guarded = guard.Decide(++time, std::stod(wanted), !wanted.ends_with('!'));
      std::ostringstream text;
      text << (written.empty() ? "" : " ") << (guarded.tracked ? "~" : "") << guarded.written;
      EXPECT_EQ(guarded.tracked.value_or(guarded.written), guarded.written);
      written += text.str();
    }
    EXPECT_EQ(written, row.at(2));
  }
}

TEST(Connections, WaitsForAnAcknowledgement) {
  plant::TOutput output;
  output.safe = 5.0;
  output.latches = true;
  plant::COutputGuard guard(output);
  guard.StandAt(50.0);
  EXPECT_EQ(guard.Decide(1.0, 60.0, false).written, 5.0);
  EXPECT_EQ(guard.Decide(2.0, 60.0, true).written, 5.0);
  guard.Acknowledge();
  EXPECT_EQ(guard.Decide(3.0, 60.0, true).written, 60.0);
}

// However late its device was found.
TEST(Connections, MovesWhatWasFoundByItsRate) {
  plant::TOutput output;
  output.rate = 5.0;
  plant::COutputGuard guard(output);
  guard.StandAt(50.0);
  EXPECT_EQ(guard.Decide(100.0, 80.0, true).written, 50.0);
  EXPECT_EQ(guard.Decide(101.0, 80.0, true).written, 55.0);
}

TEST(Connections, KnowsHowGoodAnInputIs) {
  plant::TInput input;
  plant::CInputWatch watch(input, 2.0);
  using plant::EQuality;
  const struct {
    plant::TReading reading;
    double now;
    EQuality quality;
    double age;
  } rows[] = {{{0.0, 0.0, EQuality::kGood}, 10.0, EQuality::kLost, 0.0},
              {{7.0, 10.5, EQuality::kGood}, 12.5, EQuality::kGood, 2.0},
              {{7.0, 10.5, EQuality::kGood}, 13.0, EQuality::kStale, 2.5},
              {{7.0, 10.5, EQuality::kOutOfRange}, 13.5, EQuality::kOutOfRange, 3.0},
              {{8.0, 13.5, EQuality::kGood}, 13.5, EQuality::kGood, 0.0}};
  for (const auto& row : rows) {
    watch.Judge(row.reading, row.now);
    EXPECT_EQ(watch.Quality(), row.quality) << row.now;
    EXPECT_EQ(watch.Age(row.now), row.age) << row.now;
  }
  EXPECT_EQ(watch.Value(), 8.0);
}

TEST(Connections, RehearsesALossInASimulation) {
  const CFolder folder;
  const std::string file = folder.Write("rehearsal.lbx", kApplication);
  const std::string trace = folder.Path("t.csv");
  tests::ExpectOutcome(Loopbox("run " + file + " --lose x@4-8 --trace " + trace), 3,
                       {"t=4 s  io: x is lost: 30 is held\n", "t=8 s  io: x is good again\n",
                        "t=9 s  script: line 11: 'x' is read from the plant and can't be written",
                        "t=10 s  io: x is out of range: 90 is held\n"});
  EXPECT_EQ(tests::Replaced(tests::ReadFile(trace), "\r", ""),
            "time,x,u,v,q,x.quality,u.written,broker.u.written,x.written\n"
            "1,10,10,0,0,good,10,10,10\n"
            "2,20,20,10,0,good,20,20,20\n"
            "3,30,30,20,0,good,30,30,30\n"
            "4,30,40,30,0,lost,30,40,30\n"
            "5,30,50,30,101,lost,30,50,30\n"
            "6,30,60,30,102,lost,5,60,30\n"
            "7,30,70,5,103,lost,5,70,30\n"
            "8,80,80,5,104,good,40,80,80\n"
            "9,90,90,40,0,good,40,90,90\n"
            "10,90,100,40,0,out of range,40,100,90\n");
  const TOutcome driven = Loopbox("run " + file + " --input " + trace);
  EXPECT_EQ(driven.output.find(".quality"), std::string::npos) << driven.output;
  EXPECT_EQ(driven.output.find(".written"), std::string::npos);
}

// The regulator tracks what is written while that is held or safe, takes a limit for
// what it gave, and comes back from there.
TEST(Connections, TakesTheRegulatorAlong) {
  plant::CConnectionsReader reader;
  runtime::TReadOptions reading;
  reading.blocks = {&reader};
  const std::string text = tests::ReadFile(tests::SourcePath("examples/oven_plant.lbx"));
  CRun run(tests::Replaced(text, "track_when = not good(temperature)", "track_when = false"), reading);
  ASSERT_TRUE(run.IsRead()) << run.Diagnostics();
  plant::TPlantOptions options;
  std::string told;
  options.report = [&](const runtime::TRunTimeMessage& message) { told += message.text + "\n"; };
  options.note = options.report;
  std::string error;
  ASSERT_TRUE(plant::ReadLoss(reader.Connections(), "oven_io@100-110", &options, &error)) << error;
  plant::CPlant plant(reader.Connections(), options);
  ASSERT_TRUE(run->AddLink(plant, &error)) << error;
  run.Steps(199);  // 99.5 s
  const double standing = run.Value("power");
  EXPECT_GT(standing, 10.0);
  run.Steps(9);  // 104 s: held
  EXPECT_EQ(run.Value("power"), plant.Cell(2).number);
  EXPECT_NEAR(run.Value("power"), standing, 2.0);
  run.Steps(3);  // 105.5 s: safe
  EXPECT_EQ(plant.Cell(2).number, 0.0);
  EXPECT_EQ(run.Value("power"), 0.0);
  EXPECT_EQ(run.Value("cooling"), 1.0);
  run.Steps(9);  // 110 s
  EXPECT_EQ(plant.Cell(2).number, 0.0);
  run.Steps(1);
  EXPECT_GT(run.Value("power"), 0.0);
  EXPECT_EQ(plant.Cell(2).number, std::min(run.Value("power"), 10.0));  // half a second of its rate
  EXPECT_EQ(told, "temperature is lost: " + told.substr(21, told.find(" is held") - 21) +
                      " is held\ndoor_open is lost: 0 is held\ntemperature is good again\ndoor_open is good again\n");
}

TEST(Connections, IsToldByTheCommandLine) {
  const CFolder folder;
  const std::string file = folder.Write("rehearsal.lbx", kApplication);
  const std::string other = folder.Write("none.lbx", "data x : real; end_data;");
  const std::string site = folder.Write("site.lbx",
                                        "connections mqtt far host = \"far\"; tls = \"ca.pem\"; "
                                        "input x from = \"x\"; end_input; end_mqtt; end_connections;");
  const tests::TCall rows[] = {
      {"run " + other + " --plant", 2, {"has no connections, which --plant needs"}},
      {"run " + other + " --lose x@1-2", 2, {"has no connections, which --lose needs"}},
      {"run " + file + " --plant brokre", 2, {"--plant: there is no connection 'brokre'; did you mean 'broker'?"}},
      {"run " + file + " --lose io", 2, {"expected NAME@S-S, found \"io\""}},
      {"run " + file + " --lose io@2-1", 2, {"expected two seconds as 300-900"}},
      {"run " + file + " --lose y@1-2", 2, {"--lose: 'y' is no input and no connection"}},
      {"run " + file + " --plant dry,io --lose x@1-2", 2, {"--lose: 'x' is connected"}},
      {"run " + file + " --connections " + other, 1, {"none.lbx: there is no block 'connections' in it"}},
      {"check " + file + " --connections " + site,
       0,
       {"connections\n  far: far:8883, as far, by TLS\n    x from \"x\"; never stale\n",
        "site.lbx:1:58: warning: x is never stale: without stale = S; it is good until far is lost, however old"}},
      {"check " + file,
       0,
       {"connections\n", "  io: 127.0.0.1:1, unit 1, polled each 1 s\n",
        "    x from input[0], float; good from -10 to 95; stale after three polls\n",
        "    u to holding[0], float; limited to 0 … 40; holds for 2 s, then is 5 where x isn't good; safe is 5\n",
        "  broker: 127.0.0.1:1, as broker, without TLS\n", "    x to \"x\"; published only\n"}},
  };
  for (const tests::TCall& row : rows) {
    SCOPED_TRACE(row.arguments);
    tests::ExpectOutcome(Loopbox(row.arguments), row.status, row.parts);
  }
}

TEST(Connections, TellsWhatRegulatorsMakeOfALoss) {
  const struct {
    const char* entries;
    const char* said;
  } rows[] = {
      {"",
       "warning: p goes on with the last good x while that isn't good: nothing in it asks; track = OUTPUT; "
       "track_when = not good(x); holds"},
      {"condition = good(x);",
       "warning: the condition of p holds its output while x isn't good, but integrates the gap on return; track = "
       "OUTPUT; track_when = not good(x); returns without a bump"},
      {"track = u; track_when = not good( x );", ""},
  };
  const CFolder folder;
  for (const auto& row : rows) {
    const std::string file = folder.Write(
        "doubtful.lbx", std::string("data x : real; u : real; on : boolean; end_data; process x = u; end_process;\n") +
                            "connections modbus io tcp = \"h\"; input x from = input[0]; end_input;\n"
                            "output on to = coil[0]; safe = false; needs = x; on_loss = keep; end_output;\n"
                            "end_modbus; end_connections;\n"
                            "instrument pid_regulator p expression = x; wish_value = 1; output = u; " +
                            row.entries +
                            " end_instrument;\ninstrument boolean_regulator b expression = x; "
                            "wish_value = 1; output = on; condition = good(x); inverse; end_instrument;\n");
    const std::string said = Loopbox("check " + file).output;
    tests::ExpectParts(said, {row.said, "warning: on keeps its value for as long as what it needs is bad",
                              "by inverse the output of b is true while its condition is false"});
    EXPECT_EQ(said.find("p goes on") != std::string::npos, row.entries[0] == 0) << said;
  }
}

// The example against the device that comes with it: probed, told about, driven, and
// left safe.
TEST(Connections, DriveADeviceAndLeaveItSafe) {
  const CFolder folder;
  const std::string port = tests::Shell(
                               "/usr/bin/python3 -c 'import socket; s = socket.socket(); s.bind((\"127.0.0.1\", 0)); "
                               "print(s.getsockname()[1], end=\"\")'")
                               .output;
  const std::string text = tests::ReadFile(tests::SourcePath("examples/oven_plant.lbx"));
  const std::string file =
      folder.Write("oven.lbx", tests::Replaced(tests::Replaced(text, "1502", port), "every   = 0.5", "every = 0.1"));
  const TOutcome outcome = tests::Shell(
      "cd " + folder.Path("") + " && { program=" + tests::BuildPath("loopbox") + "; " +
      tests::SourcePath("tools/oven-device") + " --speed 40 --noise 0 --port " + port +
      " >device.log 2>&1 & device=$!; trap 'kill $device' EXIT; for i in $(seq 50); do "
      "$program probe oven.lbx >probed && break; sleep 0.1; done; cat probed"
      "; $program run oven.lbx --plant dry --period 0.1 --duration 1; echo dry $?; cp device.log dry.log"
      "; $program run oven.lbx --plant --period 0.1 --duration 2.5 --trace driven.csv; echo driven $?; sleep 0.1; "
      "cp device.log driven.log"
      "; mbpoll -m tcp -p " +
      port +
      " -a 1 -0 -q -r 10 -t 4 127.0.0.1 -- 4000 >/dev/null"
      "; $program run oven.lbx --plant --period 0.1 --quiet --trace restarted.csv & run=$!; "
      "until grep -qs ^0.5, restarted.csv || ! kill -0 $run; do sleep 0.01; done; kill -INT $run; wait $run; "
      "echo restarted $?; sleep 0.1; }");
  if (outcome.output.find("this build of the program has no links") != std::string::npos) {
    return tests::ExpectParts(outcome.output, {"dry 1\n", "driven 1\n", "restarted 1\n"});
  }
  tests::ExpectParts(outcome.output,
                     {"  temperature  input[0]  ", ", cdab 2", "  door_open    discrete[0]  0000 = 0, in ",
                      "oven_io: would write power = ", "dry 0\n", "driven 0\n", "restarted 130\n",
                      "links to the plant\n", " left out\n"});
  EXPECT_EQ(tests::ReadFile(folder.Path("dry.log")).find("fan on"), std::string::npos);
  const std::string device = tests::ReadFile(folder.Path("driven.log"));
  EXPECT_GT(std::count(device.begin(), device.end(), '\n'), 5) << device;
  EXPECT_TRUE(device.ends_with("power   0.00 %  fan on\n")) << device;
  const std::string driven = tests::ReadFile(folder.Path("driven.csv"));
  EXPECT_EQ(driven.find("lost"), std::string::npos) << driven;
  double temperature = 0.0;
  std::sscanf(driven.c_str() + driven.rfind("\n2.5,"), "\n2.5,80,%lf", &temperature);
  EXPECT_GT(temperature, 20.5) << driven;
  // One that begins on a running plant takes the power as it is, and moves it by a
  // step of its rate.
  const std::string restarted = tests::ReadFile(folder.Path("restarted.csv"));
  double power = 0.0;
  double written = 0.0;
  std::sscanf(restarted.c_str() + restarted.find('\n'), "%*f,80,%lf,%lf,0,%*d,good,good,%lf,", &temperature, &power,
              &written);
  EXPECT_EQ(power, 40.0) << restarted;
  EXPECT_EQ(written, 40.0);
  const std::string left = tests::ReadFile(folder.Path("device.log"));
  EXPECT_TRUE(left.ends_with("power   0.00 %  fan on\n")) << left;
}

}  // namespace
