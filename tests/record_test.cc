// Records of runs: what they keep, and that they run again to the last bit.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support.h"

namespace {

using tests::Loopbox;
using tests::Shell;

// Everything that a run may depend on: recorded data that a script writes over, noise,
// a parameter file, ages, two texts, and connections that are lost for a while.
constexpr const char* kText =
    "application kept period = 0.5; duration = 60; end_application;\n"
    "include \"parts.lbx\";\n"
    "data x : real = 20; u : real; y : real; old : real; feed : real = 1; end_data;\n"
    "process x' = (2 * u - x + feed + noise(0.5)) / 10; old = age(x) + age(y); end_process;\n"
    "connections\n  modbus device tcp = \"127.0.0.1\", PORT; timeout = 0.1; retry = 0.1, 1;\n"
    "    input x from = input[0], float; range = -50, 400; end_input;\n"
    "    output u to = holding[10], uint16; limit = 0, 80; rate = 5; needs = x; on_loss = hold, 2; safe = 3; "
    "end_output;\n"
    "  end_modbus;\nend_connections;\n"
    "instrument pid_regulator reg expression = x; wish_value = wish; condition = good(x); output = u;\n"
    "parameters adaptive = true; file_name = \"sub/kept.par\"; end_parameters; end_instrument;\n"
    "script\nevery(2, function() data.feed = data.feed + math.random() end)\nend_script;\n";

class Record : public testing::Test {
 protected:
  Record() {
    folder.Write("kept.lbx", tests::Replaced(kText, "PORT", "1"));
    folder.Write("parts.lbx", "data wish : real = 30; end_data;\n");
    folder.Write("feed.csv", "time,feed\r\n0,1\r\n3,5\r\n3.2,4\r\n20,2\r\n");
    std::filesystem::create_directory(folder.Path("sub"));
    folder.Write("sub/kept.par", tests::ParameterFile(1, {0, -1.2, 0.3, 0.1, 0.05, 1, 100}));
  }
  std::string Path(const std::string& name) const { return folder.Path(name); }
  tests::TOutcome Keep(const std::string& options = "") const {
    return Loopbox("run " + Path("kept.lbx") + " --quiet --seed 7 --set wish=40 --input " + Path("feed.csv") +
                   " --lose x@10-14 --record " + Path("r") + " " + options);
  }

