#include "workbench/run/record_head.h"

#include <filesystem>
#include <stdexcept>

namespace workbench {
namespace {

constexpr int kSchema = 1;
constexpr double kMostPeriods = 0x1p53;

using TNumbers = TRecordHead::TNumbers;

json::CValue NumbersValue(const TNumbers& numbers) {
  json::CValue value = json::CValue::Object();
  for (const auto& [name, number] : numbers) value.Add(name, number ? json::CValue(*number) : json::CValue());
  return value;
}

// Members of a text that may be anything: what is no such member throws its name.
class CMembers {
 public:
  explicit CMembers(json::CValue theValue) : value(std::move(theValue)) {}

  json::CValue Whole(const std::string& name) const { return value.Member(name); }
  std::string Text(const std::string& name) const {
    const auto text = value.Member(name).String();
    if (!text) throw std::runtime_error(name);
    return *text;
  }
  double Number(const std::string& name) const {
    const auto number = value.Member(name).Number();
    if (!number) throw std::runtime_error(name);
    return *number;
  }
  std::uint64_t Count(const std::string& name) const {
    const double number = Number(name);
    if (!(number >= 0.0 && number < kMostPeriods)) throw std::runtime_error(name);
    return static_cast<std::uint64_t>(number);
  }
  std::vector<std::string> Texts(const std::string& name) const {
    std::vector<std::string> texts;
    for (const json::CValue& element : value.Member(name).Elements()) {
      const auto text = element.String();
      if (!text) throw std::runtime_error(name);
      texts.push_back(*text);
    }
    return texts;
  }
  TNumbers Numbers(const std::string& name) const {
    TNumbers numbers;
    const json::CValue member = value.Member(name);
    for (const std::string& key : member.Names()) numbers.emplace_back(key, member.Member(key).Number());
    return numbers;
  }
  // Names of files that stay in their folder.
  std::vector<std::string> Names(const std::string& name) const {
    std::vector<std::string> names = Texts(name);
    for (const std::string& file : names) CheckName(name, file);
    return names;
  }
  static void CheckName(const std::string& member, const std::string& file) {
    const std::filesystem::path path = file;
    bool stays = !file.empty() && path.is_relative();
    for (const auto& part : path) stays = stays && part != ".." && part != ".";
    if (!stays) throw std::runtime_error(member);
  }

 private:
  json::CValue value;
};

}  // namespace

json::CValue TRecordHead::Value() const {
  json::CValue assigned = json::CValue::Array();
  for (const auto& [name, value] : set) assigned.Append(json::CValue::ArrayOf(std::vector{name, value}));
  json::CValue gaps = json::CValue::Array();
  for (const auto& [first, last] : leftOut) gaps.Append(json::CValue::ArrayOf(std::vector{first, last}));
  json::CValue began = json::CValue::Array();
  for (const TBegun& one : begun) {
    began.Append({{"connection", one.connection}, {"period", one.period}, {"found", NumbersValue(one.found)}});
  }
  return {{"schema", kSchema},
          {"program", program},
          {"plugin", {{"file", plugin}, {"sha256", pluginHash}}},
          {"application", application},
          {"texts", json::CValue::ArrayOf(texts)},
          {"connections", connections.empty() ? json::CValue() : json::CValue(connections)},
          {"files", json::CValue::ArrayOf(files)},
          {"period", period},
          {"duration", duration},
          {"set", assigned},
          {"seed", std::to_string(seed)},
          {"connected", json::CValue::ArrayOf(connected)},
          {"losses", json::CValue::ArrayOf(losses)},
          {"input", NumbersValue(input)},
          {"begun", began},
          {"periods", periods ? json::CValue(*periods) : json::CValue()},
          {"left_out", gaps}};
}

bool TRecordHead::Parse(const std::string& text, TRecordHead* head, std::string* error) {
  const auto parsed = json::CValue::Parse(text);
  if (!parsed) {
    *error = "this is no JSON";
    return false;
  }
  const CMembers members(*parsed);
  try {
    if (members.Number("schema") != kSchema) {
      *error = "its schema is none that this program knows";
      return false;
    }
    head->program = members.Text("program");
    const CMembers plugin(members.Whole("plugin"));
    head->plugin = plugin.Text("file");
    head->pluginHash = plugin.Text("sha256");
    head->application = members.Text("application");
    CMembers::CheckName("application", head->application);
    head->texts = members.Names("texts");
    if (!members.Whole("connections").IsNull()) {
      head->connections = members.Text("connections");
      CMembers::CheckName("connections", head->connections);
    }
    head->files = members.Names("files");
    head->period = members.Number("period");
    head->duration = members.Number("duration");
    for (const json::CValue& pair : members.Whole("set").Elements()) {
      const std::vector<json::CValue> both = pair.Elements();
      if (both.size() != 2 || !both[0].String() || !both[1].String()) throw std::runtime_error("set");
      head->set.emplace_back(*both[0].String(), *both[1].String());
    }
    const std::string seed = members.Text("seed");
    std::size_t used = 0;
    head->seed = std::stoull(seed, &used);
    if (used != seed.size()) throw std::runtime_error("seed");
    head->connected = members.Texts("connected");
    head->losses = members.Texts("losses");
    head->input = members.Numbers("input");
    for (const json::CValue& one : members.Whole("begun").Elements()) {
      const CMembers begun(one);
      head->begun.push_back({begun.Text("connection"), begun.Count("period"), begun.Numbers("found")});
    }
    if (!members.Whole("periods").IsNull()) head->periods = members.Count("periods");
    return true;
  } catch (const std::logic_error&) {
    *error = "seed is missing or wrong";
  } catch (const std::runtime_error& member) {
    *error = std::string(member.what()) + " is missing or wrong";
  }
  return false;
}

}  // namespace workbench
