// The report of a run, opened in a browser as a person would.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <tuple>

#include "hash/hash.h"
#include "json/json.h"
#include "tests/page_body.h"
#include "tests/support.h"

namespace {

using tests::ExpectParts;
using tests::Loopbox;
using tests::Shell;
using tests::TOutcome;

// Zooms by mouse and looks at the page; what it finds becomes its text.
constexpr char kProbe[] = R"(
const violations = [];
addEventListener("securitypolicyviolation", (event) => violations.push(event.blockedURI));
addEventListener("load", () => setTimeout(() => {
  const found = {};
  const elements = [...document.querySelectorAll(".plot")];
  const ink = (element) => {
    const canvas = [...element.querySelectorAll("canvas")];
    return Math.max(...canvas.map((one) => {
      const pixels = one.getContext("2d").getImageData(0, 0, one.width, one.height).data;
      let colored = 0;
      for (let i = 0; i < pixels.length; i += 4) {
        if (pixels[i + 3] > 128 && Math.max(pixels[i], pixels[i + 1], pixels[i + 2]) - Math.min(pixels[i], pixels[i + 1], pixels[i + 2]) > 60) ++colored;
      }
      return colored;
    }));
  };
  const axis = (element) => [...element.querySelectorAll(".dygraph-axis-label-x")].map((one) => one.textContent).join(" ");
  const mouse = (type, target, x, y) => target.dispatchEvent(new MouseEvent(type, { bubbles: true, cancelable: true, button: 0, detail: 1, clientX: x, clientY: y, view: window }));
  found.plots = elements.length;
  found.drawn = elements.filter((element) => ink(element) > 100).length;
  found.before = axis(elements[0]);
  const area = report.plots[0].mouseEventElement_;
  const box = area.getBoundingClientRect();
  const y = box.top + box.height / 2;
  mouse("mousedown", area, box.left + box.width * 0.4, y);
  mouse("mousemove", document, box.left + box.width * 0.5, y);
  mouse("mousemove", document, box.left + box.width * 0.6, y);
  mouse("mouseup", document, box.left + box.width * 0.6, y);
  found.after = axis(elements[0]);
  const windows = report.plots.map((plot) => plot.xAxisRange().join(" "));
  found.together = new Set(windows).size;
  document.getElementById("whole").click();
  found.again = axis(elements[0]);
  found.marks = document.querySelectorAll(".dygraph-annotation").length;
  found.small = [...document.querySelectorAll("canvas.small")].filter((one) => ink(one.parentElement) > 20).length;
  found.shaded = document.querySelectorAll(".legend .shade").length;
  const choice = document.getElementById("quantity");
  choice.selectedIndex = choice.length - 1;
  document.getElementById("new-plot").click();
  choice.selectedIndex = 0;
  document.getElementById("same-plot").click();
  found.chosen = [...document.querySelectorAll("#curves .legend")].map((one) => one.textContent).join("|");
  found.requests = performance.getEntriesByType("resource").filter((one) => !one.name.startsWith("data:")).length;
  found.violations = violations.length;
  found.hacked = String(window.hacked);
  found.markup = document.querySelectorAll(".markup").length;
  found.unit = document.querySelector(".dygraph-ylabel").textContent;
  found.mark = (document.querySelector(".dygraph-annotation") || {}).title;
  found.title = document.querySelector("[id^=regulator] h2").textContent;
  report.showPicture();
  setTimeout(() => {
    found.image = [...document.images].every((one) => one.complete && one.naturalWidth > 0);
    document.body.textContent = Object.entries(found).map(([name, value]) => name + "=" + value).join("\n");
  }, 100);
}, 0));
)";

// Puts markup before every text in the data that the page's scripts read. Equal
// texts stay equal, different ones different.
constexpr char kHostileData[] = R"(
const parse = JSON.parse;
const hostile = (value) =>
  typeof value === "string" ? value && "<img class=markup src=x onerror=hacked=1><form class=markup action=//x>" + value
  : value && typeof value === "object" ? Object.entries(value).reduce((all, [name, one]) => { all[name] = hostile(one); return all; }, value)
  : value;
JSON.parse = (text) => hostile(parse(text));
)";

// The page with a script and the probe before its own, and let in by its policy.
std::string Probed(std::string html, const std::string& before = "") {
  const std::string script = before + kProbe;
  const std::string source = "script-src 'sha256-" + hash::Base64(hash::Sha256(script)) + "' ";
  html.replace(html.find("script-src "), std::string_view("script-src ").size(), source);
  return html.insert(html.find("<title>"), "<script>" + script + "</script>\n");
}

std::string Browse(const std::string& options, const std::string& page) {
  const TOutcome outcome = Shell(
      "chromium-headless-shell --no-sandbox --disable-gpu --virtual-time-budget=5000 --host-resolver-rules='MAP * "
      "~NOTFOUND' " +
      options + " file://" + page + " 2>/dev/null");
  EXPECT_EQ(outcome.status, 0) << "is chromium-headless-shell installed? " << outcome.output;
  return outcome.output;
}

