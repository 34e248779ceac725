// Data elements driven from recorded data.
#include <gtest/gtest.h>

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

TEST(Input, IsRefusedWithItsLine) {
  const struct {
    const char* csv;
    const char* message;  // behind the file's name
  } rows[] = {
      {"", ": expected a line of column names, found nothing"},
      {"x,on\n1,1\n", ":1: expected a column \"time\", in seconds"},
      {"time,x,x\n", ":1: two columns are named \"x\""},
      {"time,x\n", ":2: expected rows behind the column names, found none"},
      {"time,y,u,a,a[2],sum\n0,0,0,0,0,0\n",
       ":1: no column names a data element that can be driven; a: an array needs an index; a[2]: the index is out of "
       "range; y: there is no such data element; u: written by an instrument's output; sum: written by the process"},
      {"time,x\n0,1\n1\n", ":3: expected 2 fields as in the first line, found 1"},
      {"time,x\n0,1\n1,2,3\n", ":3: expected 2 fields as in the first line, found 3"},
      {"time,x\n0,1\n0,2\n", ":3: column time: expected more than the 0 of the row before, found 0"},
      {"time,x\nnow,1\n", ":2: column time: expected a number, found \"now\""},
      {"time,x\n0,nan\n", ":2: column x: expected a number, found \"nan\""},
      {"time,x\n0,1e999\n", ":2: column x: expected a number, found \"1e999\""},
      {"time,x\n0, 1\n", ":2: column x: expected a number, found \" 1\""},
      {"time,x\n0,\n", ":2: column x: expected a number, found \"\""},
      {"time,on\n0,2\n", ":2: column on: expected true or false, found \"2\""},
      {"time,n\n0,2147483648\n", ":2: column n: expected a whole number of 32 bits, found \"2147483648\""},
      {"time,x\n0,\"1\n", ":2: a quoted field has no end"},
      {"time,x\n0,\"1\"2\n", ":2: expected a comma or the line's end behind a quoted field"},
      {"time,x\n\"0\n\",1\n", ":2: column time: expected a number, found \"0\n\""},
      {"time,x\n0,1\"\n", ":2: a quote inside a field that is not quoted"},
  };
  for (const auto& row : rows) {
    const TOutcome outcome = RunWith(row.csv);
    EXPECT_EQ(outcome.status, 1) << row.csv;
    EXPECT_EQ(outcome.output, "loopbox: " + Folder().Path("data.csv") + row.message + "\n");
  }
  EXPECT_EQ(Loopbox("run " + Folder().Path("driven.lbx") + " --input " + Folder().Path("")).status, 1);
  EXPECT_EQ(RunWith("time,x\n0,1\n", "--trace " + Folder().Path("data.csv")).status, 1);  // would overwrite it
}

}  // namespace
