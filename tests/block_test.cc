// Blocks of an application's text that rooms beside the runtime read.
#include "runtime/block.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/support.h"

namespace {

using tests::CRun;

// A panel of a title, limits of an element, and a condition.
class CPanelReader final : public runtime::CBlockReader {
 public:
  const char* Keyword() const override { return "panel"; }
  void Read(runtime::CBlockText& text) override {
    ++blocks;
    while (!text.IsAtEnd()) {
      const std::string entry = text.ExpectName("title, limit or when");
      const std::uint32_t place = text.LastOffset();
      if (entry == "title") {
        text.Expect("=");
        title = text.ExpectText();
      } else if (entry == "limit") {
        item = text.ExpectItem();
        text.Expect("=");
        limit = text.ExpectNumber();
        if (text.TakeIf(",")) on = text.ExpectBoolean();
      } else if (entry == "when") {
        text.Expect("=");
        when.emplace(text.ExpectExpression(true));
      } else {
        text.Fail(place, "expected title, limit or when, found '" + entry + "'");
      }
      text.Expect(";");
      if (title.empty()) text.Warn(place, "a panel without a title");
    }
  }

  int blocks = 0;
  std::string title;
  runtime::TItem item;
  double limit = 0.0;
  bool on = false;
  std::optional<runtime::CBlockExpression> when;
};

std::string WithPanel(const std::string& entries) {
  return "panel " + entries + " end_panel;\napplication a period = 1; duration = 9; end_application;\n" +
         "data x : real; zone : real[3]; end_data;\nprocess x = 2 * time; end_process;\n";
}

runtime::TReadOptions ReadBy(CPanelReader& reader) {
  runtime::TReadOptions options;
  options.blocks = {&reader};
  return options;
}

TEST(Block, IsReadOnceTheApplicationIsKnown) {
  CPanelReader reader;
  CRun run(WithPanel("title = \"Oven \\\"1\\\"\"; limit zone[2] = -1.5, true;") + "panel when = x > 3; end_panel;",
           ReadBy(reader));
  EXPECT_EQ(reader.blocks, 2);
  EXPECT_EQ(reader.title, "Oven \"1\"");
  EXPECT_EQ(reader.item, (runtime::TItem{1, 2}));
  EXPECT_EQ(reader.limit, -1.5);
  EXPECT_TRUE(reader.on);
  std::string values;
  while (run->Step() && run->PeriodsDone() < 4) values += std::to_string(reader.when->Value());
  EXPECT_EQ(values, "0.0000001.0000001.000000");
}

TEST(Block, IsPassedOverWhereNobodyReadsIt) { EXPECT_TRUE(CRun(WithPanel("anything \"goes\" #FFFFFF ]")).IsRead()); }

TEST(Block, SaysWhatIsWrongAtItsPlace) {
  const struct {
    const char* entries;
    const char* diagnostic;  // the first line
  } rows[] = {
      {"colour = 1;", "FILE:1:7: expected title, limit or when, found 'colour'\n"},
      {"title = 5;", "FILE:1:15: expected a string, found '5'\n"},
      {"title = \"a\"", "FILE:1:18: expected ';', found 'end_panel'\n"},
      {"title = \"a\"; limit y = 1;", "FILE:1:26: y: there is no such data element\n"},
      {"title = \"a\"; limit zone[3] = 1;", "FILE:1:26: zone[3]: the index is out of range\n"},
      {"title = \"a\"; when = x;", "FILE:1:27: expected a boolean, found a number\n"},
      {"limit x = 1; title = \"a\";", "FILE:1:7: warning: a panel without a title\n"},
      {"title = \"a\"; 7", "FILE:1:20: expected title, limit or when, found '7'\n"},
  };
  for (const auto& row : rows) {
    CPanelReader reader;
    const CRun run(WithPanel(row.entries), ReadBy(reader));
    const std::string said = run.Diagnostics();
    EXPECT_EQ(said.substr(0, said.find('\n') + 1), row.diagnostic) << row.entries;
  }
  const CRun open("panel title = 1;");
  EXPECT_EQ(open.Diagnostics().substr(0, open.Diagnostics().find('\n')),
            "FILE:1:1: this block is not closed: expected end_panel");
}

}  // namespace
