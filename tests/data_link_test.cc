// What acts on a run from outside: when it is asked, and in which order.
#include "runtime/data_link.h"

#include <gtest/gtest.h>

#include "tests/support.h"

namespace {

using runtime::EDataLink;
using tests::CRun;

// Notes when it is asked, and writes the time into its elements.
class CNotingLink final : public runtime::CDataLink {
 public:
  CNotingLink(EDataLink theKind, std::vector<std::string> theNames, std::string* theLog)
      : kind(theKind), names(std::move(theNames)), log(theLog) {}

  EDataLink Kind() const override { return kind; }
  const char* Name() const override { return kind == EDataLink::kInput ? "the input" : "the panel"; }
  bool Open(runtime::CApplication& opened, std::string* error) override {
    application = &opened;
    for (const std::string& name : names) {
      if (!application->FindItem(name, &items.emplace_back(), error)) return false;
    }
    return true;
  }
  const std::vector<runtime::TItem>& Written() const override { return items; }
  bool BeforePeriod(double time, std::string* error) override {
    *log += kind == EDataLink::kInput ? "input " : "panel ";
    for (const runtime::TItem& item : items) application->SetElementValue(item, time);
    return Answer(time == failsBefore, error);
  }
  bool AfterPeriod(double time, std::string* error) override {
    *log += kind == EDataLink::kInput ? "input's end " : "panel's end ";
    seen = application->ElementValue(0, 0);
    return Answer(time == failsAfter, error);
  }

  double failsBefore = -1.0;
  double failsAfter = -1.0;
  double seen = 0.0;  // of the first element, at a period's end

 private:
  bool Answer(bool fails, std::string* error) const {
    *error = std::string(Name()) + (fails ? " is lost" : " said something");
    return !fails;
  }

  EDataLink kind;
  std::vector<std::string> names;
  std::string* log;
  runtime::CApplication* application = nullptr;
  std::vector<runtime::TItem> items;
};

std::string Application() {
  return "application links period = 1; duration = 10; end_application;\n"
         "data shown : real; x : real; a : real[2]; doubled : real; end_data;\n"
         "process doubled = 2 * x; end_process;\n"
         "instrument meter m expression = x; end_instrument;\n"
         "script\nevery(1, function() data.shown = data.x end)\nend_script;\n";
}

TEST(DataLink, IsAskedInItsPlaceAndOrder) {
  CRun run(Application());
  std::string log;
  std::string error;
  CNotingLink panel(EDataLink::kPanel, {"a[1]"}, &log);
  CNotingLink input(EDataLink::kInput, {"x", "a[0]"}, &log);
  ASSERT_TRUE(run->AddLink(panel, &error)) << error;
  ASSERT_TRUE(run->AddLink(input, &error)) << error;
  run.Steps(2);
  EXPECT_EQ(log,
            "input panel input's end panel's end "
            "input panel input's end panel's end ");
  // Behind the process, before the script and the instruments; seen at the end.
  EXPECT_EQ(run.Value("doubled"), 2.0);  // of the period before
  EXPECT_EQ(input.seen, 2.0);
  EXPECT_EQ(run->Instrument(0).MeterValue(), 2.0);
  EXPECT_EQ(run.Value("a", 1), 2.0);
}

TEST(DataLink, EndsTheRunWhenItFails) {
  for (const bool before : {true, false}) {
    CRun run(Application());
    std::string log;
    std::string error;
    CNotingLink input(EDataLink::kInput, {"x"}, &log);
    CNotingLink panel(EDataLink::kPanel, {}, &log);
    (before ? input.failsBefore : input.failsAfter) = 2.0;
    panel.failsAfter = 2.0;
    ASSERT_TRUE(run->AddLink(input, &error) && run->AddLink(panel, &error)) << error;
    EXPECT_TRUE(run->Step());
    log.clear();
    EXPECT_FALSE(run->Step());
    EXPECT_EQ(run->LinkError(), "the input is lost");  // the first one
    EXPECT_EQ(log, "input panel input's end panel's end ");
    EXPECT_EQ(run->Instrument(0).MeterValue(), 2.0);  // the period is finished
    EXPECT_EQ(run->PeriodsDone(), 2u);
    EXPECT_FALSE(run->Step());
    EXPECT_EQ(run->PeriodsDone(), 2u);
  }
}

TEST(DataLink, WritesWhatNobodyElseDoes) {
  CRun run(tests::OneRegulator("pid_regulator", ""));
  std::string log;
  std::string error;
  CNotingLink input(EDataLink::kInput, {"x"}, &log);
  ASSERT_TRUE(run->AddLink(input, &error)) << error;
  const struct {
    const char* element;
    const char* message;
  } rows[] = {{"u", "'u' is written by the panel and by an instrument's output"},
              {"x", "'x' is written by the panel and by the input"},
              {"y", "there is no such data element"}};
  for (const auto& row : rows) {
    CNotingLink panel(EDataLink::kPanel, {row.element}, &log);
    EXPECT_FALSE(run->AddLink(panel, &error));
    EXPECT_EQ(error, row.message);
  }
}

}  // namespace
