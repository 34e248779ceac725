// Texts that nobody would write: a clear error soon. Random ones are the fuzzers'.
#include <gtest/gtest.h>

#include <chrono>

#include "tests/support.h"

namespace {

using tests::CRun;

const std::string kHostileElements =
    "data r : real; b : boolean; i : integer; ra : real[3]; ba : boolean[2]; computed : real; cb : boolean; end_data; "
    "process computed = 1; cb = true; end_process;\n";

constexpr double kPatience = 20.0;  // seconds; a sanitizer slows everything down

CRun Timed(const std::string& text) {
  const auto start = std::chrono::steady_clock::now();
  CRun run(text);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), kPatience);
  return run;
}

std::string Repeated(const std::string& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

TEST(HostileText, EndsInAClearErrorSoon) {
  constexpr std::size_t kMany = 100'000;
  const std::string process = "data r : real; ra : real[2]; b : boolean; end_data; process r = ";
  const std::pair<std::string, std::string> rows[] = {
      {std::string("data \0 x", 8), "the file is no text: a zero character"},
      {"data x : real \"\xC0\xAF\";", "the file is no text: invalid UTF-8"},
      {"data \xED\xA0\x80", "the file is no text: invalid UTF-8"},
      {std::string("\xFF\xFE\x00\xDC", 4), "the file is no text: invalid UTF-16"},
      {"\xFF\xFE!", "the file is no text: invalid UTF-16"},
      {std::string(10'000'000, 'a'),
       "expected application, constants, data, process, instrument or script, found 'aaa"},
      {"data x : real \"" + std::string(10'000'000, '\''), "string without an end"},
      {std::string(10'000'000, ' ') + "$", "FILE:1:10000001: unexpected character"},
      {"data x : real = " + std::string(10'000'000, '9') + ";", "number out of range"},
      {Repeated("/* ", kMany * 10), "comment without an end"},
      {process + Repeated("(", kMany) + "1" + Repeated(")", kMany) + "; end_process;", "expression nested too deeply"},
      {process + Repeated("(", kMany), "this block is not closed"},
      {process + Repeated("sin(", kMany) + "; end_process;", "expression nested too deeply"},
      {process + Repeated("ra[", kMany) + "; end_process;", "expression nested too deeply"},
      {process + Repeated("if(b,", kMany) + "; end_process;", "nested too deeply"},
      {process + Repeated("2 ^ ", kMany) + "2; end_process;", "expression nested too deeply"},
      {process + Repeated("1 + ", kMany * 10) + "1; end_process;", "expression too long"},
      {process + Repeated("-", kMany + 1) + "b; end_process;", "expected a number, found a boolean"},
      {process + "if(" + Repeated("not ", kMany) + "1, 1, 2); end_process;", "expected a boolean, found a number"},
      {Repeated("data end_data;\n", kMany) + "dat", "FILE:100001:1: expected application"},
      {"instrument " + Repeated("meter ", kMany) + "end_instrument;", "Neznámý identifikátor"},
  };
  for (const auto& [text, message] : rows) {
    SCOPED_TRACE(text.substr(0, 80));
    const CRun run = Timed(text);
    EXPECT_FALSE(run.IsRead());
    tests::ExpectParts(run.Diagnostics(), {message});
    EXPECT_LT(run.Diagnostics().size(), 1500u);
  }
}

const std::string kGood = kHostileElements +
                          "application good period = 0.5; end_application;\n"
                          "instrument pid_regulator t expression = ra[i] + 1; wish_value = r; condition = b; "
                          "manual = 2; output = ra[i + 1]; receivers = u, v;\n"
                          "wish_value_section mode = history; font = \"Sans\", 9, bold; end_wish_value_section; "
                          "parameters adaptive = true; regulator_type = variable; end_parameters;\n"
                          "colors ink = #FF0000; end_colors; end_instrument;\n"
                          "instrument step_regulator u expression = r; output_plus = ba[0]; end_instrument;\n"
                          "instrument meter v expression = r; mask = \"# %\"; end_instrument;\n";

TEST(HostileText, ATruncatedTextIsNoApplication) {
  std::size_t wholeEnd = 0;
  for (std::size_t length = 0; length <= kGood.size(); ++length) {
    const std::string text = kGood.substr(0, length);
    for (const char* end : {"end_data;", "end_process;", "end_application;", "end_instrument;"}) {
      if (text.ends_with(end)) wholeEnd = length;
    }
    const bool whole = text.find_first_not_of(" \n", wholeEnd) == std::string::npos;
    // Until both receivers are there, even whole blocks are wrong.
    const bool receiversMissing = text.find("instrument pid") != std::string::npos && wholeEnd + 1 < kGood.size();
    const CRun run(text);
    ASSERT_EQ(run.IsRead(), whole && !receiversMissing) << text;
    ASSERT_EQ(run.diagnostics.empty(), run.IsRead()) << text;
  }
}

}  // namespace