std::string Found(const std::string& dump, const std::string& name) {
  const std::size_t at = dump.find("\n" + name + "=");
  const std::size_t begin = at == std::string::npos ? dump.find(">" + name + "=") : at;
  if (begin == std::string::npos) return "not found in:\n" + dump.substr(0, 2000);
  const std::size_t value = begin + name.size() + 2;
  return dump.substr(value, dump.find_first_of("\n<", value) - value);
}

TEST(Report, IsDrawnZoomedAndAsksForNothing) {
  const tests::CFolder folder;
  const std::string page = folder.Path("page.html");
  std::string furnace = tests::ReadFile(tests::SourcePath("examples/furnace.lbx"));
  furnace.replace(furnace.find("high_limit = 150"), 16, "high_limit = 100");
  const TOutcome made = Loopbox("run " + folder.Write("furnace.lbx", furnace) + " --quiet --report " + page);
  ASSERT_EQ(made.status, 0) << made.output;
  const std::string html = tests::ReadFile(page);
  EXPECT_EQ(html.find("sourceMappingURL"), std::string::npos);
  ExpectParts(html, {"Dan Vanderkam"});  // the licence is kept
  Browse("--window-size=1200,1600 --hide-scrollbars --screenshot=" + tests::BuildPath("report.png"), page);
  EXPECT_GT(std::filesystem::file_size(tests::BuildPath("report.png")), 20'000u);

  const std::string dump = Browse("--window-size=1200,2000 --dump-dom", folder.Write("probed.html", Probed(html)));
  EXPECT_EQ(Found(dump, "plots"), "2");
  EXPECT_EQ(Found(dump, "drawn"), "2");
  EXPECT_NE(Found(dump, "before"), "");
  EXPECT_NE(Found(dump, "after"), Found(dump, "before"));
  EXPECT_EQ(Found(dump, "again"), Found(dump, "before"));
  EXPECT_EQ(Found(dump, "together"), "1");
  EXPECT_EQ(Found(dump, "marks"), "2");  // the alarms of wish and value
  EXPECT_EQ(Found(dump, "requests"), "0");
  EXPECT_EQ(Found(dump, "violations"), "0");
  EXPECT_EQ(Found(dump, "image"), "true");
}

TEST(Report, ShowsWhatTheApplicationSaysAsText) {
  const tests::CFolder folder;
  const std::string hostile = "</script><img class=markup src=x onerror=hacked=1>&amp;";
  const std::string application =
      folder.Write("hostile.lbx",
                   "application hostile period = 1; duration = 30; end_application;\n"
                   "data x : real = 1 \"<img class=markup onerror=hacked=1>\"; u : real; end_data;\n"
                   "// <script>hacked=1</script>\n"
                   "process x' = u / 10; end_process;\n"
                   "instrument pid_regulator reg title = \"" +
                       hostile +
                       "\"; expression = x; wish_value = 2; output = u;\n"
                       "value_section high_limit = 1.1; end_value_section;\n"
                       "parameters param_1 = 1; param_2 = 20; end_parameters; end_instrument;\n"
                       "script\nat(5, function() print('</script><script class=markup>hacked=1</script>') "
                       "reg:SetParameters(1, 20, 0) end)\n"
                       "at(6, function() data.u = 3 error('<!-- <script>') end)\nend_script;\n");
  const std::string earlier = "time,reg.value\n1,0\n";
  const std::string compared = folder.Write("<img class=markup src=x onerror=hacked=1>", earlier);
  const std::string page = folder.Path("page.html");
  ASSERT_EQ(Loopbox("run " + application + " --report " + page + " --compare-any --compare '" + compared + "'").status,
            3);
  const std::string html = tests::ReadFile(page);
  const std::string dump = Browse("--window-size=1200,2000 --dump-dom", folder.Write("probed.html", Probed(html)));
  EXPECT_EQ(Found(dump, "hacked"), "undefined");
  EXPECT_EQ(Found(dump, "markup"), "0");
  EXPECT_EQ(Found(dump, "unit"), "&lt;img class=markup onerror=hacked=1&gt;");
  EXPECT_EQ(Found(dump, "drawn"), "3");  // what SetParameters changes, the last of three, is drawn too
  EXPECT_EQ(Found(dump, "violations"), "0");
  EXPECT_EQ(Found(dump, "title").find("&lt;/script&gt;&lt;img class=markup src=x onerror=hacked=1&gt;&amp;amp"), 0u)
      << Found(dump, "title");
  ExpectParts(html,
              {"alarm: value above its high limit", "SetParameters(1, 20, 0)", "u = 3", "&lt;!-- &lt;script&gt;"});

  const std::string walked =
      Browse("--window-size=1200,2000 --dump-dom", folder.Write("walked.html", Probed(html, kHostileData)));
  EXPECT_EQ(Found(walked, "hacked"), "undefined");
  EXPECT_EQ(Found(walked, "markup"), "0");
  EXPECT_EQ(Found(walked, "violations"), "0");
  for (const char* shown : {"unit", "mark"})
    ExpectParts(Found(walked, shown), {"&lt;form class=markup action=//x&gt;"});
}

// Of many loops plots are drawn as they come into view, and an overview stands first.
TEST(Report, OpensTwoHundredLoops) {
  const tests::CFolder folder;
  const std::string application =
      folder.Write("many.lbx",
                   "application many period = 10; duration = 20000; end_application;\n"
                   "data x : real[201] = 0 \"°C\"; u : real[201]; end_data;\n"
                   "process x[1]' = (u[1] - x[1]) / 600; end_process;\n"
                   "for i = 1 to 200\n"
                   "  instrument pid_regulator r{i}\n    expression = x[i]; wish_value = 10 + i / 10; output = u[i];\n"
                   "    condition = time < 9000 or time > 9500;\n  end_instrument;\nend_for;\n"
                   "script\nevery(10, function() r1:SetParameters(2, 20, 0) end)\nend_script;\n");
  const std::string page = folder.Path("page.html");
  const TOutcome made = Loopbox("run " + application + " --quiet --report " + page +
                                " --curves 'u[200],r200.value;x[7]' --from 7000 --to 12000");
  ASSERT_EQ(made.status, 0) << made.output;
  const std::string html = tests::ReadFile(page);
  EXPECT_LT(html.size(), 5'000'000u);
  const std::string event = "<td>SetParameters(2, 20, 0)</td>";
  EXPECT_NE(html.find(event), std::string::npos);
  EXPECT_EQ(html.find(event), html.rfind(event));  // the calls after the first change nothing
  ExpectParts(html, {"\"hand\":[[8970,9530]]"});
  // The link leads to the loop's own lines, which have the file's number.
  const std::string link = "\">r200</a> <span";
  const std::size_t end = html.find(link);
  ASSERT_NE(end, std::string::npos);
  const std::size_t begin = html.rfind('#', end) + 1;
  ExpectParts(html, {"id=\"" + html.substr(begin, end - begin) + "\" data-line=\"5\">instrument pid_regulator r200<"});

  const std::string dump = Browse("--dump-dom", folder.Write("probed.html", Probed(html)));
  EXPECT_EQ(Found(dump, "plots"), "402");
  EXPECT_EQ(Found(dump, "drawn"), "2");
  EXPECT_NE(Found(dump, "small"), "0");
  EXPECT_EQ(Found(dump, "before"), "2:00 2:15 2:30 2:45 3:00 3:15");
  EXPECT_EQ(Found(dump, "again"), "0:00 1:00 2:00 3:00 4:00 5:00");
  EXPECT_EQ(Found(dump, "chosen"), " u[200]   r200.value| x[7]| r200.output   x[0]");
}

// The page without what it embeds: a picture, the licence, styles and scripts.
TEST(Report, TellsAllOfARun) {
  const std::string folder = tests::SourcePath("tests/runs/whole_report/");
  const tests::CFolder place;
  ASSERT_EQ(Loopbox("run " + folder + "application.lbx --quiet --set hand=0 --report " + place.Path("page.html") +
                    " --compare-any --compare " + folder + "earlier.csv")
                .status,
            0);
  const std::string whole = tests::ReadFile(place.Path("page.html"));
  for (const char* const part : {"report.js", "report.css"}) {
    EXPECT_NE(whole.find(tests::ReadFile(tests::SourcePath("workbench/report/") + part)), std::string::npos) << part;
  }
  std::string page = tests::PageBody(whole);
  for (const auto& [path, name] :
       {std::pair(place.Path(""), "PLACE/"), std::pair(folder, "RUN/"), std::pair(tests::BuildPath(""), "BUILD/"),
        std::pair(tests::SourcePath(""), "TREE/")}) {
    page = tests::Replaced(page, path, name);
  }
  page = std::regex_replace(page, std::regex("SHA-256 [0-9a-f]{64}<"), "SHA-256 HASH<");
  EXPECT_EQ(page, tests::ReadFile(folder + "page.html"));
}

// Numbers of a page have eight digits, and none of an exponent that they don't need. Of a bucket's ends that comes
// first which is nearer to its first sample.
TEST(Report, TellsAllNumbersShortly) {
  const tests::CFolder folder;
  const std::string file = folder.Write(
      "n.lbx",
      "application n period = 1; duration = 1100; end_application;\n"
      "data a : real = 1e15; b : real = -1e15; c : real = 999999990000000; d : real = 0.123456789;\n"
      "e : real = 12345678.9; f : real = 12345.6785; k : real = 3; y : real[3]; u : real; z : real[1987]; end_data;\n"
      "process y[0] = if(time == 2, 7, if(time == 3, 3, 5)); y[1] = if(time == 2, 7, if(time == 3, 3, 6));\n"
      "y[2] = if(time == 2, 7, if(time == 3, 3, 4)); end_process;\n"
      "instrument pid_regulator reg expression = k; wish_value = k; output = u; end_instrument;\n");
  ASSERT_EQ(Loopbox("run " + file + " --quiet --report " + folder.Path("p.html")).status, 0);
  const std::string page = tests::ReadFile(folder.Path("p.html"));
  ExpectParts(page, {"\"times\":[1,3,5,7,9,",
                     "\"series\":[1e+15,-1e+15,999999990000000,0.12345679,12345679,12345.678,3,[3,7,5,5,", ",[7,3,6,6,",
                     ",[3,7,4,4,", "<p>… 1 more are not recorded; --curves records them</p>"});
  const std::string further = "\"reg.output\",\"unit\"";
  EXPECT_EQ(page.find(further), std::string::npos);
  Loopbox("run " + file + " --quiet --curves reg.output --report " + folder.Path("p.html"));
  ExpectParts(tests::ReadFile(folder.Path("p.html")), {further});
}

// Of classes that have no reference, or one that names half of a band and one setting.
TEST(Report, TellsAllWithoutReferences) {
  const tests::CFolder folder;
  std::filesystem::copy(tests::BuildPath("loopbox.so"), folder.Path("loopbox.so"));
  for (const char* name : {"regulator.ref", "step_regulator.ref"})
    std::filesystem::copy(tests::BuildPath(name), folder.Path(name));
  const std::string reference = tests::ReadFile(tests::BuildPath("boolean_regulator.ref"));
  const std::string setting = "divergence_minus | GetDivergenceMinus__R | 0 | 1 | +\n";
  folder.Write("boolean_regulator.ref",
               tests::Replaced(tests::Replaced(reference, setting, ""), "minus | GetDivergenceMinus__R\n", ""));
  const std::string file = folder.Write(
      "r.lbx",
      "application r period = 1; duration = 2; end_application; data x : real; u : real; on : boolean; end_data;\n"
      "instrument pid_regulator reg expression = x; wish_value = x; output = u; end_instrument;\n"
      "instrument boolean_regulator sw expression = x; wish_value = x; output = on; end_instrument;\n");
  ASSERT_EQ(
      Loopbox("run " + file + " --plugin " + folder.Path("loopbox.so") + " --report " + folder.Path("p.html")).status,
      0);
  const std::string page = tests::ReadFile(folder.Path("p.html"));
  ExpectParts(page, {"<th scope=\"row\">outside the band</th><td>not known</td>", "<th>setting</th>"});
  EXPECT_EQ(page.find("<th>setting</th>"), page.rfind("<th>setting</th>"));
  EXPECT_EQ(page.find("\"name\":\"band"), std::string::npos);
}

// Of a run that is compared with its own trace both columns are the same, whatever stands
// first in the trace, and only the band isn't in it.
TEST(Report, ComparesARunWithItself) {
  const tests::CFolder folder;
  const std::string run = "run " + tests::SourcePath("tests/runs/whole_report/application.lbx") + " --quiet ";
  ASSERT_EQ(Loopbox(run + "--trace " + folder.Path("t.csv") + " --summary " + folder.Path("t.json")).status, 0);
  const std::string trace = tests::ReadFile(folder.Path("t.csv"));
  for (const char* first : {"time", "heater.wish_value", "heater.value", "heater.output"}) {
    const std::string header = trace.substr(0, trace.find('\r'));
    const auto field =
        1 + std::count(header.begin(), header.begin() + static_cast<std::ptrdiff_t>(header.find(first)), ',');
    ASSERT_EQ(Shell("awk -F, -v OFS=, '{ t = $1; $1 = $" + std::to_string(field) + "; $" + std::to_string(field) +
                    " = t } 1' " + folder.Path("t.csv") + " > " + folder.Path("u.csv"))
                  .status,
              0);
    ASSERT_EQ(Loopbox(run + "--report " + folder.Path("p.html") + " --compare " + folder.Path("u.csv")).status, 0);
    const std::string page = tests::PageBody(tests::ReadFile(folder.Path("p.html")));
    ExpectParts(page,
                {"<ul>\n<li>30 rows, there 30; 30 of the same time are measured</li>\n<li>the application's text and "
                 "parameters there are not known: there is no summary u.json beside the trace</li>\n</ul>"});
    int rows = 0;
    const std::regex row("<th scope=\"row\">([^<]*)</th><td>([^<]*)</td><td>([^<]*)</td></tr>");
    for (std::size_t table = page.find("<th>u.csv</th>"); table != std::string::npos;
         table = page.find("<th>u.csv</th>", table + 1)) {
      const std::string shown = page.substr(table, page.find("</table>", table) - table);
      for (std::sregex_iterator found(shown.begin(), shown.end(), row), end; found != end; ++found, ++rows) {
        const std::string there = (*found)[1] == "outside the band" ? "not known" : (*found)[2].str();
        EXPECT_EQ((*found)[3], there) << first << " " << (*found)[1];
      }
    }
    EXPECT_EQ(rows, 21);
  }
  // What lacks its first rows has the same rows else; the summary of another trace isn't its own.
  ASSERT_EQ(Shell("awk 'NR < 2 || NR > 4' " + folder.Path("t.csv") + " > " + folder.Path("u.csv")).status, 0);
  folder.Write("u.json", tests::ReadFile(folder.Path("t.json")));
  ASSERT_EQ(Loopbox(run + "--report " + folder.Path("p.html") + " --compare " + folder.Path("u.csv")).status, 0);
  ExpectParts(
      tests::ReadFile(folder.Path("p.html")),
      {"<ul>\n<li>30 rows, there 27; 27 of the same time are measured</li>\n<li>the application's text and parameters "
       "there are not known: u.json, beside the trace, is not the summary of its run</li>\n</ul>"});
  // With its summary beside all is known.
  ASSERT_EQ(Loopbox(run + "--report " + folder.Path("p.html") + " --compare " + folder.Path("t.csv")).status, 0);
  ExpectParts(tests::ReadFile(folder.Path("p.html")),
              {"<ul>\n<li>30 rows, there 30; 30 of the same time are measured</li>\n</ul>"});
}

TEST(Report, ComparesTracesOfTheSameColumnsAlone) {
  const tests::CFolder folder;
  const std::string file = folder.Write(
      "m.lbx", tests::OneRegulator("pid_regulator", "") + "\ninstrument meter m expression = x; end_instrument;\n");
  const std::string options =
      " --duration 5 --quiet --report " + folder.Path("p.html") + " --compare " + folder.Path("t.csv");
  ASSERT_EQ(Loopbox("run " + file + " --duration 5 --quiet --trace " + folder.Path("t.csv")).status, 0);
  EXPECT_EQ(Loopbox("run " + file + options).status, 0);
  folder.Write("t.csv", tests::Replaced(tests::ReadFile(folder.Path("t.csv")), "m.value", "nobody.output"));
  tests::ExpectOutcome(Loopbox("run " + file + options), 1,
                       {"it has no column m.value, but a column nobody.output; --compare-any compares what both have"});
}

// What is told of a trace, and what of it is measured.
TEST(Report, ComparesOddTraces) {
  const tests::CFolder folder;
  const std::string text =
      "application a period = 0.5; duration = 3; end_application;\n"
      "data x : real; w : real = 5; z : real[2]; u : real; on : boolean; end_data;\n"
      "process x = 1 + time; end_process;\ninstrument meter m expression = z[1]; end_instrument;\n"
      "instrument pid_regulator reg expression = x; wish_value = w; output = u;\n"
      "value_section range_from = 1; range_to = 9; end_value_section;\n"
      "parameters param_1 = 1; param_2 = 5; end_parameters; end_instrument;\n"
      "instrument boolean_regulator sw expression = x; wish_value = w; output = on;\n"
      "wish_value_section range_from = 4; end_wish_value_section; end_instrument;\n";
  const std::string run = "run " + folder.Write("a.lbx", text) + " --report " + folder.Path("p.html");
  const std::string name = folder.Path("o.csv");
  ASSERT_EQ(Loopbox(run + " --trace-state --trace " + name + " --summary " + folder.Path("own.json")).status, 0);
  const std::string own = tests::ReadFile(name);
  const std::string summary = tests::ReadFile(folder.Path("own.json"));
  // What the program says of the trace, and what the page then shows.
  const auto expect = [&](const std::string& trace, const std::string& options, const std::string& said,
                          const std::string& shown = "") {
    folder.Write("o.csv", trace);
    const std::string output = tests::Replaced(Loopbox(run + options + " --compare " + name).output, name, "o.csv");
    const std::string heading = "compared with o.csv\n";
    const std::size_t at = output.find(heading);
    EXPECT_EQ(at == std::string::npos ? output : output.substr(at + heading.size()), said) << trace;
    if (!shown.empty()) ExpectParts(tests::ReadFile(folder.Path("p.html")), {shown});
  };

  // Whether it is this application's.
  const std::string rows = "  6 rows, there 6; 6 of the same time are measured\n";
  const std::string unknown =
      "  the application's text and parameters there are not known: there is no summary o.json beside the trace\n";
  const std::string other = "loopbox: o.csv: is the trace of another application: it has ";
  const std::string end = "; --compare-any compares what both have\n";
  expect(own, "", rows + unknown, "\"other\":true,\"series\":5},");
  for (const auto& [column, by, said] :
       {std::tuple("z[1]", "x.quality", "no column z[1]"),
        std::tuple("m.value", "spare", "no column m.value, but a column spare"),
        std::tuple("reg.a1", "spare", "a column spare"), std::tuple("reg.a1", "no.a1", "a column no.a1")}) {
    expect(tests::Replaced(own, column, by), "", other + said + end);
  }

  // A row that is wrong is found before the run.
  const std::string any = " --compare-any";
  const std::string panes = "x,time,w,reg.wish_value,reg.value,reg.output\n";
  expect("time,reg.value\n1,2\n0.5,3\n", any,
         "loopbox: o.csv:3: column time: expected more than the 1 of the row before, found 0.5\n");
  expect("time,reg.value\n1,2\n2,y\n", any, "loopbox: o.csv:3: column reg.value: expected a number, found \"y\"\n");
  expect(panes + "y,1,5,5,2,0\n", any, "loopbox: o.csv:2: column x: expected a number, found \"y\"\n");

  // Times, and how far apart.
  const std::string lasts = "  duration 3 s, there ";
  const auto count = [](int there, int common) {
    return "  6 rows, there " + std::to_string(there) + "; " + std::to_string(common) +
           " of the same time are measured\n";
  };
  expect("time,reg.value\n0.5,2\n1,2\n1.5000000005,2\n1.9999999995,2\n2.500000001,2\n", any,
         lasts + "2.5 s\n" + count(5, 4) + unknown);
  expect("time,reg.value\n2,2\n2.5,3\n4,2\n", any, lasts + "4 s\n" + count(3, 2) + unknown);
  expect("time,reg.value\n0.5,2\n", any, lasts + "0.5 s\n" + count(1, 1) + unknown);
  expect("time,reg.value\n3,2\n", any, "  a row each 0.5 s, there 3 s\n" + count(1, 1) + unknown);
  expect("time,reg.wish_value,reg.value,reg.output\n2.7,5,2,0\n3.2,5,2,0\n", any,
         lasts + "3.2 s\n" + count(2, 0) + unknown, "<tr><th>metric</th><th>this run</th></tr>");

  // Beyond the ends of a pane its element counts; a regulator with a pane less has no figures.
  expect(panes + "9.5,0.5,5,5,9,0\n8,1,5,5,9,0\n0.5,1.5,5,5,1,0\n2,2,5,5,1,1\n8.5,2.5,5,5,8,1\n2,3,5,5,3,0\n", any,
         count(6, 6) + unknown, "<th scope=\"row\">ISE</th><td>17.38 s</td><td>42.75 s</td></tr>");
  ExpectParts(tests::ReadFile(folder.Path("p.html")),
              {"<th scope=\"row\">value limited</th><td></td><td>2 periods (1 s)</td>",
               "<th scope=\"row\">output travel</th><td>20.35</td><td>2</td>"});
  expect("time,reg.wish_value,reg.output,w,sw.wish_value,sw.value,sw.output\n3,5,1,3,4,2,1\n", any,
         "  a row each 0.5 s, there 3 s\n" + count(1, 1) + unknown,
         "<th scope=\"row\">final error</th><td>1</td><td>1</td><td>1</td></tr>");

  // The summary beside it.
  const auto beside = [&](const std::string& what, const std::string& by, const std::string& said) {
    folder.Write("o.json", tests::Replaced(summary, what, by));
    expect(own, "", said);
  };
  const std::string foreign =
      "  the application's text and parameters there are not known: o.json, beside the trace, is not the summary of "
      "its run\n";
  beside("}", "}", rows);
  beside("\"schema\": 1", "\"schema\": 2", rows + foreign);
  beside("\"schema\": 1", "", rows + foreign);
  beside("o.csv\"", "p.csv\"", rows + foreign);
  beside("\"period\": 0.5", "\"period\": 0.5000000004", rows);
  beside("\"period\": 0.5", "\"period\": 0.500000001", "  a period of 0.5 s, there 0.500000001 s\n" + rows);
  beside("\"text\": \"", "\"text\": \"0", rows + "  the application's text differs\n");
  beside("\"sha256\": \"", "\"sha256\": \"0", rows + "  another plug-in\n");
  beside("\"tI\": 5.0", "\"tI\": 6.25", rows + "  reg: tI 5, there 6.25\n");
  beside("\"adaptive\": false", "\"adaptive\": true", rows + "  reg: adaptive false, there true\n");
  beside("\"divergence_plus\"", "\"plus\"", rows + "  sw: divergence_plus 0, there none\n");
  beside("\"start\": {\n        \"law\": \"classical\"", "\"start\": {\n        \"law\": \"takahashi\"",
         rows + "  reg: law classical, there takahashi\n");
  beside("\"end\": {\n        \"law\": \"classical\",\n        \"r0\": 1",
         "\"end\": {\n        \"law\": \"pi\",\n        \"r0\": 2",
         rows + "  reg: law classical at the end, there pi\n  reg: r0 1 at the end, there 2\n");
}

TEST(Report, ComparesSoManySettings) {
  const tests::CFolder folder;
  const std::string file =
      folder.Write("m.lbx",
                   "application m period = 1; duration = 1; end_application; data x : real; u : real[8]; end_data;\n"
                   "for i = 1 to 7 instrument pid_regulator r{i} expression = x; wish_value = x; output = u[i];\n"
                   "end_instrument; end_for;\n");
  const std::string run = "run " + file + " --report " + folder.Path("p.html");
  ASSERT_EQ(Loopbox(run + " --trace " + folder.Path("t.csv") + " --summary " + folder.Path("t.json")).status, 0);
  std::string summary = tests::Replaced(tests::ReadFile(folder.Path("t.json")), "false", "true");
  for (const char* name : {"r0", "tI", "tD"}) {
    summary = tests::Replaced(summary, "\"" + std::string(name) + "\": ", "\"" + std::string(name) + "\": 1");
  }
  // Five differ of one regulator, four of the others; then five of all.
  const std::string delay = "\"derivation_delay\": ";
  for (const auto& [changed, lines, last] :
       {std::tuple(std::string(summary).insert(summary.find(delay) + delay.size(), "1"), 29, false),
        std::tuple(tests::Replaced(summary, delay, delay + "1"), 30, true)}) {
    folder.Write("t.json", changed);
    const std::string output = Loopbox(run + " --compare " + folder.Path("t.csv")).output;
    const std::string said = output.substr(output.find("compared with"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), lines + 2 + last) << said;
    EXPECT_EQ(said.ends_with(" …\n"), last);
  }
}

// A wish that differs by what rounding does stands still; of one that moves a hundred windows and the last
// are kept, and thirty shown.
TEST(Report, CountsWindowsOfTheWish) {
  const tests::CFolder folder;
  for (const auto& [wish, kept, further] :
       {std::tuple("50 + if(time % 2 < 1, 0, 1e-9)", 1, 0), std::tuple("if(time < 1200, 50, 50 + 2.5e-8)", 1, 0),
        std::tuple("if(time < 1200, 50, 50 + 2.5e-7)", 2, 0),
        std::tuple("if(time < 100, 1000, if(time < 1200, 1, 1 + 5e-7))", 2, 0),
        std::tuple("time % 240 - time % 20", 101, 1)}) {
    const std::string file =
        folder.Write("w.lbx",
                     "application w period = 1; duration = 2020; end_application; data x : real; u : real; end_data;\n"
                     "instrument pid_regulator reg expression = x; wish_value = " +
                         std::string(wish) +
                         "; output = u;\n"
                         "wish_value_section range_to = 1000; end_wish_value_section; end_instrument;\n");
    const TOutcome outcome = Loopbox("run " + file + " --trace /dev/null --summary " + folder.Path("s.json") +
                                     " --report " + folder.Path("p.html"));
    EXPECT_EQ(outcome.status, 0);
    const json::CValue reg = json::CValue::Parse(tests::ReadFile(folder.Path("s.json")))
                                 .value_or(nullptr)
                                 .Member("instruments")
                                 .Member("reg");
    EXPECT_EQ(reg.Member("windows").Elements().size(), static_cast<std::size_t>(kept)) << wish;
    EXPECT_EQ(reg.Member("further_windows").Number().value_or(0), further) << wish;
    if (further > 0) ExpectParts(outcome.output, {"… " + std::to_string(kept - 30 + further) + " more windows\n"});
    EXPECT_EQ(tests::ReadFile(folder.Path("p.html")).find("<p>… 1 more window</p>") != std::string::npos, further > 0);
  }
}

// Rows at the ends of windows, by what times are rounded to; a row alone that a pane cuts; values at the ends of what
// counts as settled, and of a band; and what is over a wish that the value stood at.
TEST(Report, CountsRowsOfDeclaredWindows) {
  const tests::CFolder folder;
  const std::string file = folder.Write(
      "e.lbx",
      "application e period = 0.5; duration = 3;\n"
      "window a = 0.9999999995, 1.9999999995; window b = 0.999999999, 1.499999999; end_application;\n"
      "data x : real; w : real; u : real; v : real; o : real[3]; on : boolean; end_data; process x = time; w = if(time "
      "== 2, -1, 0); "
      "end_process;\n"
      "instrument pid_regulator one expression = x; wish_value = 0; output = u;\n"
      "value_section range_to = 2.75; end_value_section; end_instrument;\n"
      "instrument pid_regulator two expression = 1; wish_value = w; output = v; end_instrument;\n"
      "instrument pid_regulator three expression = 51; wish_value = if(time < 1.75, 0, 50); output = o[0]; "
      "end_instrument;\n"
      "instrument pid_regulator four expression = 1.5 - x; wish_value = 1; output = o[1]; end_instrument;\n"
      "instrument pid_regulator five expression = 0.5 + x; wish_value = 1; output = o[2]; end_instrument;\n"
      "instrument boolean_regulator six expression = x; wish_value = 2; divergence_plus = 0.5;\n"
      "divergence_minus = 0.5; output = on; end_instrument;\n");
  ExpectParts(Loopbox("run " + file).output,
              {"limited  0 periods (0 s)   value limited        1 period (0.5 s)", "wish limited  1 period (0.5 s)",
               "  -2           2              1.75  –          –            0\n",
               "  -1           1              0.5   –          –            0\n",
               "  -2           2              1.5  0 %        not settled  1\n",
               "  -1           1              0.5  –          –            1.5\n",
               "  overshoot     2 %               settling time (2 %)  0 s                output travel  251\n",
               "  wish 1  0 s             3 s            2.5          2.5            3.75  2.5        –         4.25\n",
               "  wish 1  0 s             3 s            -2.5         2.5            3.75  2.5        –         0\n",
               "outside the band     1.5 s (50 %)"});
}

// Of windows that are too many for so many regulators each has the first.
TEST(Report, CountsWindowsThatAreTooMany) {
  const tests::CFolder folder;
  std::string text = "application m period = 1; duration = 1;\n";
  for (int i = 0; i <= 25; ++i) text += "window w" + std::to_string(i) + " = 0, 1;\n";
  text += "end_application; data x : real; on : boolean; end_data;\n";
  text +=
      "for i = 1 to 2000 instrument boolean_regulator r{i} expression = x; wish_value = x; output = on;\n"
      "end_instrument; end_for;\n";
  ExpectParts(Loopbox("run " + folder.Write("m.lbx", text)).output, {"  … 1 more window\n"});
}

// Two periods are those of the start, and no hand.
TEST(Report, ShowsTheAutomaticPartOfARunApart) {
  const tests::CFolder folder;
  for (const int byHand : {2, 3}) {
    const std::string file =
        folder.Write("h.lbx",
                     "application h period = 1; duration = 20; end_application; data x : real; u : real; end_data;\n"
                     "instrument pid_regulator reg expression = x; wish_value = 5; output = u; condition = time > " +
                         std::to_string(byHand) + "; end_instrument;\n");
    const TOutcome outcome = Loopbox("run " + file + " --trace /dev/null");
    EXPECT_EQ(outcome.output.find("  automatic  ") != std::string::npos, byHand > 2) << outcome.output;
  }
}

TEST(Report, NamesItsLanguageAndIncludedFiles) {
  const tests::CFolder folder;
  folder.Write("part.lbx", "data y : real; end_data;\n");
  const std::string file =
      folder.Write("w.lbx", tests::OneRegulator("pid_regulator", "") + "\ninclude \"part.lbx\";\n");
  ASSERT_EQ(Loopbox("run " + file + " --duration 5 --quiet --language cs --report " + folder.Path("p.html")).status, 0);
  ExpectParts(tests::ReadFile(folder.Path("p.html")),
              {"<html lang=\"cs\">", "<tr><th scope=\"row\">konečná odchylka</th>", "\"words\":{\"in hand\":\"ručně\",",
               "<span class=\"file\">w.lbx</span>", "<span class=\"file\">part.lbx</span><span class=\"line\""});
}

// A sample among a million is seen, and the page stays small.
TEST(Report, KeepsEveryPeak) {
  const tests::CFolder folder;
  const std::string application = folder.Write(
      "long.lbx",
      "application long period = 1; duration = 1000000; end_application;\n"
      "data x : real; u : real; end_data;\n"
      "process substeps = 1;\n"
      "x = 100 + time % 100 + if(time == 123457, 8765.25, 0) - if(time == 999999, 4321.5, 0); end_process;\n"
      "instrument pid_regulator reg expression = x; wish_value = 1; output = u;\n"
      "value_section range_from = -10000; range_to = 10000; end_value_section; end_instrument;\n");
  const std::string page = folder.Path("page.html");
  ASSERT_EQ(Loopbox("run " + application + " --quiet --report " + page).status, 0);
  EXPECT_LT(std::filesystem::file_size(page), 5'000'000u);
  const std::string html = tests::ReadFile(page);
  ExpectParts(html, {",8922.25,", ",-4122.5,", "<html lang=\"en\">"});
  ExpectParts(html, {"[100,199,", ",100,199,199,100,"});  // a bucket that begins low, then one that begins high
  ExpectParts(html, {"],1]}"});                           // the wish: one number where all are it
  // Each stands at its time, in order: a bucket's first sample and its middle.
  const std::size_t begin = html.find("\"times\":") + 8;
  const std::vector<json::CValue> times =
      json::CValue::Parse(html.substr(begin, html.find(']', begin) + 1 - begin)).value_or(nullptr).Elements();
  ASSERT_GT(times.size(), 100u);
  EXPECT_EQ(times.front().Number(), 1.0);
  EXPECT_EQ(times.back().Number(), 1e6);
  const double half = *times[1].Number() - *times[0].Number();
  for (std::size_t i = 1; i + 3 < times.size(); ++i) EXPECT_EQ(*times[i].Number() - *times[i - 1].Number(), half) << i;
}

TEST(Report, LeavesOutWhatIsTooMuchAndSaysSo) {
  const tests::CFolder folder;
  std::string text =
      "application many period = 1; duration = 1; end_application; data x : real; on : boolean; end_data;";
  for (int i = 0; i <= 500; ++i) {
    text += "instrument boolean_regulator r" + std::to_string(i) +
            " expression = x; wish_value = x; output = on; end_instrument;";
  }
  text += "script\nat(1, function() for i = 1, 501 do print(string.rep('ř', 4000)) end end)\nend_script;" +
          std::string(50'000, '\n');
  const std::string page = folder.Path("page.html");
  const TOutcome made = Loopbox("run " + folder.Write("many.lbx", text) + " --quiet --report " + page + " > /dev/null");
  ASSERT_EQ(made.status, 0) << made.output;
  const std::string html = tests::ReadFile(page);
  ExpectParts(html, {"id=\"line-50000\"", "<p>… 1 more regulator</p>", "There are too many to show here",
                     "the text is longer", "ř…<", "<p>… 1 more</p>"});
  EXPECT_EQ(html.find("id=\"line-50001\""), std::string::npos);
  EXPECT_LT(html.size(), 8'000'000u);
}

}  // namespace
