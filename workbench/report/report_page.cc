// The page of a report. Whatever the application brings, names and texts, is
// escaped.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "page/page.h"
#include "painting/painting.h"
#include "workbench/report/report.h"
#include "workbench/report/report_assets.h"
#include "workbench/run/summary.h"
#include "workbench/text.h"
#include "workbench/version.h"

namespace workbench {
namespace {

using page::Escaped;
using runtime::Translated;

constexpr std::size_t kOverviewMetrics = 2;  // of a regulator's

// The program's own text, as HTML in the language that was chosen.
std::string Word(const std::string& text) { return Escaped(Translated(text)); }
std::string Paragraph(const std::string& text) { return "<p>" + Word(text) + "</p>\n"; }
std::string Section(const std::string& heading) { return "<section>\n<h2>" + Word(heading) + "</h2>\n"; }

class CPage {
 public:
  CPage(const CReport& theReport, const CRegulatorWatch& theWatch, const TProvenance& theProvenance, bool wasComplete)
      : report(theReport),
        application(report.Application()),
        watch(theWatch),
        provenance(theProvenance),
        complete(wasComplete) {}

  std::string Text();

 private:
  void Header();
  void Navigation();
  void Overview();
  void Curves();
  void Regulator(std::size_t index);
  void Panel(std::size_t panel, std::size_t regulator, bool low);
  void Metrics(std::size_t index);
  void MetricRows(const CRegulatorWatch::TSummary& summary, const std::optional<CComparison::TCommon>& common);
  void Settings(const CRegulatorWatch::TSummary& summary);
  void Table(const std::vector<std::vector<std::string>>& rows);
  void Events();
  void Panes();
  void Provenance();
  void ApplicationText();
  void Licence();

  std::string Name() const { return application.Name().empty() ? Translated("Run") : application.Name(); }

