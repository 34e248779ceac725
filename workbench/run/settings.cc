#include "workbench/run/settings.h"

#include <cmath>

#include "workbench/text.h"

namespace workbench {

std::string TSetting::Text() const {
  return kind == kWord ? word : kind == kTruth ? (number != 0.0 ? "true" : "false") : Significant(number);
}

json::CValue TSetting::Value() const {
  if (kind == kWord) return word;
  return kind == kTruth ? json::CValue(number != 0.0) : json::CValue(number);
}

std::vector<TSetting> SettingsOf(const TRegulator& regulator) {
  std::vector<TSetting> settings;
  if (regulator.reference == nullptr) return settings;
  std::vector<runtime::TStateColumn> columns;
  for (const TSettingColumn& asked : regulator.reference->Settings()) columns.push_back(asked.column);
  std::vector<double> values;
  CStateReader(columns).Read(regulator.instrument, &values);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (std::isnan(values[i])) continue;
    const TSettingColumn& asked = regulator.reference->Settings()[i];
    TSetting setting = {columns[i].name, asked.isTruth ? TSetting::kTruth : TSetting::kNumber, values[i], ""};
    const double code = values[i];
    if (code >= 1.0 && code <= static_cast<double>(asked.words.size())) {
      setting.kind = TSetting::kWord;
      setting.word = asked.words[static_cast<std::size_t>(code) - 1];
    }
    settings.push_back(std::move(setting));
  }
  return settings;
}

}  // namespace workbench
