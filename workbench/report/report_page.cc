// The page of a report. Whatever the application brings, names and texts, is
// escaped.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "page/page.h"
#include "painting/painting.h"
#include "workbench/report/report.h"
#include "workbench/report/report_assets.h"
#include "workbench/text.h"
#include "workbench/version.h"

namespace workbench {
namespace {

using page::Escaped;

constexpr std::size_t kOverviewMetrics = 2;  // of a regulator's

class CPage {
 public:
  CPage(const CReport& theReport, const CRegulatorWatch& watch, bool wasComplete)
      : report(theReport), application(report.Application()), summaries(watch.Summaries()), complete(wasComplete) {}

  std::string Text();

 private:
  void Header();
  void Navigation();
  void Overview();
  void Curves();
  void Regulator(std::size_t index);
  void Panel(std::size_t panel, std::size_t regulator, bool low);
  void Metrics(std::size_t index);
  void Events();
  void Panes();
  void ApplicationText();
  void Licence();

  std::string Name() const { return application.Name().empty() ? "Run" : application.Name(); }

  const CReport& report;
  const runtime::CApplication& application;
  const std::vector<CRegulatorWatch::TSummary> summaries;
  const bool complete;
  std::vector<TShownPanel> panels;
  std::string body;
};

std::string CPage::Text() {
  Header();
  Navigation();
  if (report.Regulators().empty()) body += "<p>The application has no regulator.</p>\n";
  // What was asked for stands first.
  const bool hasChosen = !report.View().curves.empty();
  if (hasChosen) Curves();
  if (report.Regulators().size() > 1) Overview();
  if (!hasChosen) Curves();
  for (std::size_t i = 0; i < report.Regulators().size(); ++i) Regulator(i);
  if (report.FurtherRegulators() > 0) {
    body += "<p>… " + Count(report.FurtherRegulators(), "more regulator") + "</p>\n";
  }
  Events();
  Panes();
  ApplicationText();
  Licence();
  page::TPage shown;
  shown.title = Name() + " – Loopbox";
  shown.styles = {ReportStyle()};
  shown.body = std::move(body);
  shown.data = ReportData(report, panels);
  shown.scripts = page::PlottingScripts();
  shown.scripts.push_back(ReportScript());
  return page::Document(shown);
}

void CPage::Header() {
  body += "<header>\n<h1>" + Escaped(Name()) + "</h1>\n<p>" + Count(application.PeriodsDone(), "period") + " of " +
          Quantity(application.Period(), "s");
  if (!complete) body += ", stopped at " + Seconds(application.Time()) + " s";
  body += "</p>\n";
  if (!report.Comparison().name.empty()) {
    body += "<p>Dashed, and in the tables beside: " + Escaped(report.Comparison().name) + "</p>\n";
  }
  body += "</header>\n";
}

void CPage::Navigation() {
  body +=
      "<nav aria-label=\"Plots\"><button id=\"whole\">Whole run</button><button id=\"zoom-in\" aria-label=\"Zoom "
      "in\">+</button><button id=\"zoom-out\" aria-label=\"Zoom out\">−</button><button id=\"earlier\" "
      "aria-label=\"Earlier\">←</button><button id=\"later\" aria-label=\"Later\">→</button></nav>\n"
      "<p class=\"dim\">Drag over a plot to zoom, with Shift to pan, double-click for the whole run; all plots "
      "move together.</p>\n";
}

// One line for each regulator, with a small plot of its wish and value.
void CPage::Overview() {
  body +=
      "<section>\n<h2>Overview</h2>\n<div class=\"scroll\"><table class=\"overview\">\n<thead><tr><th>regulator</th>"
      "<th>wish and value</th><th>whole run</th></tr></thead>\n<tbody>\n";
  for (std::size_t i = 0; i < report.Regulators().size(); ++i) {
    body += "<tr><th scope=\"row\"><a href=\"#regulator-" + std::to_string(i + 1) + "\">" +
            Escaped(report.Instrument(i).Name()) +
            "</a></th><td><canvas class=\"small\" width=\"336\" height=\"54\" data-regulator=\"" + std::to_string(i) +
            "\"></canvas></td><td>";
    const std::vector<std::string>& cells = summaries[i].rows.front();
    for (std::size_t cell = 0; cell + 1 < std::min(cells.size(), 2 * kOverviewMetrics); cell += 2) {
      if (cell > 0) body += ", ";
      body += Escaped(cells[cell]) + " " + Escaped(cells[cell + 1]);
    }
    body += "</td></tr>\n";
  }
  body += "</tbody></table></div>\n</section>\n";
}

// Where the page's script draws the curves that a person chooses.
void CPage::Curves() {
  body +=
      "<section id=\"curves\">\n<h2>Curves</h2>\n<p class=\"choice\"><label>Draw <select id=\"quantity\"></select>"
      "</label> <button id=\"new-plot\">in a new plot</button> <button id=\"same-plot\">in the last one</button> "
      "<button id=\"clear-plots\">Clear</button></p>\n";
  if (report.FurtherQuantities() > 0) {
    body +=
        "<p>… " + std::to_string(report.FurtherQuantities()) + " more are not recorded; --curves records them</p>\n";
  }
  body += "</section>\n";
}

void CPage::Regulator(std::size_t index) {
  const TReportRegulator& regulator = report.Regulators()[index];
  const runtime::CInstrumentHandle& instrument = report.Instrument(index);
  // Of the whole text, as it is shown below.
  const std::string_view before = application.Text().substr(0, instrument.Offset());
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  body += "<section id=\"regulator-" + std::to_string(index + 1) + "\">\n<h2>" +
          Escaped(instrument.Title().empty() ? instrument.Name() : instrument.Title()) + "</h2>\n<p><a href=\"#line-" +
          std::to_string(line) + "\">" + Escaped(instrument.Name()) + "</a> <span class=\"dim\">" +
          Escaped(instrument.ClassName()) + "</span></p>\n";
  Panel(regulator.firstPanel, index, false);
  Panel(regulator.firstPanel + 1, index, true);
  for (const TReportState& state : regulator.state) {
    if (state.varies) Panel(state.panel, index, true);
  }
  Metrics(index);
  body += "</section>\n";
}

void CPage::Panel(std::size_t panel, std::size_t regulator, bool low) {
  body += "<div class=\"legend\"></div><div class=\"plot" + std::string(low ? " low" : "") + "\" data-panel=\"" +
          std::to_string(panels.size()) + "\"></div>\n";
  panels.push_back({panel, regulator, low});
}

void CPage::Metrics(std::size_t index) {
  const auto& earlier = report.Comparison().summaries;
  const bool compared = index < earlier.size() && earlier[index].has_value();
  std::vector<std::vector<std::string>> before;
  TRegulatorReport known = summaries[index].report;
  known.wishLimited = known.valueLimited = 0;  // of the earlier run no trace tells it
  if (compared) before = ReportRows(*earlier[index], known);
  body += "<div class=\"scroll\"><table>\n<thead><tr><th>metric</th><th>this run</th>";
  if (compared) body += "<th>" + Escaped(report.Comparison().name) + "</th>";
  body += "</tr></thead>\n<tbody>\n";
  const auto& rows = summaries[index].rows;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (std::size_t cell = 0; cell + 1 < rows[row].size(); cell += 2) {
      body +=
          "<tr><th scope=\"row\">" + Escaped(rows[row][cell]) + "</th><td>" + Escaped(rows[row][cell + 1]) + "</td>";
      if (compared) body += "<td>" + (row < before.size() ? Escaped(before[row][cell + 1]) : "") + "</td>";
      body += "</tr>\n";
    }
  }
  body += "</tbody></table></div>\n";
  for (const std::string& line : summaries[index].learnt) body += "<p>" + Escaped(line) + "</p>\n";
}

void CPage::Events() {
  if (report.Marks().empty()) return;
  body +=
      "<section>\n<h2>Events</h2>\n<div class=\"scroll\"><table>\n<thead><tr><th>no.</th><th>time</th>"
      "<th>instrument</th><th>what</th></tr></thead>\n<tbody>\n";
  std::size_t count = 0;
  for (const TReportMark& mark : report.Marks()) {
    const std::string number = std::to_string(++count);
    body.append("<tr id=\"event-").append(number).append("\"><td>").append(number).append("</td><td>");
    body.append(Seconds(mark.time)).append(" s</td><td>").append(Escaped(mark.instrument)).append("</td><td>");
    body.append(Escaped(mark.text)).append("</td></tr>\n");
  }
  body += "</tbody></table></div>\n";
  if (report.FurtherMarks() > 0) body += "<p>… " + std::to_string(report.FurtherMarks()) + " more</p>\n";
  body += "</section>\n";
}

void CPage::Panes() {
  std::string picture;
  std::string error;
  body += "<section>\n<h2>Panes</h2>\n";
  if (application.InstrumentCount() > CReport::kMostPanes) {
    body += "<p>There are too many to show here; --panes draws them.</p>\n";
  } else if (painting::Picture(application, painting::EFormat::kSvg, &picture, &error)) {
    body += "<img alt=\"The panes at the end of the run\" data-src=\"" + page::ImageAddress("image/svg+xml", picture) +
            "\">\n";
  } else {
    body += "<p>" + Escaped(error) + "</p>\n";
  }
  body += "</section>\n";
}

// Each line with the number that it has in its file, by which messages tell it: one
// that `for` repeats has that number each time.
void CPage::ApplicationText() {
  body += "<section class=\"text\">\n<h2>Application</h2>\n<pre>";
  const std::string text = Shortened(application.Text(), CReport::kMostText);
  std::size_t number = 0;
  std::size_t begin = 0;
  // Where there is one file it needs no name.
  std::string path = application.IncludedFiles().empty() ? application.At(0, "").path : "";
  while (begin < text.size() && number < CReport::kMostLines) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    std::string_view line = std::string_view(text).substr(begin, end - begin);
    if (line.ends_with('\r')) line.remove_suffix(1);
    const runtime::TDiagnostic place = application.At(static_cast<std::uint32_t>(begin), "");
    if (place.path != path) {
      path = place.path;
      body += "<span class=\"file\">" + Escaped(std::filesystem::path(path).filename().string()) + "</span>";
    }
    body += "<span class=\"line\" id=\"line-" + std::to_string(++number) + "\" data-line=\"" +
            std::to_string(place.line) + "\">" + Escaped(line) + "</span>";
    begin = end + 1;
  }
  body += "</pre>\n";
  if (begin < application.Text().size()) {
    body += "<p>… the text is longer: " + Count(application.Text().size(), "byte") + " in all</p>\n";
  }
  body += "</section>\n";
}

void CPage::Licence() {
  body += "<details><summary>Loopbox " + std::string(kProgramVersion) + "; plots by dygraphs</summary><pre>" +
          Escaped(page::PlottingLicence()) + "</pre></details>\n";
}

}  // namespace

std::string ReportPage(const CReport& report, const CRegulatorWatch& watch, bool complete) {
  return CPage(report, watch, complete).Text();
}

}  // namespace workbench
