// The page of a report. Whatever the application brings, names and texts, is
// escaped; the page's own policy forbids it to load anything.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "painting/painting.h"
#include "workbench/commands/commands.h"
#include "workbench/report/report.h"
#include "workbench/report/report_assets.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr int kDigits = 8;  // significant, of a plotted number

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

// A text of JSON inside an element `script`: no "<" stands in it.
std::string Json(std::string_view text) {
  std::string json = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      json += '\\';
      json += c;
    } else if (c == '<' || static_cast<unsigned char>(c) < 0x20) {
      char code[7];
      std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
      json += code;
    } else {
      json += c;
    }
  }
  return json + "\"";
}

void AppendNumber(double value, std::string* json) {
  if (!std::isfinite(value)) {
    *json += "null";
    return;
  }
  char digits[32];
  json->append(digits, std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, kDigits).ptr);
}

void AppendList(const std::vector<double>& numbers, std::string* json) {
  *json += '[';
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0) *json += ',';
    AppendNumber(numbers[i], json);
  }
  *json += ']';
}

// The times at which a plot's curves have points: where a bucket is more than
// one sample, two, the second in its middle; at the end the last sample.
std::vector<double> PointTimes(const painting::CPlot& plot) {
  std::vector<double> points;
  const std::vector<double>& times = plot.Times();
  for (std::size_t i = 0; i < times.size(); ++i) {
    points.push_back(times[i]);
    if (plot.PerBucket() == 1) continue;
    points.push_back(times[i] + (((i + 1 < times.size()) ? times[i + 1] : plot.LastTime()) - times[i]) / 2);
  }
  if (!times.empty() && plot.LastTime() > points.back()) points.push_back(plot.LastTime());
  return points;
}

// The lowest and the highest in the order that is nearer to the first sample.
std::vector<double> Points(const painting::CPlot& plot, std::size_t curve) {
  std::vector<double> points;
  const std::vector<painting::TPlotBucket>& buckets = plot.Buckets(curve);
  for (const painting::TPlotBucket& bucket : buckets) {
    if (plot.PerBucket() == 1) {
      points.push_back(bucket.last);
      continue;
    }
    const bool rises = !(bucket.first - bucket.lowest > bucket.highest - bucket.first);
    points.push_back(rises ? bucket.lowest : bucket.highest);
    points.push_back(rises ? bucket.highest : bucket.lowest);
  }
  if (!buckets.empty()) points.push_back(buckets.back().last);
  return points;
}

std::string Color(std::uint32_t word) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", word & 0xFF, (word >> 8) & 0xFF, (word >> 16) & 0xFF);
  return text;
}

class CPage {
 public:
  CPage(const CReport& theReport, const CRegulatorWatch& watch, bool wasComplete)
      : report(theReport), application(report.Application()), summaries(watch.Summaries()), complete(wasComplete) {}

  std::string Text() {
    Head();
    for (std::size_t i = 0; i < report.Regulators().size(); ++i) Regulator(i);
    Events();
    Panes();
    ApplicationText();
    Foot();
    return std::move(page);
  }

 private:
  std::string Name() const { return application.Name().empty() ? "Run" : application.Name(); }

  void Head() {
    page +=
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; script-src 'unsafe-inline'; "
        "style-src 'unsafe-inline'; img-src data:\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
        Escaped(Name()) + " – Loopbox</title>\n<style>\n";
    page.append(PlottingStyle()).append(ReportStyle());
    page += "</style>\n</head>\n<body>\n<header>\n<h1>" + Escaped(Name()) + "</h1>\n<p>" +
            Count(application.PeriodsDone(), "period") + " of " + Quantity(application.Period(), "s");
    if (!complete) page += ", stopped at " + Seconds(application.Time()) + " s";
    page += "</p>\n";
    if (!report.Comparison().name.empty()) {
      page += "<p>Dashed, and in the tables beside: " + Escaped(report.Comparison().name) + "</p>\n";
    }
    page += "</header>\n";
    if (report.Regulators().empty()) {
      page += "<p>The application has no regulator.</p>\n";
      return;
    }
    page +=
        "<nav aria-label=\"Plots\"><button id=\"whole\">Whole run</button><button id=\"zoom-in\" aria-label=\"Zoom "
        "in\">+</button><button id=\"zoom-out\" aria-label=\"Zoom out\">−</button><button id=\"earlier\" "
        "aria-label=\"Earlier\">←</button><button id=\"later\" aria-label=\"Later\">→</button></nav>\n"
        "<p class=\"dim\">Drag over a plot to zoom, with Shift to pan, double-click for the whole run; all plots "
        "move together.</p>\n";
  }

