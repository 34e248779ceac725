// The reference files of the classes: whatever they say is tried on the class.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <regex>
#include <set>
#include <sstream>

#include "painting/painting.h"
#include "tests/support.h"
#include "workbench/reference.h"
#include "workbench/text.h"

namespace {

using tests::CRun;
using workbench::CReference;
using workbench::TKeyword;

CReference Reference(const std::string& className) {
  CReference reference;
  std::string error;
  EXPECT_TRUE(CReference::Load(tests::BuildPath(className + ".ref"), &reference, &error)) << error;
  return reference;
}

// An application of one regulator with these entries.
std::string Application(const std::string& className, const std::string& entries) {
  return "application a period = 1; duration = 60; end_application;\n"
         "data temperature : real = 20; set_point : real = 60; power : real; running : boolean = true; "
         "heating : boolean; valve_open : boolean; valve_close : boolean; hand : real; hand_on : boolean; "
         "by_hand : boolean; end_data;\n"
         "process temperature = 50 + 30 * sin(time / 10); set_point = if(time < 30, 60, 40); end_process;\n"
         "instrument meter alarm end_instrument;\ninstrument " +
         className + " regulator " + entries + " end_instrument;\n";
}

// Calls `visit` with each keyword in each block in which it stands, and with
// what opens and closes the block.
template <typename TVisit>
void ForEachPlace(const CReference& reference, const TVisit& visit) {
  for (const TKeyword& row : reference.Keywords()) {
    const std::vector<std::string> sections = workbench::Split(row.section, ' ');
    for (std::size_t i = 0; i < sections.size(); ++i) {
      const bool inBlock = sections[i] != "instrument" && sections[i] != "system";
      const std::string open = inBlock ? sections[i] + " " : "", close = inBlock ? " end_" + sections[i] + ";" : "";
      // "1, 2, 3" are the defaults in three blocks.
      const auto defaults = workbench::Split(row.defaultValue, ',');
      const bool isOfBlock = sections.size() > 1 && defaults.size() == sections.size();
      visit(row, sections[i], isOfBlock ? defaults[i] : row.defaultValue, open, close);
    }
  }
}

bool IsOneOf(const std::string& word, std::initializer_list<const char*> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool Has(const CReference& reference, const std::string& keyword) {
  const auto& rows = reference.Keywords();
  return std::any_of(rows.begin(), rows.end(), [&keyword](const TKeyword& row) { return row.keyword == keyword; });
}

bool HasLiteral(const TKeyword& row) {
  return IsOneOf(row.type, {"real", "integer", "cardinal", "boolean", "name", "color", "size"});
}

TEST(References, AreReadByTheirClassAsTheyStand) {
  for (const std::string& className : tests::ClassNames()) {
    const auto diagnostics = [&](const std::string& entry) {
      return CRun(Application(className, entry)).Diagnostics();
    };
    std::map<std::string, int> counts;
    ForEachPlace(Reference(className), [&](const TKeyword& row, const std::string& section, const std::string& given,
                                           const std::string& open, const std::string& close) {
      SCOPED_TRACE(className + " " + open + row.keyword);
      ++counts[section];
      const auto value = [&](const std::string& text) {
        return diagnostics(open + row.keyword + " = " + text + ";" + close);
      };
      EXPECT_EQ(row.example.rfind(row.keyword, 0), 0u) << row.example;
      EXPECT_EQ(diagnostics(open + row.example + close), "");
      if (HasLiteral(row)) {
        EXPECT_EQ(value(given), "");
      }
      EXPECT_EQ(row.range.empty(), IsOneOf(row.type, {"flag", "block"}));
      if (IsOneOf(row.type, {"integer", "cardinal"})) {
        std::istringstream range(row.range);
        std::int64_t low = 0, high = 0;
        std::string dots;
        ASSERT_TRUE(range >> low >> dots >> high && dots == "…") << row.range;
        EXPECT_EQ(value(std::to_string(low)) + value(std::to_string(high)), "");
        EXPECT_TRUE(value(std::to_string(low - 1)) != "" && value(std::to_string(high + 1)) != "");
      } else if (row.type == "real") {
        EXPECT_EQ(value("-1e308"), "");
        EXPECT_NE(value("1e309"), "");
      } else if (IsOneOf(row.type, {"name", "boolean"})) {
        for (const std::string& name : workbench::Split(row.range, ',')) {
          const bool isRefused = section == "output_section" && name == "history";
          const bool needsMore = name == "variable";  // adaptive = true
          EXPECT_EQ(
              diagnostics(open + (needsMore ? "adaptive = true; " : "") + row.keyword + " = " + name + ";" + close)
                  .empty(),
              !isRefused)
              << name;
        }
        EXPECT_NE(value("nonsense"), "");
      }
    });
    EXPECT_EQ(counts["value_section"], 15) << className;
    EXPECT_EQ(counts["output_section"], 15) << className;
    EXPECT_EQ(counts["system"], className == "step_regulator" ? 7 : className == "pid_regulator" ? 9 : 8) << className;
    if (className == "pid_regulator") {
      EXPECT_EQ(counts["parameters"], 7);
    }
  }
}

// What a person can see of a run: its trace and its panes.
std::string Look(const std::string& className, const std::string& entries) {
  const std::map<std::string, std::string> outputs = {{"R", "output = power; "},
                                                      {"l", "output = heating; "},
                                                      {"ll", "output_plus = valve_open; output_minus = valve_close; "}};
  CRun run(Application(className, "expression = temperature; wish_value = set_point; position = 0, 0, 240, 70; " +
                                      outputs.at(tests::EventLetters(className)) + entries));
  if (!run.IsRead()) return run.Diagnostics();
  std::string look = run.Trace(), bytes, error;
  EXPECT_TRUE(painting::Picture(*run, painting::EFormat::kPng, &bytes, &error)) << error;
  return look + bytes;
}

// An entry that states the default changes nothing; the example does, in some
// block at least, but for blinking, which no single picture shows.
TEST(References, StateTheDefaults) {
  for (const std::string& className : tests::ClassNames()) {
    std::map<std::string, std::string> looks;  // by setting
    std::map<std::string, bool> seen;          // by keyword: that its example makes a difference
    const CReference reference = Reference(className);
    ForEachPlace(reference, [&](const TKeyword& row, const std::string& section, const std::string& given,
                                const std::string& open, const std::string& close) {
      if (!HasLiteral(row) || section == "system") return;
      SCOPED_TRACE(className + " " + open + row.keyword);
      // Whatever it is: a limit that isn't given colours nothing, a pane without a mode has its name.
      const bool isDrawnIfGiven = section != "colors" && IsOneOf(row.keyword, {"mode", "low_limit", "high_limit"});
      std::vector<std::string> settings = {""};
      if (section == "colors") {
        settings = {
            "value_section content = full; h_grid = 3; v_grid = 3; low_limit = 30; high_limit = 60; "
            "end_value_section; "};
      } else if (open != "" && section != "parameters" && row.keyword != "mode" && row.keyword != "content") {
        settings = {open + "content = full; end_" + section + "; "};
        if (row.keyword != "range_from") settings.push_back(open + "mode = number; end_" + section + "; ");
      } else if (section == "parameters" && row.keyword == "refil") {
        settings = {"parameters adaptive = true; end_parameters; "};
      }
      if (row.keyword.starts_with("divergence") && Has(reference, "inactive_hit")) settings = {"inactive_hit = 0; "};
      if (row.keyword == "history" && section != "output_section") {
        settings = {"wish_value_section mode = history; end_wish_value_section; "};
      }
      if (row.example != row.keyword + " = " + given + ";") seen.emplace(row.keyword, false);
      for (const std::string& setting : settings) {
        std::string& look = looks[setting];
        if (look.empty()) look = Look(className, setting);
        if (!isDrawnIfGiven) {
          EXPECT_EQ(Look(className, setting + open + row.keyword + " = " + given + ";" + close) == look, true)
              << setting;
        }
        if (Look(className, setting + open + row.example + close) != look) seen[row.keyword] = true;
      }
    });
    for (const auto& [keyword, isSeen] : seen) EXPECT_TRUE(isSeen || keyword == "blink_rate") << keyword;
    EXPECT_GE(seen.size(), 12u);
  }
}

// Events and procedures are told, and none that there is not.
TEST(References, NameWhatTheClassOffers) {
  for (const std::string& className : tests::ClassNames()) {
    runtime::TClassDescription offered;
    std::string error;
    ASSERT_TRUE(tests::Plugin().Describe(className, &offered, &error)) << error;
    const CReference reference = Reference(className);
    const auto names = [](const auto& items) {
      std::set<std::string> set;
      for (const auto& item : items) set.insert(item.name);
      return set;
    };
    EXPECT_EQ(names(reference.Events()), names(offered.events));
    const std::set<std::string> told = names(reference.Procedures());
    for (const std::string& name : names(offered.procedures)) EXPECT_TRUE(told.contains(name)) << name;
    const CRun plain(Application(className, ""));
    const CRun adaptive(Application(
        className,
        Has(reference, "adaptive") ? "parameters adaptive = true; regulator_type = variable; end_parameters;" : ""));
    for (const std::string& name : told) {
      std::vector<double> arguments(name.size() - name.rfind("__") - 2, 1.0);
      EXPECT_TRUE(plain.Instrument("regulator").Call(name, &arguments) ||
                  adaptive.Instrument("regulator").Call(name, &arguments) || name == "RunIdentification__" ||
                  name == "StopIdentification__")
          << name;
    }

    std::vector<std::string> colors, written;
    for (const runtime::TColor& color : offered.colors) {
      char text[80];
      const std::uint32_t word = color.defaultColor;
      std::snprintf(text, sizeof text, "%s #%02X%02X%02X", color.keyword.c_str(), word & 0xFF, word >> 8 & 0xFF,
                    word >> 16);
      colors.push_back(text);
    }
    for (const TKeyword& row : reference.Keywords()) {
      if (row.section == "colors") written.push_back(row.keyword + " " + row.defaultValue);
    }
    EXPECT_EQ(written, colors) << className;
    EXPECT_EQ(written.size(), 11u);
  }
}

// "1 classical, 2 takahashi": what each number stands for.
std::map<std::string, double> Numbers(const CReference& reference, const std::string& procedure) {
  std::map<std::string, double> numbers;
  for (const auto& [name, text] : reference.Procedures()) {
    static const std::regex item("([0-9]) ([A-Za-z]+)");
    for (std::sregex_iterator match(text.begin(), text.end(), item), end; name == procedure && match != end; ++match) {
      numbers[(*match)[2]] = std::stod((*match)[1]);
    }
  }
  return numbers;
}

TEST(References, NumberTheLawsAsTheCallsDo) {
  const CReference reference = Reference("pid_regulator");
  const std::map<std::string, double> taken = Numbers(reference, "SetRegulatorType__n");
  std::map<std::string, double> kept = Numbers(reference, "GetRegulatorType__R");
  ASSERT_EQ(taken.size(), 5u);
  ASSERT_EQ(kept.size(), 5u);
  for (const auto& [law, number] : taken) {
    const CRun called(Application("pid_regulator", ""));
    const CRun read(
        Application("pid_regulator", "parameters adaptive = true; regulator_type = " + law + "; end_parameters;"));
    called.Call("regulator", "SetRegulatorType__n", {number});
    EXPECT_EQ(called.Call("regulator", "GetRegulatorType__R", {0})[0], kept[law]) << law;
    EXPECT_EQ(read.Call("regulator", "GetRegulatorType__R", {0})[0], kept[law]) << law;
  }
}

TEST(References, SayWhatIsWrongInTheirFile) {
  const tests::CFolder folder;
  folder.Write("part", "[colors]\n[include twice]\n");
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  const struct {
    std::string name;
    std::string text;
    const char* message;
  } rows[] = {
      {"twice", "[include part]\n", "part:2: a file that is included includes no other"},
      {"short", "[colors]\nink | color | #FFFFFF\n",
       "short:2: expected keyword | type | default | range | example entry | meaning"},
      {"nothing", "[include missing]\n",
       "missing: the reference of the class can't be read: No such file or directory"},
      {"count", "[state]\na | Debug__RRRR | 3 | 5 | +\n", "count:2: Debug__RRRR has 4 arguments, found 5"},
      {"huge", "[state]\na | Debug__RRRR | 18446744073709551614 | 18446744073709551615 | +\n",
       "huge:2: Debug__RRRR has 4 arguments, found 18446744073709551615"},
      {"learning", "[learning]\nalways | GetAdaptive__l\n",
       "learning:2: expected while | procedure of one argument, or always | procedure of two"},
      {"ranged", "[set]\ntI | GetParameters__RRR | SetParameters__RRR | 1 | 3 | over 0\n",
       "ranged:2: expected name | reading procedure | setting procedure | argument index | argument count | above or "
       "from "
       "LOW to HIGH"},
      {"other", "[set]\ntI | GetParameters__RRR | SetParameters__RR | 1 | 3 |\n",
       "other:2: SetParameters__RR has 2 arguments, found 3"},
      {"band", "[band]\nplus | Debug__RRRR\n", "band:2: expected a procedure of one argument, found Debug__RRRR"},
      {"outside", "[include ../count]\n", "outside:1: a file that is included stands in the same folder"},
      {"long", std::string(1 << 20, '#') + "\n",
       "long: the reference of the class can't be read: it is longer than 1 MiB"},
      {"pipe", "", "pipe: the reference of the class can't be read: it is no regular file"},
      {"unmeant", "[events]\nOnOutput__R\n", "unmeant:2: expected a name | its meaning"},
  };
  for (const auto& [name, text, message] : rows) {
    if (!text.empty()) folder.Write(name, text);
    CReference reference;
    std::string error;
    EXPECT_FALSE(CReference::Load(folder.Path(name), &reference, &error));
    tests::ExpectParts(error, {message});
  }
}

}  // namespace
