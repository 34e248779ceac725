// What an application's author reads when the text is wrong: the whole message
// with its place, for every error; and texts that look odd but are right.
#include <gtest/gtest.h>

#include <sstream>

#include "runtime/platform/memory.h"
#include "tests/support.h"

namespace {

using tests::CRun;

const std::string kElements = "data r : real; b : boolean; i : integer; ra : real[3]; ba : boolean[2]; ";
const std::string kData =
    kElements + "computed : real; cb : boolean; end_data; process computed = 1; cb = true; end_process;\n";

// Where a text stands: `w` is the whole, `x` a process, `e` an expression of
// it, `r` the definition of a regulator of each class, p, b and s of the class
// with that letter, and `m` of a meter. A row for `a` stands in each section of
// each class and in a meter.
std::vector<std::string> Prefixes(char where) {
  const std::string instrument = kData + "instrument ";
  if (where == 'r') {
    std::vector<std::string> all;
    for (const std::string& name : tests::ClassNames()) all.push_back(instrument + name + " t\n");
    return all;
  }
  const std::map<char, std::string> prefixes = {{'x', kElements + "end_data; process\n"},
                                                {'e', kElements + "end_data; process\nr = "},
                                                {'p', instrument + "pid_regulator t\n"},
                                                {'b', instrument + "boolean_regulator t\n"},
                                                {'s', instrument + "step_regulator t\n"},
                                                {'m', instrument + "meter t\n"},
                                                {'w', ""}};
  return {prefixes.at(where)};
}

std::string Suffix(char where) {
  return where == 'w' ? "" : where == 'e' ? ";\nend_process;" : where == 'x' ? "\nend_process;" : "\nend_instrument;";
}

// `@` in a text marks the place of a message, each in turn.
std::string WithoutMarks(std::string text) {
  std::erase(text, '@');
  return text;
}

std::string Expected(const std::string& text, const std::vector<std::string>& messages) {
  std::string expected;
  std::size_t at = 0;
  for (const std::string& message : messages) {
    at = text.find('@', at);
    EXPECT_NE(at, std::string::npos) << text;
    const std::size_t begin = at == 0 ? 0 : text.rfind('\n', at - 1) + 1;  // npos + 1 is 0
    const std::string before = WithoutMarks(text.substr(begin, at - begin));
    const std::string line = WithoutMarks(text.substr(begin, text.find('\n', begin) - begin));
    const auto columns = static_cast<std::size_t>(
        std::count_if(before.begin(), before.end(), [](char c) { return (c & 0xC0) != 0x80; }));
    expected += "FILE:" + std::to_string(std::count(text.begin(), text.begin() + static_cast<long>(at), '\n') + 1) +
                ":" + std::to_string(columns + 1) + ": " + message + "\n" + line + "\n" + std::string(columns, ' ') +
                "^\n";
    ++at;
  }
  return expected;
}

// A row is `where | text | message | message …`; `¶` in a text is a new line,
// NAMEn a name of n characters, and CLASSES in a message the names of all.
struct TRow {
  std::string where;
  std::string text;
  std::vector<std::string> messages;
};

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
  return text;
}

std::vector<TRow> Rows(const std::string& table) {
  std::string classes;
  for (const std::string& name : tests::ClassNames()) classes += (classes.empty() ? "" : ", ") + name;
  std::vector<TRow> rows;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) continue;
    std::vector<std::string> cells;
    for (std::size_t at = 0, bar = 0; bar != std::string::npos; at = bar + 3) {
      bar = line.find(" | ", at);
      cells.push_back(line.substr(at, bar - at));
    }
    for (const int length : {63, 64}) {
      cells.at(1) = Replaced(cells[1], "NAME" + std::to_string(length), std::string(length, 'n'));
    }
    cells[1] = Replaced(cells[1], "¶", "\n");
    std::vector<std::string> messages(cells.begin() + 2, cells.end());
    for (std::string& message : messages) message = Replaced(message, "CLASSES", classes);
    if (cells[0] != "a") {
      rows.push_back({cells[0], cells[1], messages});
      continue;
    }
    rows.push_back({"m", cells[1], messages});
    for (const std::string section : {"wish_value_section", "value_section", "output_section"}) {
      rows.push_back({"r", section + " " + cells[1] + " end_" + section + ";", messages});
    }
  }
  return rows;
}

