#include "panel/server/trend_json.h"

#include <charconv>
#include <cmath>
#include <iterator>

#include "json/json.h"

namespace panel {
namespace {

void AppendNumber(double number, std::string* text) {
  if (!std::isfinite(number)) {
    *text += "null";
    return;
  }
  char digits[32];
  text->append(digits, std::to_chars(digits, std::end(digits), number).ptr);
}

void AppendColumn(const char* name, const std::vector<TPoint>& points, double TPoint::*part, std::string* text) {
  *text += std::string("\"") + name + "\":[";
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (i > 0) *text += ',';
    AppendNumber(points[i].*part, text);
  }
  *text += ']';
}

}  // namespace

std::string TrendText(const std::vector<std::string>& items, double from, double to, const TTrend& trend) {
  std::string text = "{\"from\":";
  AppendNumber(from, &text);
  text += ",\"to\":";
  AppendNumber(to, &text);
  text += ",\"resolution\":";
  AppendNumber(trend.resolution, &text);
  text += ",\"series\":{";
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += ',';
    text += json::CValue(items[i]).Text() + ":{";
    AppendColumn("t", trend.series[i], &TPoint::time, &text);
    text += ',';
    AppendColumn("min", trend.series[i], &TPoint::low, &text);
    text += ',';
    AppendColumn("max", trend.series[i], &TPoint::high, &text);
    text += ',';
    AppendColumn("mean", trend.series[i], &TPoint::mean, &text);
    text += '}';
  }
  return text + "}}";
}

}  // namespace panel
