// Data elements driven from recorded data.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support.h"

namespace {

using tests::Loopbox;
using tests::TOutcome;

const tests::CFolder& Folder() {
  static const tests::CFolder folder;
  return folder;
}

TOutcome RunWith(const std::string& csv, const std::string& options = "") {
  Folder().Write("driven.lbx",
                 "application driven period = 0.5; duration = 2; end_application;\n"
                 "data x : real = 7; on : boolean; n : integer; a : real[2]; u : real; sum : real; end_data;\n"
                 "process sum = x + a[1]; end_process;\n"
                 "instrument pid_regulator reg expression = x; wish_value = 1; output = u; end_instrument;\n"
                 "script\nat(1, function() print(data.x, data.on) end)\nend_script;\n");
  const std::string data = Folder().Write("data.csv", csv);
  return Loopbox("run " + Folder().Path("driven.lbx") + " --quiet --input " + data + " " + options);
}

// The values of a trace's column, each with a blank behind it.
std::string Column(const std::string& trace, const std::string& name) {
  return tests::Shell("awk -F, -v name='" + name +
                      "' 'NR == 1 { for (i = 1; i <= NF; ++i) if ($i == name) column = i; next } "
                      "{ printf \"%s \", $column }' " +
                      trace)
      .output;
}

TEST(Input, HoldsEachRowUntilTheNext) {
  const TOutcome outcome = RunWith(
      "\xEF\xBB\xBF\"time\",on,a[1],\"x\",u,\"odd, "
      "\"\"name\"\"\"\r\n-1,0,3,5,9,?\r\n\r\n1,true,4,\"6.5\",9,\"two\nlines\"\r\n"
      "1.2,1,8,6,9,\r\n1.5000000001,false,-1,2,9,",
      "--trace " + Folder().Path("t.csv"));
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  EXPECT_EQ(outcome.output, "6.5\ttrue\n");  // seen by what is due at that time
  const std::string trace = Folder().Path("t.csv");
  EXPECT_EQ(Column(trace, "x"), "5 6.5 2 2 ");
  EXPECT_EQ(Column(trace, "on"), "0 1 0 0 ");
  EXPECT_EQ(Column(trace, "sum"), "8 8 10.5 1 ");  // the process sees a row from the next period on
  EXPECT_EQ(Column(trace, "n"), "0 0 0 0 ");
}

// A regulator that is fed what was recorded of a plant does what it did then.
TEST(Input, ReplaysATrace) {
  const std::string recorded = Folder().Path("furnace.csv");
  ASSERT_EQ(Loopbox("run " + tests::SourcePath("examples/furnace.lbx") + " --quiet --trace " + recorded).status, 0);
  std::string text = tests::ReadFile(tests::SourcePath("examples/furnace.lbx"));
  const std::size_t begin = text.find("\nprocess");
  text.erase(begin, text.find("end_process;") + 12 - begin);
  const std::string application = Folder().Write("replay.lbx", text);
  const std::string replayed = Folder().Path("replayed.csv");
  const TOutcome outcome = Loopbox("run " + application + " --input " + recorded + " --trace " + replayed);
  tests::ExpectOutcome(outcome, 0, {"input leaves power: written by an instrument's output"});
  const std::string power = Column(recorded, "power");
  EXPECT_GT(power.size(), 1000u);
  EXPECT_EQ(Column(replayed, "power"), power);
}

// What can't drive anything ends it before the run.
TEST(Input, IsRefused) {
  const struct {
    const char* csv;
    const char* message;  // behind the file's name
    const char* options = "";
  } rows[] = {
      {"", ": expected a line of column names, found nothing"},
      {"x,on\n1,1\n", ":1: expected a column \"time\", in seconds or ISO 8601; --map time=COLUMN names another"},
      {"time,x,x\n", ":1: two columns are named \"x\""},
      {"time,x\n", ":2: expected rows behind the column names, found none"},
      {"time,x\nnow,1\n",
       ":2: column time: expected a number, found \"now\"; the row is left out\nloopbox: FILE:3: expected rows behind "
       "the column names, found none"},
      {"time,y,u,a,a[2]\n0,0,0,0,0\n",
       ":1: no column names a data element that can be driven; a: an array needs an index; a[2]: the index is out of "
       "range; y: there is no such data element; u: written by an instrument's output"},
      {"time,x\n0,1\n", ":1: --map x=y: the file has no such column", "--map x=y"},
      {"time,y\n0,1\n", ":1: --map z=y: there is no such data element", "--map z=y"},
      {"time,y\n0,1\n", ":1: --map u=y: written by an instrument's output", "--map u=y"},
      {"time,y,z\n0,1,1\n", ":1: --map x=z: another column drives it", "--map x=y --map x=z"},
  };
  for (const auto& row : rows) {
    const TOutcome outcome = RunWith(row.csv, row.options);
    EXPECT_EQ(outcome.status, 1) << row.csv;
    const std::string file = Folder().Path("data.csv");
    const std::string start = std::string(row.message).starts_with(":2: column") ? "t=0 s  input: " : "loopbox: ";
    EXPECT_EQ(outcome.output, start + file + tests::Replaced(row.message, "FILE", file) + "\n");
  }
  EXPECT_EQ(Loopbox("run " + Folder().Path("driven.lbx") + " --input " + Folder().Path("")).status, 1);
  EXPECT_EQ(RunWith("time,x\n0,1\n", "--trace " + Folder().Path("data.csv")).status, 1);  // would overwrite it
}

// What is no row or no value is told with its place, and the run goes on by what was
// there before: x in the periods at 0.5, 1, 1.5 and 2 s.
TEST(Input, HoldsWhatIsNoValue) {
  const struct {
    const char* csv;
    const char* x;
    std::vector<std::string> messages;
  } rows[] = {
      {"time,x,on\n0,3,1\n1,,0\n1.5,NaN,1\n2, 4 ,1\n",
       "3 3 3 4 ",
       {"t=1 s  input: FILE:3: column x: no value; what was there before is held",
        "column x: 2 cells without a value"}},
      {"time,x\n0,nan\n1,1e999\n2,5\n", "7 7 7 5 ", {":2: column x: no value", "column x: 2 cells without a value"}},
      {"time,x\n0,3\n1,bad\n", "3 3 3 3 ", {":3: column x: expected a number, found \"bad\"; what was there before"}},
      {"time,on\n0,2\n", "7 7 7 7 ", {":2: column on: expected true or false, found \"2\""}},
      {"time,n\n0,2147483648\n",
       "7 7 7 7 ",
       {":2: column n: expected a whole number of 32 bits, found \"2147483648\""}},
      {"time,x\n0,1\n1\n1.5,2\n",
       "1 1 2 2 ",
       {":3: expected 2 fields as in the first line, found 1; the row is left out"}},
      {"time,x\n0,1\n1,2,3\n", "1 1 1 1 ", {":3: expected 2 fields as in the first line, found 3"}},
      {"time,x\n0,1\n0,2\n1,3\n",
       "1 3 3 3 ",
       {":3: column time: expected a time after the 0 s of the row before, found \"0\""}},
      {"time,x\n0,1\n1,\"1\n", "1 1 1 1 ", {":3: a quoted field has no end; what was there before is held to the end"}},
      {"time,x\n0,1\n1,\"1\"2\n2,4\n",
       "1 1 1 4 ",
       {":3: expected a separator or the line's end behind a quoted field"}},
      {"time,x\n0,1\n1,1\"\n2,4\n", "1 1 1 4 ", {":3: a quote inside a field that is not quoted"}},
      {"time,x\n2024-03-01,1\n1,2\n2024-03-01T00:00:01Z,3\n2024-02-30,4\n",
       "1 1 1 1 ",
       {":3: column time: expected a time of ISO 8601 without an offset, as in the first row, found \"1\"",
        ":4: ", ":5: "}},
  };
  for (const auto& row : rows) {
    const TOutcome outcome = RunWith(row.csv, "--trace " + Folder().Path("t.csv"));
    std::vector<std::string> messages = row.messages;
    for (std::string& message : messages) message = tests::Replaced(message, "FILE", Folder().Path("data.csv"));
    tests::ExpectOutcome(outcome, 3, messages);
    EXPECT_EQ(Column(Folder().Path("t.csv"), "x"), row.x) << row.csv;
  }
}

// What historians write: x in the periods at 0.5, 1, 1.5 and 2 s.
TEST(Input, TakesWhatHistoriansGive) {
  const struct {
    const char* csv;
    const char* x;
    const char* options = "";
  } rows[] = {
      {"time,x\n2024-02-28T23:59:59Z,1\n2024-02-29T01:00:00+01:00,2\n2024-02-28 23:00:00.5-0100,3\n", "1 2 3 3 "},
      {"Timestamp;\"x\"\r\n2024-12-31 23:59:59,5;1,5\r\n2025-01-01 00:00:00,25;-2,5e0\r\n", "1.5 -2.5 -2.5 -2.5 "},
      {"DateTime,x\n2024-03-01 12:00,1\n", "1 1 1 1 "},
      {"time;x\n0;1.5\n1,5;2,25\n", "1.5 1.5 2.25 2.25 "},
      {"\xEF\xBB\xBF\"Tag time\";\"TI101.PV\";x;;\n0;1;9;;\n1;2;9;;\n", "1 2 2 2 ",
       "--map x=TI101.PV --map 'time=Tag time'"},
  };
  for (const auto& row : rows) {
    const TOutcome outcome = RunWith(row.csv, "--trace " + Folder().Path("t.csv") + " " + row.options);
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(Column(Folder().Path("t.csv"), "x"), row.x) << row.csv;
  }
}

// Once; in real time a row that comes late drives from when it has come.
TEST(Input, ReadsStandardInput) {
  RunWith("time,x\n0,1\n");
  const std::string run = tests::BuildPath("loopbox") + " run " + Folder().Path("driven.lbx") + " --quiet --input - " +
                          "--trace " + Folder().Path("t.csv");
  EXPECT_EQ(tests::Shell("printf 'time,x\\n0,1\\n1,2\\n' | " + run).status, 0);
  EXPECT_EQ(Column(Folder().Path("t.csv"), "x"), "1 2 2 2 ");
  std::filesystem::remove(Folder().Path("t.csv"));
  const std::string late = "{ printf 'time,x\\n0,1\\n0.07,5\\n0.'; for i in $(seq 999); do grep -qs ^0.2, " +
                           Folder().Path("t.csv") + " && break; sleep 0.01; done; printf '1,2\\n'; } | ";
  EXPECT_EQ(tests::Shell(late + run + " --realtime --period 0.05 --duration 1").status, 0);
  const std::string x = Column(Folder().Path("t.csv"), "x");
  EXPECT_TRUE(x.starts_with("1 5 5 5 ") && x.ends_with("2 ")) << x;
}

}  // namespace