void CheckText(const std::string& text, const std::vector<std::string>& messages, bool isRead) {
  SCOPED_TRACE(text);
  const runtime::TMemoryStatistics before = runtime::MemoryStatistics();
  {
    const CRun run(WithoutMarks(text));
    EXPECT_EQ(run.Diagnostics(), Expected(text, messages));
    EXPECT_EQ(run.IsRead(), isRead);
  }
  EXPECT_EQ(runtime::MemoryStatistics().blocks, before.blocks);
}

void CheckRows(const std::vector<TRow>& rows, bool isRead) {
  for (const TRow& row : rows) {
    for (const char where : row.where) {
      for (const std::string& prefix : Prefixes(where))
        CheckText(prefix + row.text + Suffix(where), row.messages, isRead);
    }
  }
}

constexpr char kInBlocksAndData[] = R"(
w | @bogus x; | expected application, data, process, instrument or script, found 'bogus'
w | @42 | expected application, data, process, instrument or script, found '42'
w | application a end_application;¶@application b end_application; | a second application block
w | application @; | expected the application's name, found ';'
w | application a @colour = 1; | expected period, duration or end_application, found 'colour'
w | application a period @0.5; | expected '=', found '0.5'
w | application a period = @true; | expected a number, found 'true'
w | application a period = 0.5 @duration = 1; | expected ';', found 'duration'
w | application a¶  period = @0.0009; end_application; | a period is at least 0.001 s
w | application a period = @-1; end_application; | a period is at least 0.001 s
w | application a duration = @-1; end_application; | a duration is not negative
w | application a duration = @1e300; end_application; | a duration is at most 2^53 ms
w | application a period = @1e300; end_application; | a period is at most 2^53 ms
w | application @NAME64 end_application; | a name of more than 63 characters
w | instrument @NAME64 m end_instrument; | a name of more than 63 characters
w | application a@ | expected period, duration or end_application, found the end of the text
w | data r : real; end_data@ | expected ';', found the end of the text
w | data x @real; | expected ':', found 'real'
w | data @5 : real; | expected a name or 'end_data', found '5'
w | data x : @double; | expected real, boolean or integer, found 'double'
w | data x : real; @x : real; | 'x' is already declared
w | data x : real; end_data; data @x : real; | 'x' is already declared
w | data @sin : real; | 'sin' is reserved
w | data x : real[@0]; | integer out of range, expected 1 to 1000000
w | data x : real[@1000001]; | integer out of range, expected 1 to 1000000
w | data x : real[@1.5]; | expected an integer, found '1.5'
w | data x : real = @true; | expected a number, found 'true'
w | data x : boolean = @1; | expected true or false, found '1'
w | data x : integer = @2147483648; | integer out of range, expected -2147483648 to 2147483647
w | data x : integer = @1.5; | expected an integer, found '1.5'
w | data x : real[2] = @[1, 2, 3]; | expected 2 values, found 3
w | data x : real "°C" @"°F"; | expected ';', found a string
w | data x : real @°; | unexpected character
w | data x : real = @1e999; | number out of range
w | data x : real = @0x1FFFFFFFFFFFFFFFF; | number out of range
w | data x : real = @1.; | malformed number
w | data x : real = @12ab; | malformed number
w | data x : real = @0x; | malformed number
w | data x : real = @1e+; | malformed number
w | data x : real @"°C;¶end_data; | string without an end
w | data x : real "°@\q"; | unknown escape, expected \", \\ or \n
w | data x : real;¶  @/* never ending¶end_data; | comment without an end
w | // all¶@process y = 1; | this block is not closed: expected end_process
w | @instrument meter x¶ title = ""; | this block is not closed: expected end_instrument
w | @script at(0, f) end_script; | this block is not closed: expected a line with end_script
w | instrument @= x | expected the class of the instrument, found '='
w | instrument meter @5 | expected the instrument's name, found '5'
w | instrument @pid_regulater x end_instrument; | unknown class 'pid_regulater'; there are CLASSES, meter
w | instrument meter x end_instrument;¶instrument meter @x end_instrument; | a second instrument 'x'
w | instrument meter @x end_instrument; data x : real; end_data; | 'x' names a data element and an instrument
w | instrument meter @q end_instrument; process q = 1; end_process; | 'q' names a data element and an instrument
w | instrument meter @print end_instrument; | 'print' has a meaning of its own and can't name an instrument
w | instrument meter x¶ @nonsense; end_instrument;¶instrument pid_regulator y¶ @5; end_instrument; | Neznámý identifikátor | Očekáván identifikátor
w | @instrument pid_regulator x parameters adaptive = false; regulator_type = variable; end_parameters;¶inverse; end_instrument; | Regulátor typu "variable" musí být autoadaptivní
w | instrument pid_regulator x value_section range_from = 0;¶ @end_instrument; | unexpected end of the definition
w | instrument step_regulator x colors¶ @end_instrument; | unexpected end of the definition
w | instrument meter x mode =¶ @end_instrument; | unexpected end of the definition
w | instrument meter x expression =¶ @end_instrument; | expected a value, found 'end_instrument'
w | instrument meter x title = ""¶ @end_instrument; | expected ';', found 'end_instrument'
w | data @NAME64 : real; | name longer than 63 characters
w | instrument meter @NAME64 end_instrument; | a name of more than 63 characters
)";

constexpr char kInProcesses[] = R"(
x | @q' = 1; | unknown data element 'q'
x | @ra = 1; | 'ra' is an array and needs an index
x | @r[0] = 1; | 'r' is not an array
x | ra[@3] = 1; | integer out of range, expected 0 to 2
x | ra[@i] = 1; | expected an integer, found 'i'
x | r = 1;¶ @r = 2; | 'r' is computed twice
x | ra[1] = 1; @ra[1]' = 2; | 'ra' is computed twice
x | @i = 1; | 'i' is an integer; a process computes reals and booleans
x | @b' = 1; | 'b' is no real, and nothing else has a derivative
x | r' = @delay(r, 1); | 'delay' must be the whole right side of an algebraic line of a process
x | r = delay(1, 1) @+ 1; | expected ';', since 'delay' is the whole right side of its line, found '+'
x | r = delay(1@); | expected ',', found ')'
x | substeps = @0; | integer out of range, expected 1 to 10000
x | substeps = @10001; | integer out of range, expected 1 to 10000
x | substeps = 2; @substeps = 2; | 'substeps' is given twice
x | @3 = 1; | expected a data element or 'end_process', found '3'
x | r @+ 1; | expected '=', found '+'
x | b = @1; | expected a boolean, found a number
e | @ | expected a value, found ';'
e | @b | expected a number, found a boolean
e | @nothing | unknown name 'nothing'
e | @ra | 'ra' is an array and needs an index
e | @i[0] | 'i' is not an array
e | ra[@b] | expected a number, found a boolean
e | ra[1@ | expected ']', found ';'
e | if(not @i, 1, 2) | expected a boolean, found a number
e | 1 + @true | expected a number, found a boolean
e | @b + 1 | expected a number, found a boolean
e | if(@1 and b, 1, 2) | expected a boolean, found a number
e | if(b or @1, 1, 2) | expected a boolean, found a number
e | if(@b < b, 1, 2) | expected a number, found a boolean
e | if(1 == @b, 1, 2) | expected a number, found a boolean
e | if(@1 < 2 < 3, 1, 2) | expected a number, found a boolean
e | -@b | expected a number, found a boolean
e | 2 ^ @b | expected a number, found a boolean
e | @b ^ 2 | expected a number, found a boolean
e | if(@1, 2, 3) | expected a boolean, found a number
e | if(b, 1, @b) | expected a number, found a boolean
e | @if(b, 1) | 'if' takes 3 arguments
e | @sin() | 'sin' takes 1 argument
e | @sin(1, 2) | 'sin' takes 1 argument
e | @atan2(1) | 'atan2' takes 2 arguments
e | @min(1) | 'min' takes at least 2 arguments
e | @limit(1, 2, 3, 4) | 'limit' takes 3 arguments
e | @noise() | 'noise' takes 1 argument
e | sin @1 | expected '(', found '1'
e | (1@ | expected ')', found ';'
e | 1 @2 | expected ';', found '2'
e | 1 +@ | expected a value, found ';'
e | @1 and b | expected a boolean, found a number
)";

constexpr char kInInstruments[] = R"(
rm | @42 = 1; | Očekáván identifikátor
rm | @"title"; | Očekáván identifikátor
rm | title = "T";¶@nonsense = 1; | Neznámý identifikátor
bsm | @blink_rate = 5; | Neznámý identifikátor
bsm | @manual = 1; | Neznámý identifikátor
bsm | @parameters end_parameters; | Neznámý identifikátor
sm | @output = b; | Neznámý identifikátor
pbm | @output_plus = b; | Neznámý identifikátor
pbm | @inactive_hit = 2; | Neznámý identifikátor
pm | @divergence_plus = 1; | Neznámý identifikátor
m | @wish_value = 1; | Neznámý identifikátor
m | @ratio = 1; | Neznámý identifikátor
r | @mode = bar; | Neznámý identifikátor
rm | expression = 1;¶ @expression = 1; | Výraz redefinován
r | wish_value = 1; @wish_value = 1; | Výraz redefinován
r | condition = b; @condition = b; | Výraz redefinován
p | manual = 1; @manual = 1; | Výraz redefinován
r | value_section @5; end_value_section; | Očekáván identifikátor
r | value_section @wish_value = 1; end_value_section; | Neznámý identifikátor
r | value_section @expression = 1; end_value_section; | Neznámý identifikátor
r | output_section mode = @history; end_output_section; | Neznámé klíčové slovo
r | colors @paper_ink = #000000; end_colors; | Neznámé klíčové slovo
m | mode = @tachometer; | Neznámé klíčové slovo
m | content = @5; | Očekáván identifikátor
rm | colors @5 = #000000; end_colors; | Očekáván identifikátor
rm | colors @green = #000000; end_colors; | Neznámé klíčové slovo
rm | colors ink = @red; end_colors; | expected a colour, #RRGGBB, found 'red'
rm | colors ink = @#12345; end_colors; | malformed color, expected #RRGGBB
rm | colors end_colors @inverse; | expected ';', found 'inverse'
p | parameters @5; end_parameters; | Očekáván identifikátor
p | parameters @param_4 = 1; end_parameters; | Neznámý identifikátor
p | parameters @expression = 1; end_parameters; | Neznámý identifikátor
p | parameters regulator_type = @5; end_parameters; | Očekáván identifikátor
p | parameters regulator_type = @Takahashi; end_parameters; | Neznámé klíčové slovo
p | parameters adaptive = @1; end_parameters; | expected true or false, found '1'
p | parameters param_1 = @high; end_parameters; | expected a number, found 'high'
p | parameters file_name = @x; end_parameters; | expected a string, found 'x'
p | parameters file_name = @""; end_parameters; | expected the name of a file
p | parameters file_name = @"a/../../x"; end_parameters; | the file name leaves the application's folder
p | parameters file_name = @"/tmp/x"; end_parameters; | the file name leaves the application's folder
r | inverse @= 1; | expected ';', found '='
r | show_description @true; | expected ';', found 'true'
s | inactive_hit = @1.5; | expected an integer, found '1.5'
bs | divergence_plus = @r; | expected a number, found 'r'
p | blink_rate = @-1; | integer out of range, expected 0 to 4294967295
rm | position = 1, 2, 3@; | expected ',', found ';'
rm | position = 1, 2, 3, @2147483648; | integer out of range, expected -2147483648 to 2147483647
rm | expression = @b; | expected a number, found a boolean
rm | expression = @noise(1); | 'noise' belongs into a process
rm | expression = @delay(r, 1); | 'delay' must be the whole right side of an algebraic line of a process
rm | expression = 1 @wish_value = 2; | expected ';', found 'wish_value'
r | condition = @1; | expected a boolean, found a number
r | receivers = t, @nobody; | there is no instrument 'nobody'
r | receivers = @5; | expected the name of an instrument, found '5'
pb | output = @nothing; | there is no data element 'nothing'
pb | output = @5; | expected the name of a data element, found '5'
p | output = @b; | the output must be real; 'b' is boolean
p | output = @i; | the output must be real; 'i' is integer
b | output = @r; | the output must be boolean; 'r' is real
s | output_minus = @r; | the output must be boolean; 'r' is real
p | output = @computed; | 'computed' is computed by the process
b | output = @cb; | 'cb' is computed by the process
s | output_plus = @cb; | 'cb' is computed by the process
p | output = @ra; | 'ra' is an array and needs an index
p | output = @r[0]; | 'r' is not an array
p | output = ra[@b]; | expected a number, found a boolean
b | output = ba[0@; | expected ']', found ';'
rm | window = @-1, 2; | integer out of range, expected 0 to 1048576
rm | title = @5; | expected a string, found '5'
rm | always_activate @= 1; | expected ';', found '='
r | value_section ratio = @2147483648; end_value_section; | integer out of range, expected -2147483648 to 2147483647
r | value_section view_position = @-2147483649; end_value_section; | integer out of range, expected -2147483648 to 2147483647
a | mode = @5; | Očekáván identifikátor
a | mode = @Bar; | Neznámé klíčové slovo
a | content = @fuller; | Neznámé klíčové slovo
a | content = plain @, full; | expected ';', found ','
a | range_from @5; | expected '=', found '5'
a | range_to = @wide; | expected a number, found 'wide'
a | low_limit = 1 @2; | expected ';', found '2'
a | high_limit = @"1"; | expected a number, found a string
a | real_step = @; | expected a number, found ';'
a | history = @-1; | integer out of range, expected 0 to 4294967295
a | dec_places = @4294967296; | integer out of range, expected 0 to 4294967295
a | h_grid = @0.5; | expected an integer, found '0.5'
a | v_grid = @many; | expected an integer, found 'many'
a | font = @9; | expected a string, found '9'
a | font = "Sans", @0; | integer out of range, expected 1 to 500
a | font = "Sans", 9, @heavy; | expected bold or italic, found 'heavy'
a | font = @"NAME64",¶ 9; | text of more than 31 characters
a | mask = @5; | expected a string, found '5'
a | mask = @"NAME64"¶; | text of more than 63 characters
)";

constexpr char kRight[] = R"(
w | 
w | // nothing
w | application a end_application; data end_data; process end_process; data x : real[1]; end_data;
w | data i : integer = -2147483648; h : integer = 0x7FFFFFFF; a : boolean[2] = [true, false]; end_data;
w | instrument meter m expression = later; end_instrument; process later = 1; end_process;
rm | 
r | inverse; inverse; show_description; show_description; always_activate; always_activate;
r | receivers = t; receivers = t, t;
r | wish_value_section ratio = 0; end_output_section;
r | value_section end_wish_value_section; output_section end_value_section; value_section end_value_section;
r | wish_value_section mode = history; end_wish_value_section; value_section mode = history; end_value_section;
r | output_section mode = dial; mode = bar; range_from = -1e308; range_to = 1e308; end_output_section;
p | parameters end_parameters; parameters param_1 = -1; param_1 = 2; end_parameters;
p | parameters regulator_type = variable; end_parameters; parameters adaptive = true; end_parameters;
p | parameters regulator_type = variable; regulator_type = classical; end_parameters;
p | output = r; output = ra[i + 1]; blink_rate = 4294967295;
b | output = b; output = ba[1]; divergence_plus = -1; divergence_plus = 2;
s | output_plus = b; output_minus = b; inactive_hit = -2147483648; inactive_hit = 0;
m | mode = history; mode = number; title = "a"; title = "b";
rm | position = -2147483648, 2147483647, 2147483647, -2147483648; window = 0, 0;
rm | position = 2147483647, 2147483647, 2147483647, 2147483647; colors end_colors; colors end_colors;
m | history = @4294967295;¶ dec_places = @4294967295; | warning: history is 1 to 65536; 65536 is taken | warning: dec_places is at most 15; 15 is taken
m | history = @0; | warning: history is 1 to 65536; 1 is taken
r | value_section¶ dec_places = 16; dec_places = @4294967295; history = 65536; end_value_section; | warning: dec_places is at most 15; 15 is taken
r | wish_value_section mode = history; history = @4294967295; end_value_section; | warning: history is 1 to 65536; 65536 is taken
w | instrument meter NAME63 end_instrument;
a | mask = "NAME63"; font = "Sans", 500, italic, bold, bold; mode = led_bar; content = full;
)";

TEST(DefinitionErrors, InBlocksAndData) { CheckRows(Rows(kInBlocksAndData), false); }
TEST(DefinitionErrors, InProcessesAndExpressions) { CheckRows(Rows(kInProcesses), false); }
TEST(DefinitionErrors, InInstruments) { CheckRows(Rows(kInInstruments), false); }

TEST(DefinitionErrors, WhatIsOddButRight) {
  std::vector<TRow> rows = Rows(kRight);
  rows.push_back({"w",
                  "\xEF\xBB\xBF"
                  "data x : real; end_data;",
                  {}});
  for (const char* end : {"-2147483648", "-1", "0", "2147483647"}) {
    std::string text = "show_description; ";
    for (const char* section : {"wish_value_section", "value_section", "output_section"}) {
      text += std::string("\n") + section + " ratio = " + end + "; view_position = " + end + "; end_" + section + ";";
    }
    rows.push_back({"r", text, {}});
  }
  CheckRows(rows, true);
}

TEST(DefinitionErrors, LongLinesTabsAndTheirCut) {
  EXPECT_EQ(CRun("\tdata\tš : real;").Diagnostics(), "FILE:1:7: unexpected character\n\tdata\tš : real;\n\t    \t^\n");
  const std::string many(300, 'x');
  EXPECT_EQ(CRun("data " + many + " : real; end_data;").Diagnostics(),
            "FILE:1:6: name longer than 63 characters\ndata " + many.substr(0, 95) + "…\n     ^\n");
  EXPECT_EQ(CRun("/*" + many + "*/ @" + many).Diagnostics(), "FILE:1:306: unexpected character\n…" +
                                                                 many.substr(0, 47) + "*/ @" + many.substr(0, 49) +
                                                                 "…\n " + std::string(50, ' ') + "^\n");
  std::string wrong;
  for (int i = 0; i < 30; ++i) wrong += "instrument meter m" + std::to_string(i) + " bad; end_instrument;\n";
  EXPECT_EQ(CRun(wrong).diagnostics.size(), 20u);
  std::string wide = "\xFF\xFE";
  for (const char c : std::string("data x : rael;")) wide += {c, '\0'};
  EXPECT_EQ(CRun(wide).Diagnostics(),
            "FILE:1:10: expected real, boolean or integer, found 'rael'\ndata x : rael;\n         ^\n");
}

}  // namespace
