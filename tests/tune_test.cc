// `loopbox tune`: experiments.
#include <gtest/gtest.h>

#include <memory>

#include "tests/support.h"

namespace {

using tests::Loopbox;

constexpr char kOven[] =
    "// An oven.\n"
    "application oven period = 0.5; duration = 100; end_application;\n"
    "data set_point : real = 60 \"°C\"; temperature : real = 60 \"°C\"; power : real = 25 \"%\";\n"
    "     measured : real = 60 \"°C\"; on : boolean; end_data;\n"
    "process arriving = delay(power, 4); temperature' = (1.6 * arriving - (temperature - 20)) / 60;\n"
    "measured = temperature + noise(0.1); end_process;\n"
    "instrument pid_regulator heater  /* end_instrument */\n"
    "  expression = measured; wish_value = set_point; output = power; start = output;\n"
    "  wish_value_section range_from = 0; range_to = 200; end_wish_value_section;\n"
    "  value_section range_from = 0; range_to = 200; end_value_section;\n"
    "  parameters\n"
    "    regulator_type = takahashi;  // the law\n"
    "    param_1 = 1; param_2 = 40;\n"
    "  end_parameters;\n"
    "end_instrument;\n";

class Tune : public testing::Test {
 protected:
  // With a record of it, which all share.
  static void SetUpTestSuite() {
    folder = std::make_unique<tests::CFolder>();
    folder->Write("oven.lbx", kOven);
    recorded = Loopbox(OfOven("tune") + Experiment("-o " + folder->Path("relay.csv")));
  }
  static void TearDownTestSuite() { folder.reset(); }
  static std::string OfOven(const std::string& command) {
    return command + " " + folder->Path("oven.lbx") + " heater ";
  }
  static std::string Experiment(const std::string& rest) {
    return "--experiment relay --amplitude 10 --bound 30,90 --longest 1000 " + rest;
  }

  static std::unique_ptr<tests::CFolder> folder;
  static tests::TOutcome recorded;
};
std::unique_ptr<tests::CFolder> Tune::folder;
tests::TOutcome Tune::recorded;

TEST_F(Tune, RecordsAnExperimentAndReturnsWithoutABump) {
  tests::ExpectOutcome(recorded, 0, {"the experiment ended after 20 cycles\n"});
  // Of the regulated periods the first goes on from 25 %, to which the law adds what
  // its integral part makes of an error of some degrees in a period.
  const std::string bump = tests::Shell("tail -n 19 " + folder->Path("relay.csv") +
                                        " | awk -F, '{ print ($4 - 25 < 3 && 25 - $4 < 3) }' | head -n 2")
                               .output;
  EXPECT_EQ(bump, "1\n1\n");
}

TEST_F(Tune, EndsAnExperimentByTheConnections) {
  const std::string connected = folder->Write(
      "plant.lbx", tests::Replaced(kOven, "instrument pid",
                                   "connections modbus io tcp = \"127.0.0.1\", 1502; every = 0.5; timeout = 0.3;\n"
                                   "input measured from = input[0], float; end_input;\n"
                                   "output power to = holding[0], float; limit = 0, 30; needs = measured;\n"
                                   "on_loss = keep; safe = 0; end_output; end_modbus; end_connections;\n"
                                   "instrument pid"));
  const std::string command = "tune " + connected + " heater " + Experiment("-o " + folder->Path("x.csv") + " ");
  tests::ExpectOutcome(Loopbox(command), 3, {"the experiment ended since the connections hold power at 30 %\n"});
  tests::ExpectOutcome(Loopbox(tests::Replaced(command, "--amplitude 10", "--amplitude 4") + "--lose measured@60-100"),
                       3, {"the experiment ended since measured isn't good: the connection is lost, or its value\n"});
}

TEST_F(Tune, RefusesWhatIsWrong) {
  folder->Write("fan.lbx",
                "data x : real; on : boolean; end_data;\n"
                "instrument boolean_regulator fan expression = x; wish_value = 1; output = on;\n"
                "end_instrument;\n"
                "instrument pid_regulator alone expression = x; wish_value = 1; end_instrument;\n");
  const std::string experiment = "tune OVEN heater --experiment relay -o DIRx.csv ";
  const tests::TCall rows[] = {
      {"tune OVEN --experiment relay", 2, {"INSTRUMENT is required"}},
      {"tune OVEN heater", 2, {"--experiment is required"}},
      {"tune OVEN heatr --experiment relay -o DIRx.csv --amplitude 1 --bound 2,99 --longest 99",
       2,
       {"there is no instrument 'heatr'; did you mean 'heater'?"}},
      {"tune DIRfan.lbx fan --experiment relay -o DIRx.csv --amplitude 1 --bound 2,99 --longest 99",
       2,
       {"fan has no continuous output, which alone can be tuned"}},
      {"tune DIRfan.lbx alone --experiment relay -o DIRx.csv --amplitude 1 --bound 2,99 --longest 99",
       2,
       {"alone has no data element for its output, by which a record"}},
      {experiment, 2, {"--experiment needs -o, --amplitude, --bound and --longest"}},
      {experiment + "--amplitude 0", 2, {"--amplitude: expected a number other than 0, found \"0\""}},
      {experiment + "--amplitude 1 --bound 5,2 --longest 99", 2, {"expected two numbers as 20,80, the second above"}},
      {experiment + "--amplitude 1 --bound 2,5 --longest 9", 2, {"--longest: 9 s is less than 60 periods of 0.5 s"}},
      {experiment + "--amplitude 1 --bound 2,99 --longest 99 --plant", 2, {"has no connections, which --plant needs"}},
      {"tune OVEN heater --experiment relay -o OVEN --amplitude 1 --bound 2,99 --longest 99",
       1,
       {"oven.lbx: the record would overwrite a file that the run uses"}},
      {experiment + "--amplitude 30 --bound 2,99 --longest 99",
       3,
       {"and an amplitude of 30 % leaves its range, 0 to 100"}},
  };
  for (const tests::TCall& row : rows) {
    SCOPED_TRACE(row.arguments);
    const std::string arguments = tests::Replaced(row.arguments, "OVEN", folder->Path("oven.lbx"));
    tests::ExpectOutcome(Loopbox(tests::Replaced(arguments, "DIR", folder->Path(""))), row.status, row.parts);
  }
}

}  // namespace
