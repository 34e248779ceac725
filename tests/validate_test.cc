// The conformance check: what keeps the rules passes, and each plug-in that
// breaks one is caught by the case for it.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support.h"
#include "validation/validation.h"

namespace {

using validation::EOutcome;
using validation::TReport;
using validation::TResult;

TReport Validate(const std::string& plugin, const std::string& include = "*", double patience = 20.0) {
  validation::TOptions options;
  options.plugin = tests::BuildPath(plugin);
  options.include = {include};
  options.patience = patience;
  TReport report;
  std::string error;
  EXPECT_TRUE(validation::Validate(options, &report, &error)) << error;
  return report;
}

// "GROUP/CASE outcome: message", of all that have that outcome or a worse one.
std::string From(const TReport& report, EOutcome least) {
  std::string lines;
  for (const TResult& result : report.results) {
    if (result.outcome < least) continue;
    lines += result.name + ":" + result.className + " " + Word(result.outcome) + ": " + result.message + "\n";
  }
  return lines;
}

// Only what a class does not have is skipped.
TEST(Validate, OurClassesConformAndSoDoesAnAddedOne) {
  const std::string added = tests::BuildPath("tests/ratio_plugin/ratio_plugin.so") + " --exclude '*:[pbs]*_regulator'";
  for (const std::string& plugin : {std::string(), added}) {
    const tests::TOutcome outcome = tests::Loopbox("validate " + plugin);
    EXPECT_EQ(outcome.status, 0);
    std::istringstream lines(outcome.output);
    std::size_t passed = 0;
    for (std::string line; std::getline(lines, line);) {
      passed += line.starts_with("  passed");
      if (!line.starts_with("  ") || line.starts_with("  passed")) continue;
      const auto has = [&line](const char* part) { return line.find(part) != std::string::npos; };
      EXPECT_TRUE(line.starts_with("  skipped") &&
                  ((has("no pair of steps") && !has(" step_")) || (has("no keyword for a file") && !has(" pid_"))))
          << line;
    }
    EXPECT_GT(passed, 30u);
  }
}

TEST(Validate, AForeignPluginWithoutAReferenceConforms) {
  const TReport report = Validate("tests/regulator_none.so");
  EXPECT_EQ(From(report, EOutcome::kSkipped),
            "definitions/reference:pid_regulator skipped: no reference of the class stands beside the plug-in\n"
            "periods/steps-apart:pid_regulator skipped: the class has no pair of steps\n");
  EXPECT_EQ(report.results.size(), validation::Cases().size());
}

TEST(Validate, CatchesEachFaultByItsCase) {
  const struct {
    const char* fault;
    const char* name;
    EOutcome outcome;
    const char* message;
    double patience = 20.0;
  } rows[] = {
      {"crashes_on_load", "load/opens", EOutcome::kCrashed, "SIGILL"},
      {"accepts_any_host", "load/interface-number", EOutcome::kFailed, "accepts the interface number 0"},
      {"answers_unknown_class", "identity/unknown-class", EOutcome::kFailed, "describes a class that there is not"},
      {"overruns_buffer", "identity/capacities", EOutcome::kFailed, "wrote past a buffer of capacity 0"},
      {"malformed_image", "identity/images", EOutcome::kFailed, "measures 4100 × 2 pixels"},
      {"leaks_block", "lifetime/thousand", EOutcome::kFailed, "memory is not balanced"},
#ifndef __SANITIZE_ADDRESS__  // whose heap does not tell what is in use
      {"leaks_heap", "lifetime/thousand", EOutcome::kFailed, "outside the host's memory service"},
#endif
      {"needs_init", "lifetime/uninitialised", EOutcome::kCrashed, "SIGABRT (Aborted) while Done without"},
      {"forgets_expression", "definitions/again", EOutcome::kFailed, "holds 4 expressions of the host"},
      {"keeps_flag", "definitions/over-another", EOutcome::kFailed, "runs otherwise than without the definition"},
      {"accepts_any_keyword", "definitions/unknown", EOutcome::kFailed, "reads the entry no_such_keyword = 1;"},
      {"hangs_on_garbage", "definitions/byte-soup", EOutcome::kFailed, "took longer than 0.5 s while reading", 0.5},
      {"answers_unknown_name", "procedures/unknown-names", EOutcome::kFailed,
       "resolves the unknown name 'SetGain__Rx'"},
      {"trusts_arguments", "procedures/wrong-arguments", EOutcome::kCrashed,
       "while calling SetGain__R without an array"},
      {"never_raises", "events/raised", EOutcome::kFailed, "OnOutput is not raised"},
      {"leaves_range", "periods/hostile-values", EOutcome::kFailed, "is out of the range of its pane, 0.000000 to 100"},
      {"leaves_range", "procedures/between-periods", EOutcome::kFailed, "is out of the range of its pane"},
      {"yields_nan", "periods/hostile-values", EOutcome::kFailed, "output = nan with hostile values"},
      {"crashes_on_huge", "periods/hostile-values", EOutcome::kCrashed, "SIGILL"},
      {"divides_by_time", "periods/clock-jumps", EOutcome::kFailed, "output"},
      {"forgets_state", "periods/repeatable", EOutcome::kFailed, "two runs of the same end differently"},
      {"both_steps", "periods/steps-apart", EOutcome::kFailed, "more than one of the two-state outputs is on"},
      {"acts_by_halves", "periods/idle-bit", EOutcome::kFailed, "0x10 alone"},
      {"writes_half", "files/round-trip", EOutcome::kFailed, "saves another"},
      {"takes_short_file", "files/bad", EOutcome::kFailed, "takes something from a file that lacks a byte"},
      {"shares_color", "views/colours", EOutcome::kFailed, "the colour border_paper shares its word"},
      {"panes_in_wrong_order", "views/panes", EOutcome::kFailed, "pane does not show"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fault);
    const TReport report = Validate(std::string("tests/regulator_") + row.fault + ".so", row.name, row.patience);
    ASSERT_EQ(report.results.size(), 1u);
    const TResult& result = report.results.front();
    EXPECT_EQ(std::string(Word(result.outcome)), Word(row.outcome)) << result.message;
    tests::ExpectParts(result.message, {row.message});
  }
}

TEST(Validate, SpeaksToPeopleAndPrograms) {
  const std::string crashing = tests::BuildPath("tests/regulator_crashes_on_load.so");
  const tests::TCall rows[] = {
      {"--include nothing", 2, {"no case matches \"nothing\""}},
      {"--exclude 'files/*:no_regulator'", 2, {"no case matches"}},
      {"--exclude '*'", 2, {"the patterns leave no case"}},
      {"--patience 0", 2, {"--patience"}},
      {"--patience 1e300", 2, {"expected 0.1 to 3600 seconds"}},
      {"--include load/opens --include 'views/*:step*' --exclude views/sizes",
       0,
       {"  passed  load/opens", "views/panes    step_regulator", "3 cases: 3 passed, 0 warning",
        "The plug-in conforms."}},
      {"none.so", 1, {"failed   load/opens", "none.so: there is no such plug-in", "The plug-in does not conform."}},
      {crashing + " --include 'views/*'", 1, {"crashed  load/opens", "SIGILL", "while loading the plug-in", "skipped"}},
      {"--json --include 'identity/n*' " + crashing,
       1,
       {"{\n  \"schema\": 1,\n  \"plugin\": \"" + crashing +
            "\",\n  \"classes\": [],\n  \"cases\": [\n    {\n      \"name\": ",
        "\"class\": null,\n      \"outcome\": \"crashed\",\n      \"message\": \"SIGILL",
        "\"skipped\": 1,\n    \"failed\": 0,\n    \"crashed\": 1\n  }", "\"conforms\": false\n}\n"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    tests::ExpectOutcome(tests::Loopbox("validate " + row.arguments), row.status, row.parts);
  }
  const std::string list = tests::Loopbox("validate --list").output;
  tests::ExpectParts(tests::ReadFile(tests::SourcePath("docs/validate.md")), {"```text\n" + list + "```"});
}

}  // namespace