  void Regulator(std::size_t index) {
    const TReportRegulator& regulator = report.Regulators()[index];
    const runtime::CInstrumentHandle& instrument = report.Instrument(index);
    page += "<section>\n<h2>" + Escaped(instrument.Title().empty() ? instrument.Name() : instrument.Title()) +
            "</h2>\n<p><a href=\"#line-" + std::to_string(Line(instrument.Offset())) + "\">" +
            Escaped(instrument.Name()) + "</a> <span class=\"dim\">" + Escaped(instrument.ClassName()) +
            "</span></p>\n";
    Panel(regulator.firstPanel, index, false);
    Panel(regulator.firstPanel + 1, index, true);
    for (const TReportState& state : regulator.state) {
      if (state.varies) Panel(state.panel, index, true);
    }
    Metrics(index);
    page += "</section>\n";
  }

  void Panel(std::size_t panel, std::size_t regulator, bool low) {
    page += "<div class=\"legend\"></div><div class=\"plot" + std::string(low ? " low" : "") + "\" data-panel=\"" +
            std::to_string(panels.size()) + "\"></div>\n";
    const std::string& name = report.Instrument(regulator).Name();
    const painting::CPlot& plot = report.Plot();
    std::string json = "{\"unit\":" + Json(plot.Panels()[panel].unit) + ",\"regulator\":" + Json(name) +
                       ",\"marked\":" + (low ? "false" : "true") + ",\"zero\":" + (low ? "true" : "false") +
                       ",\"curves\":[";
    bool first = true;
    for (const std::size_t curve : plot.Panels()[panel].curves) {
      if (!first) json += ',';
      first = false;
      const painting::TPlotCurve& drawn = plot.Curves()[curve];
      Curve(plot, curve, drawn.name, Color(drawn.color), drawn.holds, drawn.name.starts_with("band") ? "[2,3]" : "null",
            &json);
      const std::string column = name + (drawn.name == "wish"                              ? ".wish_value"
                                         : drawn.name == "value" || drawn.name == "output" ? "." + drawn.name
                                                                                           : "/");
      const auto& columns = report.Comparison().columns;
      const auto found = std::find(columns.begin(), columns.end(), column);
      if (found == columns.end()) continue;
      json += ',';
      Curve(report.Comparison().plot, static_cast<std::size_t>(found - columns.begin()), drawn.name + " before",
            Color(drawn.color), drawn.holds, "[6,4]", &json);
    }
    panels.push_back(json + "]}");
  }

  void Curve(const painting::CPlot& plot, std::size_t curve, const std::string& name, const std::string& color,
             bool holds, const char* dash, std::string* json) const {
    *json += "{\"name\":" + Json(name) + ",\"color\":\"" + color + "\",\"holds\":" + (holds ? "true" : "false") +
             ",\"dash\":" + dash + ",\"other\":" + (&plot == &report.Plot() ? "false" : "true") + ",\"values\":";
    AppendList(Points(plot, curve), json);
    *json += '}';
  }

  void Metrics(std::size_t index) {
    const auto& earlier = report.Comparison().summaries;
    const bool compared = index < earlier.size() && earlier[index].has_value();
    std::vector<std::vector<std::string>> before;
    if (compared) before = ReportRows(*earlier[index], summaries[index].report);
    page += "<div class=\"scroll\"><table>\n<thead><tr><th>metric</th><th>this run</th>";
    if (compared) page += "<th>" + Escaped(report.Comparison().name) + "</th>";
    page += "</tr></thead>\n<tbody>\n";
    const auto& rows = summaries[index].rows;
    for (std::size_t row = 0; row < rows.size(); ++row) {
      for (std::size_t cell = 0; cell + 1 < rows[row].size(); cell += 2) {
        page +=
            "<tr><th scope=\"row\">" + Escaped(rows[row][cell]) + "</th><td>" + Escaped(rows[row][cell + 1]) + "</td>";
        if (compared) page += "<td>" + (row < before.size() ? Escaped(before[row][cell + 1]) : "") + "</td>";
        page += "</tr>\n";
      }
    }
    page += "</tbody></table></div>\n";
  }

