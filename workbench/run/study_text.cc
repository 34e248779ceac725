#include "workbench/run/study_text.h"

#include <cmath>
#include <cstdio>

#include "runtime/runtime.h"
#include "workbench/text.h"

namespace workbench {
namespace {

using runtime::Translated;

constexpr char kNotThere[] = "–";

std::string Percent(double share) { return Quantity(100.0 * share, "%"); }

std::string Influence(const study::TPlan& plan, const study::TFigureSpread& spread) {
  if (!spread.input) return kNotThere;
  char text[16];
  std::snprintf(text, sizeof(text), "%+.2f", spread.correlation);
  return plan.definition.inputs[*spread.input].name + " " + text;
}

}  // namespace

std::vector<std::vector<std::string>> SpreadRows(const study::TPlan& plan, const study::TStatistics& statistics) {
  std::vector<std::vector<std::string>> rows = {
      {"", "runs", "minimum", "25 %", "median", "75 %", "95 %", "maximum", "depends most on"}};
  for (std::string& label : rows[0]) label = Translated(std::move(label));
  for (std::size_t i = 0; i < statistics.figures.size(); ++i) {
    const study::TFigureSpread& spread = statistics.figures[i];
    std::vector<std::string> row = {plan.definition.figures[i].name, std::to_string(spread.count)};
    for (const double quantile : spread.quantiles) row.push_back(spread.count == 0 ? kNotThere : Significant(quantile));
    row.push_back(Influence(plan, spread));
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<std::string> OutcomeLines(const study::TPlan& plan, const study::TStatistics& statistics) {
  std::vector<std::string> lines;
  if (plan.definition.required.IsGiven()) {
    const auto [low, high] = study::WilsonInterval(statistics.met, statistics.runs);
    const double share = static_cast<double>(statistics.met) / static_cast<double>(statistics.runs);
    lines.push_back(Translated("meet what is required") + ": " + std::to_string(statistics.met) + " = " +
                    Percent(share) + " (" + Percent(low) + " … " + Percent(high) + ")");
  }
  if (statistics.failed == 0) return lines;
  lines.push_back(Translated("failed") + ": " + std::to_string(statistics.failed));
  for (const auto& [number, failure] : statistics.firstFailures) {
    lines.push_back("  " + std::to_string(number) + ": " + Translated(failure));
  }
  if (statistics.failed > statistics.firstFailures.size()) {
    lines.push_back("  " +
                    Translated("… " + std::to_string(statistics.failed - statistics.firstFailures.size()) + " more"));
  }
  return lines;
}

std::string WorstLabel(const study::TPlan& plan) {
  return Translated("largest") + " " + plan.definition.figures[0].name;
}

std::vector<std::string> WorstCommands(const study::TPlan& plan, const study::TStatistics& statistics) {
  std::vector<std::string> commands;
  for (const study::TCase& one : statistics.worst) commands.push_back(study::CommandOf(plan, one));
  return commands;
}

std::string StudyText(const study::TPlan& plan, const study::TStatistics& statistics) {
  CTable table;
  for (auto& row : SpreadRows(plan, statistics)) table.Add(std::move(row));
  std::string text = plan.definition.name + ": " + Translated(Count(statistics.runs, "run")) + "\n" + table.Text();
  for (const std::string& line : OutcomeLines(plan, statistics)) text += line + "\n";
  const std::vector<std::string> commands = WorstCommands(plan, statistics);
  if (!commands.empty()) text += WorstLabel(plan) + "\n";
  for (std::size_t i = 0; i < commands.size(); ++i) {
    text += "  " + std::to_string(statistics.worst[i].number) + ": " + commands[i] + "\n";
  }
  return text;
}

}  // namespace workbench