  tests::CFolder folder;
};

TEST_F(Record, RunsAgainToTheLastBit) {
  EXPECT_EQ(Keep().status, 3);  // what was lost was reported
  // What the record holds is enough.
  for (const char* file : {"kept.lbx", "parts.lbx", "feed.csv", "sub"}) std::filesystem::remove_all(Path(file));
  const std::string before = Shell("cd " + Path("r") + "; find . -type f | sort | xargs cat").output;
  EXPECT_GT(before.size(), 5000u);
  tests::ExpectOutcome(Loopbox("replay " + Path("r")), 0, {"the same as the record, to the last bit"});
  EXPECT_EQ(Shell("cd " + Path("r") + "; find . -type f | sort | xargs cat").output, before);
  // A row that isn't whole, of a run that was killed, doesn't count.
  Shell("truncate -s -9 " + Path("r/trace.csv"));
  EXPECT_EQ(Loopbox("replay " + Path("r")).status, 0);
  // One digit of another number is found.
  Shell("sed -i '50s/,\\([0-9]*\\.[0-9]*\\)[0-9],/,\\15,/;50s/,\\([0-9]*\\.[0-9]*\\)5,/,\\16,/' " +
        Path("r/trace.csv"));
  tests::ExpectOutcome(Loopbox("replay " + Path("r")), 3, {"t=24.5 s: ", " was ", ", and is "});
}

TEST_F(Record, ShowsWhatAnotherTextWouldHaveDone) {
  EXPECT_EQ(Keep().status, 3);
  folder.Write("other.lbx", tests::Replaced(tests::ReadFile(Path("kept.lbx")), "limit = 0, 80", "limit = 0, 20"));
  tests::ExpectOutcome(Loopbox("replay " + Path("r") + " --with " + Path("other.lbx") + " --report " + Path("r.html") +
                               " --trace " + Path("t.csv")),
                       3, {"compared with", "reg"});
  EXPECT_NE(tests::ReadFile(Path("r.html")).find("trace.csv"), std::string::npos);
  EXPECT_NE(tests::ReadFile(Path("t.csv")), tests::ReadFile(Path("r/trace.csv")));
  EXPECT_EQ(tests::ReadFile(Path("t.csv")).substr(0, 20), tests::ReadFile(Path("r/trace.csv")).substr(0, 20));
}

TEST_F(Record, IsRefusedWhereItIsDamaged) {
  std::filesystem::create_directory(Path("r"));
  folder.Write("r/none", "");
  tests::ExpectOutcome(Keep(), 1, {"r: the record needs a folder of its own: this one isn't empty"});
  std::filesystem::remove_all(Path("r"));
  ASSERT_EQ(Keep().status, 3);
  Shell("cp -r " + Path("r") + " " + Path("whole"));
  const struct {
    const char* damage;
    const char* message;
  } rows[] = {
      {"rm record.json", "record.json: the record is damaged: this can't be read"},
      {"echo '{' >record.json", "record.json: the record is damaged: this is no JSON"},
      {"sed -i 's/\"schema\": 1/\"schema\": 9/' record.json", "its schema is none that this program knows"},
      {"sed -i '/\"period\"/d' record.json", "period is missing or wrong"},
      {"sed -i 's/\"seed\": \"7\"/\"seed\": \"7x\"/' record.json", "seed is missing or wrong"},
      {"sed -i 's/parts.lbx/..\\/parts.lbx/' record.json", "texts is missing or wrong"},
      {"rm text/parts.lbx", "text/parts.lbx: the record is damaged"},
      {"rm files/sub/kept.par", "files/sub/kept.par: the record is damaged"},
      {"rm trace.csv", "trace.csv: the record is damaged"},
      {": >trace.csv", "trace.csv: the record is damaged: it has no columns"},
      {"sed -i '7s/,/;/' trace.csv", "trace.csv:7: the record is damaged: this is no row of it"},
      {"sed -i '9s/^[^,]*/0.5/' trace.csv", "the record is damaged: this is no row of it"},
      {"echo 3,put,x,1 >>commands.csv", "commands.csv:2: the record is damaged: this is no command"},
  };
  for (const auto& row : rows) {
    Shell("rm -r " + Path("r") + "; cp -r " + Path("whole") + " " + Path("r") + "; cd " + Path("r") + "; " +
          row.damage);
    tests::ExpectOutcome(Loopbox("replay " + Path("r")), 1, {row.message});
  }
}

// Killed at twenty moments, all at once.
TEST_F(Record, IsWholeWhenTheRunIsKilled) {
  constexpr int kMoments = 20;
  std::string script;
  for (int i = 0; i < kMoments; ++i) {
    const std::string record = Path("k" + std::to_string(i));
    script += "(" + tests::BuildPath("loopbox") + " run " + Path("kept.lbx") +
              " --quiet --period 0.005 --realtime --record " + record + " & until [ -s " + record +
              "/trace.csv ]; do sleep 0.02; done; sleep " + std::to_string(0.13 * i) + "; kill -KILL $!) & ";
  }
  Shell("(" + script + "wait) 2>/dev/null");
  int rows = 0;
  for (int i = 0; i < kMoments; ++i) {
    const std::string record = Path("k" + std::to_string(i));
    EXPECT_EQ(Loopbox("replay " + record).status, 0) << i;
    rows += std::stoi(Shell("wc -l <" + record + "/trace.csv").output);
    // At most the last second is lost, and what a busy machine takes besides.
    EXPECT_GE(std::stod(Shell("tail -n 2 " + record + "/trace.csv | head -n 1 | cut -d, -f1 | sed 's/time/0/'").output),
              0.13 * i - 1.5);
  }
  EXPECT_GT(rows, 500);
}

}  // namespace