  const CReport& report;
  const runtime::CApplication& application;
  const CRegulatorWatch& watch;
  const TProvenance& provenance;
  const bool complete;
  std::vector<TShownPanel> panels;
  std::string body;
};

std::string CPage::Text() {
  Header();
  Navigation();
  if (report.Regulators().empty()) body += Paragraph("The application has no regulator.");
  // What was asked for stands first.
  const bool hasChosen = !report.View().curves.empty();
  if (hasChosen) Curves();
  if (report.Regulators().size() > 1) Overview();
  if (!hasChosen) Curves();
  for (std::size_t i = 0; i < report.Regulators().size(); ++i) Regulator(i);
  if (report.FurtherRegulators() > 0) {
    body += Paragraph("… " + Count(report.FurtherRegulators(), "more regulator"));
  }
  Events();
  Panes();
  Provenance();
  ApplicationText();
  Licence();
  page::TPage shown;
  shown.title = Name() + " – Loopbox";
  if (const std::string language = Translated(kPageLanguageKey); language != kPageLanguageKey)
    shown.language = language;
  shown.styles = {ReportStyle()};
  shown.body = std::move(body);
  shown.data = ReportData(report, panels);
  shown.scripts = page::PlottingScripts();
  shown.scripts.push_back(ReportScript());
  return page::Document(shown);
}

void CPage::Header() {
  std::string extent = Count(application.PeriodsDone(), "period") + " of " + Quantity(application.Period(), "s");
  if (!complete) extent += ", stopped at " + Seconds(application.Time()) + " s";
  body += "<header>\n<h1>" + Escaped(Name()) + "</h1>\n" + Paragraph(extent);
  if (report.Comparison().IsOpen()) {
    body += Paragraph("Dashed, and in the tables beside: " + report.Comparison().Name()) + "<ul>\n";
    for (const std::string& line : report.Comparison().Differences(watch, provenance)) {
      body += "<li>" + Escaped(line) + "</li>\n";
    }
    body += "</ul>\n";
  }
  body += "</header>\n";
}

void CPage::Navigation() {
  body +=
      "<nav aria-label=\"" + Word("Plots") + "\"><button id=\"whole\">" + Word("Whole run") +
      "</button><button id=\"zoom-in\" aria-label=\"" + Word("Zoom in") +
      "\">+</button><button id=\"zoom-out\" aria-label=\"" + Word("Zoom out") +
      "\">−</button><button id=\"earlier\" aria-label=\"" + Word("Earlier") +
      "\">←</button><button id=\"later\" aria-label=\"" + Word("Later") + "\">→</button></nav>\n<p class=\"dim\">" +
      Word("Drag over a plot to zoom, with Shift to pan, double-click for the whole run; all plots move together.") +
      "</p>\n";
}

// One line for each regulator, with a small plot of its wish and value.
void CPage::Overview() {
  body += "<section>\n<h2>" + Word("Overview") +
          "</h2>\n<div class=\"scroll\"><table class=\"overview\">\n<thead><tr><th>" + Word("regulator") + "</th><th>" +
          Word("wish and value") + "</th><th>" + Word("whole run") + "</th></tr></thead>\n<tbody>\n";
  for (std::size_t i = 0; i < report.Regulators().size(); ++i) {
    body += "<tr><th scope=\"row\"><a href=\"#regulator-" + std::to_string(i + 1) + "\">" +
            Escaped(report.Instrument(i).Name()) +
            "</a></th><td><canvas class=\"small\" width=\"336\" height=\"54\" data-regulator=\"" + std::to_string(i) +
            "\"></canvas></td><td>";
    const CRegulatorWatch::TSummary summary = watch.Summary(i);
    const std::vector<std::string> cells = FigureRows(summary.kind, summary.whole, summary.units).front();
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
  body += "<section id=\"curves\">\n<h2>" + Word("Curves") + "</h2>\n<p class=\"choice\"><label>" + Word("Draw") +
          " <select id=\"quantity\"></select></label> <button id=\"new-plot\">" + Word("in a new plot") +
          "</button> <button id=\"same-plot\">" + Word("in the last one") + "</button> <button id=\"clear-plots\">" +
          Word("Clear") + "</button></p>\n";
  if (report.FurtherQuantities() > 0) {
    body +=
        Paragraph("… " + std::to_string(report.FurtherQuantities()) + " more are not recorded; --curves records them");
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
  const CRegulatorWatch::TSummary summary = watch.Summary(index);
  MetricRows(summary, report.Comparison().Common(index));
  if (const std::vector<TWindow> windows = summary.ShownWindows(); !windows.empty()) {
    Table(WindowRows(summary.kind, windows, summary.units));
  }
  if (summary.furtherWindows > 0) body += Paragraph("… " + Count(summary.furtherWindows, "more window"));
  Settings(summary);
  for (const std::string& line : summary.learnt) body += "<p>" + Escaped(line) + "</p>\n";
}

// Of the whole run, and of the rows that it has in common with the earlier one.
void CPage::MetricRows(const CRegulatorWatch::TSummary& summary, const std::optional<CComparison::TCommon>& common) {
  using TRows = std::vector<std::vector<std::string>>;
  std::vector<std::string> heads = {Translated("metric"), Translated("this run")};
  std::vector<TRows> columns = {FigureRows(summary.kind, summary.whole, summary.units)};
  if (common) {
    TFigureUnits units = summary.units;
    units.rowSeconds = common->rowSeconds;
    if (report.Comparison().CommonRows() != application.PeriodsDone()) {
      heads.push_back(Translated("its common rows"));
      columns.push_back(FigureRows(summary.kind, common->here, units));
    }
    heads.push_back(report.Comparison().Name());
    columns.push_back(FigureRows(summary.kind, common->there, units));
  }
  std::vector<std::vector<std::string>> table = {heads};
  // By label, in the order in which they come: not each column has all.
  for (std::size_t column = 0; column < columns.size(); ++column) {
    for (const auto& cells : columns[column]) {
      for (std::size_t cell = 0; cell + 1 < cells.size(); cell += 2) {
        auto row = std::find_if(table.begin() + 1, table.end(), [&](const auto& one) { return one[0] == cells[cell]; });
        if (row == table.end()) row = table.insert(table.end(), std::vector<std::string>(heads.size()));
        (*row)[0] = cells[cell];
        (*row)[column + 1] = cells[cell + 1];
      }
    }
  }
  Table(table);
}

// The first row is the heading, the first cell of each of the others too.
void CPage::Table(const std::vector<std::vector<std::string>>& rows) {
  body += "<div class=\"scroll\"><table>\n<thead><tr>";
  for (const std::string& cell : rows[0]) body += "<th>" + Escaped(cell) + "</th>";
  body += "</tr></thead>\n<tbody>\n";
  for (std::size_t row = 1; row < rows.size(); ++row) {
    body += "<tr><th scope=\"row\">" + Escaped(rows[row][0]) + "</th>";
    for (std::size_t cell = 1; cell < rows[row].size(); ++cell) body += "<td>" + Escaped(rows[row][cell]) + "</td>";
    body += "</tr>\n";
  }
  body += "</tbody></table></div>\n";
}

void CPage::Settings(const CRegulatorWatch::TSummary& summary) {
  std::vector<std::vector<std::string>> rows = {
      {Translated("setting"), Translated("at the start"), Translated("at the end")}};
  const auto row = [&](const std::string& name) -> std::vector<std::string>& {
    const auto found = std::find_if(rows.begin() + 1, rows.end(), [&](const auto& one) { return one[0] == name; });
    return found != rows.end() ? *found : rows.emplace_back(std::vector<std::string>{name, "", ""});
  };
  for (const TSetting& setting : summary.start) row(setting.name)[1] = setting.Text();
  for (const TSetting& setting : summary.end) row(setting.name)[2] = setting.Text();
  if (rows.size() > 1) Table(rows);
}

void CPage::Events() {
  if (report.Marks().empty()) return;
  body += "<section>\n<h2>" + Word("Events") + "</h2>\n<div class=\"scroll\"><table>\n<thead><tr><th>" + Word("no.") +
          "</th><th>" + Word("time") + "</th><th>" + Word("instrument") + "</th><th>" + Word("what") +
          "</th></tr></thead>\n<tbody>\n";
  std::size_t count = 0;
  for (const TReportMark& mark : report.Marks()) {
    const std::string number = std::to_string(++count);
    body.append("<tr id=\"event-").append(number).append("\"><td>").append(number).append("</td><td>");
    body.append(Seconds(mark.time)).append(" s</td><td>").append(Escaped(mark.instrument)).append("</td><td>");
    body.append(Escaped(mark.text)).append("</td></tr>\n");
  }
  body += "</tbody></table></div>\n";
  if (report.FurtherMarks() > 0) body += Paragraph("… " + std::to_string(report.FurtherMarks()) + " more");
  body += "</section>\n";
}

void CPage::Panes() {
  std::string picture;
  std::string error;
  body += Section("Panes");
  if (application.InstrumentCount() > CReport::kMostPanes) {
    body += Paragraph("There are too many to show here; --panes draws them.");
  } else if (painting::Picture(application, painting::EFormat::kSvg, &picture, &error)) {
    body += "<img alt=\"" + Word("The panes at the end of the run") + "\" data-src=\"" +
            page::ImageAddress("image/svg+xml", picture) + "\">\n";
  } else {
    body += Paragraph(error);
  }
  body += "</section>\n";
}

void CPage::Provenance() {
  std::vector<std::vector<std::string>> rows = {{Translated("of the run"), ""}};
  for (const auto& [name, value] : provenance.options)
    rows.push_back({"--" + name, value.String().value_or(value.Text())});
  for (const auto& [name, value] : provenance.set) rows.push_back({"--set " + name, value});
  rows.push_back({Translated("seed"), std::to_string(provenance.seed)});
  rows.push_back({Translated("plug-in"), provenance.plugin + ", SHA-256 " + provenance.pluginHash});
  rows.push_back({Translated("application's text"), "SHA-256 " + provenance.textHash});
  for (const auto& [file, hash] : provenance.filesRead)
    rows.push_back({Translated("read"), file + ", SHA-256 " + hash});
  for (const std::string& file : provenance.filesWritten) rows.push_back({Translated("written"), file});
  body += Section("Run");
  Table(rows);
  body += "</section>\n";
}

// Each line with the number that it has in its file, by which messages tell it: one
// that `for` repeats has that number each time.
void CPage::ApplicationText() {
  body += "<section class=\"text\">\n<h2>" + Word("Application") + "</h2>\n<pre>";
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
    body += Paragraph("… the text is longer: " + Count(application.Text().size(), "byte") + " in all");
  }
  body += "</section>\n";
}

void CPage::Licence() {
  body += "<details><summary>Loopbox " + std::string(kProgramVersion) + "; " + Word("plots by dygraphs") +
          "</summary><pre>" + Escaped(page::PlottingLicence()) + "</pre></details>\n";
}

}  // namespace

std::string ReportPage(const CReport& report, const CRegulatorWatch& watch, const TProvenance& provenance,
                       bool complete) {
  return CPage(report, watch, provenance, complete).Text();
}

}  // namespace workbench