  void Events() {
    if (report.Marks().empty()) return;
    page +=
        "<section>\n<h2>Events</h2>\n<div class=\"scroll\"><table>\n<thead><tr><th>no.</th><th>time</th>"
        "<th>instrument</th><th>what</th></tr></thead>\n<tbody>\n";
    std::size_t number = 0;
    for (const TReportMark& mark : report.Marks()) {
      ++number;
      page += "<tr id=\"event-" + std::to_string(number) + "\"><td>" + std::to_string(number) + "</td><td>" +
              Seconds(mark.time) + " s</td><td>" + Escaped(mark.instrument) + "</td><td>" + Escaped(mark.text) +
              "</td></tr>\n";
    }
    page += "</tbody></table></div>\n";
    if (report.FurtherMarks() > 0) page += "<p>… " + std::to_string(report.FurtherMarks()) + " more</p>\n";
    page += "</section>\n";
  }

  void Panes() {
    std::string picture;
    std::string error;
    page += "<section>\n<h2>Panes</h2>\n";
    if (painting::Picture(application, painting::EFormat::kSvg, &picture, &error)) {
      page +=
          "<img alt=\"The panes at the end of the run\" src=\"data:image/svg+xml;base64," + Base64(picture) + "\">\n";
    } else {
      page += "<p>" + Escaped(error) + "</p>\n";
    }
    page += "</section>\n";
  }

  void ApplicationText() {
    page += "<section class=\"text\">\n<h2>Application</h2>\n<pre>";
    const std::string_view text = application.Text();
    std::size_t number = 0;
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = std::min(text.find('\n', begin), text.size());
      std::string_view line = text.substr(begin, end - begin);
      if (line.ends_with('\r')) line.remove_suffix(1);
      page += "<span class=\"line\" id=\"line-" + std::to_string(++number) + "\">" + Escaped(line) + "</span>";
      begin = end + 1;
    }
    page += "</pre>\n</section>\n";
  }

  void Foot() {
    page += "<details><summary>Loopbox " + std::string(kProgramVersion) + "; plots by dygraphs</summary><pre>" +
            Escaped(PlottingLicence()) + "</pre></details>\n";
    page += "<script type=\"application/json\" id=\"data\">{\"from\":0,\"to\":";
    const painting::CPlot& other = report.Comparison().plot;
    AppendNumber(std::max({application.Time(), other.LastTime(), application.Period()}), &page);
    page += ",\"times\":";
    AppendList(PointTimes(report.Plot()), &page);
    page += ",\"otherTimes\":";
    AppendList(PointTimes(other), &page);
    page += ",\"marks\":[";
    for (std::size_t i = 0; i < report.Marks().size(); ++i) {
      const TReportMark& mark = report.Marks()[i];
      if (i > 0) page += ',';
      page += "{\"time\":";
      AppendNumber(mark.time, &page);
      page += ",\"instrument\":" + Json(mark.instrument) + ",\"text\":" + Json(mark.text) + "}";
    }
    page += "],\"panels\":[";
    for (std::size_t i = 0; i < panels.size(); ++i) page += (i > 0 ? "," : "") + panels[i];
    page += "]}</script>\n<script>\n";
    page.append(PlottingScript()).append("\n</script>\n<script>\n").append(ReportScript());
    page += "</script>\n</body>\n</html>\n";
  }

  std::uint32_t Line(std::uint32_t offset) const { return application.At(offset, "").line; }

  static std::string Base64(std::string_view bytes) {
    constexpr char kDigits64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
      std::uint32_t group = 0;
      for (std::size_t k = 0; k < 3; ++k) {
        group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
      }
      for (std::size_t k = 0; k < 4; ++k) {
        text += i + k > bytes.size() ? '=' : kDigits64[group >> (18 - 6 * k) & 63];
      }
    }
    return text;
  }

  const CReport& report;
  const runtime::CApplication& application;
  const std::vector<CRegulatorWatch::TSummary> summaries;
  const bool complete;
  std::vector<std::string> panels;  // JSON
  std::string page;
};

}  // namespace

std::string ReportPage(const CReport& report, const CRegulatorWatch& watch, bool complete) {
  return CPage(report, watch, complete).Text();
}

}  // namespace workbench
