#include "panel/server/request.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>

#include "json/json.h"

namespace panel {
namespace {

// Decide and RefusalOfHead catch it.
struct TRefused {
  int status;
  std::string why;
};
[[noreturn]] void Refuse(int status, std::string why) { throw TRefused{status, std::move(why)}; }

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

// The one value of a header; null where it isn't there.
const std::string* HeaderOf(const TRequest& request, std::string_view name) {
  const std::string* found = nullptr;
  for (const auto& [header, value] : request.headers) {
    if (LowerCase(header) != name) continue;
    if (found != nullptr) Refuse(400, "the header " + std::string(name) + " is given twice");
    found = &value;
  }
  return found;
}

template <typename TNumber>
std::optional<TNumber> NumberOf(std::string_view text) {
  TNumber number{};
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// With what is written as %XX.
std::string Decoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%') {
      std::uint8_t byte = 0;
      const char* const begin = text.data() + i + 1;
      if (i + 2 >= text.size() || std::from_chars(begin, begin + 2, byte, 16).ptr != begin + 2) {
        Refuse(400, "the address is malformed");
      }
      c = static_cast<char>(byte);
      i += 2;
    }
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) Refuse(400, "the address is malformed");
    decoded += c;
  }
  return decoded;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (std::size_t begin = 0;;) {
    const std::size_t end = text.find(separator, begin);
    parts.push_back(text.substr(begin, end - begin));
    if (end == std::string_view::npos) return parts;
    begin = end + 1;
  }
}

// What stands behind "?": each of its names is taken once, and none is left.
class CQuery {
 public:
  explicit CQuery(std::string_view text) {
    if (text.empty()) return;
    for (const std::string_view part : Split(text, '&')) {
      const std::size_t equal = part.find('=');
      if (equal == std::string_view::npos) Refuse(400, "the address is malformed");
      entries.emplace_back(Decoded(part.substr(0, equal)), Decoded(part.substr(equal + 1)));
    }
  }

  std::optional<std::string> Take(std::string_view name) {
    const auto found =
        std::find_if(entries.begin(), entries.end(), [name](const auto& entry) { return entry.first == name; });
    if (found == entries.end()) return std::nullopt;
    std::string value = std::move(found->second);
    entries.erase(found);
    return value;
  }

  template <typename TNumber>
  TNumber Take(std::string_view name, TNumber low, TNumber high, TNumber unsaid) {
    const std::optional<std::string> text = Take(name);
    if (!text) return unsaid;
    const std::optional<TNumber> number = NumberOf<TNumber>(*text);
    // What is no number is in no range.
    if (!number || !(*number >= low && *number <= high)) {
      Refuse(400, "what stands for " + std::string(name) + " is no number in its range");
    }
    return *number;
  }

  void End() const {
    if (!entries.empty()) Refuse(400, "the address has an unknown or doubled " + entries.front().first);
  }

 private:
  std::vector<std::pair<std::string, std::string>> entries;
};

// A JSON object: each of its members is taken once, and none is left.
class CBody {
 public:
  explicit CBody(std::string_view text) {
    const std::optional<json::CValue> parsed = json::CValue::ParseUnambiguous(text);
    if (!parsed || !parsed->IsObject()) Refuse(400, "the body is no JSON object");
    object = *parsed;
    left = object.Names();
  }

  std::string Text(const char* name) { return Expect(name, Take(name).String()); }
  bool Truth(const char* name) { return Expect(name, Take(name).Truth()); }
  double Number(const char* name) { return Expect(name, Take(name).Number()); }
  // A truth is 0 or 1.
  double NumberOrTruth(const char* name) {
    const json::CValue value = Take(name);
    if (const std::optional<bool> truth = value.Truth()) return *truth ? 1.0 : 0.0;
    return Expect(name, value.Number());
  }
  json::CValue Object(const char* name) { return ExpectThat(name, Take(name), &json::CValue::IsObject); }
  json::CValue Array(const char* name) { return ExpectThat(name, Take(name), &json::CValue::IsArray); }

  void End() const {
    if (!left.empty()) Refuse(400, "the body has an unknown member " + left.front());
  }

  template <typename TValue>
  static TValue Expect(const std::string& name, const std::optional<TValue>& value) {
    if (!value) Refuse(400, "the body lacks " + name + ", or it is of another type");
    return *value;
  }

 private:
  json::CValue Take(const char* name) {
    left.erase(std::remove(left.begin(), left.end(), name), left.end());
    return object.Member(name);
  }
  static json::CValue ExpectThat(const char* name, json::CValue value, bool (json::CValue::*isSuch)() const) {
    return Expect(name, (value.*isSuch)() ? std::optional<json::CValue>(std::move(value)) : std::nullopt);
  }

  json::CValue object;
  std::vector<std::string> left;
};

[[noreturn]] void RefuseUnknown(const std::string& name) { Refuse(404, "there is no " + name); }

std::size_t PlaceOf(const std::vector<std::string>& names, const std::string& name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) RefuseUnknown(name);
  return static_cast<std::size_t>(found - names.begin());
}

// What an operator may do, in the order of the definition.
const TNames::TAllowed& OperatorAt(const TNames& names, TOperator::EKind kind, const std::string& name,
                                   TCommand* command) {
  for (std::size_t i = 0; i < names.operators.size(); ++i) {
    const TNames::TAllowed& known = names.operators[i];
    if (known.kind != kind || (kind == TOperator::kParameters ? known.instrument : known.name) != name) continue;
    command->thing = static_cast<std::uint32_t>(i);
    return known;
  }
  RefuseUnknown(name);
}

void AddValue(TCommand* command, double value) { command->values[command->valueCount++] = value; }

std::string Shown(double value) {
  char text[32];
  return {text, std::to_chars(text, std::end(text), value).ptr};
}

void ReadSet(CBody& body, const TNames& names, TCommand* command) {
  const TNames::TAllowed& set = OperatorAt(names, TOperator::kElement, body.Text("thing"), command);
  const double value = body.NumberOrTruth("value");
  if (set.range && !(value >= set.range->first && value <= set.range->second)) {
    Refuse(409, Shown(value) + " is not from " + Shown(set.range->first) + " to " + Shown(set.range->second));
  }
  AddValue(command, value);
}

void ReadParameters(CBody& body, const TNames& names, TCommand* command) {
  const TNames::TAllowed& set = OperatorAt(names, TOperator::kParameters, body.Text("instrument"), command);
  const json::CValue values = body.Object("values");
  // Members are told apart by their names, so that as many as there are names are these.
  if (values.Names().size() != set.values.size()) Refuse(400, "parameters are set as a whole");
  for (const std::string& name : set.values) AddValue(command, CBody::Expect(name, values.Member(name).Number()));
}

void ReadTakeBack(CBody& body, const TNames& names, TCommand* command) {
  OperatorAt(names, TOperator::kParameters, body.Text("instrument"), command);
}

void ReadCall(CBody& body, const TNames& names, TCommand* command) {
  const TNames::TAllowed& call = OperatorAt(names, TOperator::kProcedure, body.Text("thing"), command);
  const std::vector<json::CValue> arguments = body.Array("arguments").Elements();
  if (arguments.size() != call.arguments) {
    Refuse(400, "the procedure takes " + std::to_string(call.arguments) + " arguments");
  }
  for (const json::CValue& argument : arguments) AddValue(command, CBody::Expect("arguments", argument.Number()));
}

void ReadAlarm(CBody& body, const TNames& names, TCommand* command) {
  command->thing = static_cast<std::uint32_t>(PlaceOf(names.alarms, body.Text("alarm")));
}

void ReadShelf(CBody& body, const TNames& names, TCommand* command) {
  ReadAlarm(body, names, command);
  const double seconds = body.Number("seconds");
  if (!(seconds > 0.0 && seconds <= kLongestShelf)) Refuse(409, "an alarm is shelved for up to 604800 seconds");
  AddValue(command, seconds);
}

void ReadService(CBody& body, const TNames& names, TCommand* command) {
  ReadAlarm(body, names, command);
  AddValue(command, body.Truth("out") ? 1.0 : 0.0);
}

void ReadPlant(CBody&, const TNames& names, TCommand*) {
  if (!names.isPlant) Refuse(409, "this run drives no plant");
}

constexpr struct {
  std::string_view path;
  EDeed deed;
  void (*read)(CBody& body, const TNames& names, TCommand* command);
} kCommands[] = {
    {"/set", EDeed::kSet, ReadSet},
    {"/parameters", EDeed::kParameters, ReadParameters},
    {"/take-back", EDeed::kTakeBack, ReadTakeBack},
    {"/call", EDeed::kCall, ReadCall},
    {"/acknowledge", EDeed::kAcknowledge, ReadAlarm},
    {"/shelve", EDeed::kShelve, ReadShelf},
    {"/unshelve", EDeed::kUnshelve, ReadAlarm},
    {"/service", EDeed::kService, ReadService},
    {"/stop", EDeed::kStop, ReadPlant},
    {"/release", EDeed::kRelease, ReadPlant},
    {"/unlatch", EDeed::kUnlatch, ReadPlant},
};

constexpr std::string_view kFiles = "/page/";
constexpr std::string_view kPictures = "/pane/";

void ReadHistory(CQuery& query, TAsked* asked) {
  constexpr double kEver = std::numeric_limits<double>::max();
  const std::string items = query.Take("items").value_or("");
  for (const std::string_view item : Split(items, ',')) asked->items.emplace_back(item);
  if (asked->items.size() > kMostItems) Refuse(400, "too many items are asked for at once");
  for (const std::string& item : asked->items) {
    if (std::count(asked->items.begin(), asked->items.end(), item) > 1) Refuse(400, "an item is asked for twice");
  }
  asked->from = query.Take("from", -kEver, kEver, 0.0);
  asked->to = query.Take("to", -kEver, kEver, 0.0);
  asked->points = query.Take<std::size_t>("points", 1, kMostPoints, 500);
}

void ReadPicture(std::string_view file, CQuery& query, const TNames& names, TAsked* asked) {
  const std::size_t dot = file.rfind('.');
  const std::string_view format = dot == std::string_view::npos ? "" : file.substr(dot);
  if (format != ".svg" && format != ".png") RefuseUnknown(Decoded(file));
  asked->format = format == ".svg" ? EPicture::kSvg : EPicture::kPng;
  asked->instrument = PlaceOf(names.instruments, Decoded(file.substr(0, dot)));
  asked->width = query.Take("width", 16, kLargestPicture, 0);
  asked->height = query.Take("height", 16, kLargestPicture, 0);
}

void ReadJournal(CQuery& query, TAsked* asked) {
  constexpr std::uint64_t kLast = std::numeric_limits<std::uint64_t>::max();
  const std::uint64_t before = query.Take<std::uint64_t>("before", 0, kLast, kLast);
  if (before != kLast) asked->before = before;
  asked->count = query.Take<std::size_t>("count", 1, kMostLines, 100);
}

// Of a request with a header by whose token it may be asked.
constexpr struct {
  std::string_view path;
  TAsked::EWhat what;
} kAnswers[] = {
    {"/model", TAsked::kModel},
    {"/stream", TAsked::kStream},
    {"/history", TAsked::kHistory},
    {"/journal", TAsked::kJournal},
};

// The parts of a request's target, and what they ask for.
struct TTarget {
  std::string_view path;
  std::string_view query;
  TAsked::EWhat what = TAsked::kFile;
  const decltype(&kCommands[0]) command = nullptr;
};

TTarget TargetOf(const TRequest& request) {
  const std::string_view text = request.target;
  if (text.size() > kLongestTarget || !text.starts_with('/') ||
      !std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7F; })) {
    Refuse(400, "the address is malformed");
  }
  const std::size_t mark = text.find('?');
  const std::string_view path = text.substr(0, mark);
  const std::string_view query = mark == std::string_view::npos ? "" : text.substr(mark + 1);
  const auto isPath = [path](const auto& row) { return row.path == path; };
  if (const auto* const row = std::find_if(std::begin(kCommands), std::end(kCommands), isPath);
      row != std::end(kCommands)) {
    return {path, query, TAsked::kCommand, row};
  }
  if (const auto* const row = std::find_if(std::begin(kAnswers), std::end(kAnswers), isPath);
      row != std::end(kAnswers)) {
    return {path, query, row->what};
  }
  if (path.starts_with(kPictures)) return {path, query, TAsked::kPicture};
  if (path == "/" || path.starts_with(kFiles)) return {path, query, TAsked::kFile};
  RefuseUnknown("such page");
}

void CheckHost(const TRequest& request, const TGate& gate, const TGate::THost** host) {
  const std::string* const value = HeaderOf(request, "host");
  if (value == nullptr) Refuse(400, "the header host is missing");
  const std::string name = LowerCase(*value);
  const auto found =
      std::find_if(gate.hosts.begin(), gate.hosts.end(), [&name](const auto& known) { return known.host == name; });
  if (found == gate.hosts.end()) Refuse(421, "the panel isn't reached by this name; --panel-host gives it another");
  *host = &*found;
}

// Whether who asks may operate.
bool CheckToken(const TRequest& request, const TGate& gate) {
  const std::string* const token = HeaderOf(request, "loopbox-token");
  if (token == nullptr) Refuse(401, "a token is needed: open the link that the program printed");
  const bool sees = IsSameSecret(*token, gate.tokens.see);
  const bool operates = IsSameSecret(*token, gate.tokens.operate);
  if (!sees && !operates) Refuse(401, "the token is of another run: open the link that the program printed");
  return operates;
}

void CheckCommand(const TRequest& request, const TGate::THost& host) {
  const std::string* const origin = HeaderOf(request, "origin");
  if (origin == nullptr || std::find(host.origins.begin(), host.origins.end(), *origin) == host.origins.end()) {
    Refuse(403, "a command comes from the panel's own page");
  }
  const std::string* const type = HeaderOf(request, "content-type");
  const std::string given = type == nullptr ? "" : LowerCase(*type);
  if (given != "application/json" && given != "application/json; charset=utf-8") {
    Refuse(400, "a command is application/json");
  }
}

void CheckLength(const TRequest& request) {
  const std::string* const length = HeaderOf(request, "content-length");
  const std::optional<std::uint64_t> announced =
      length == nullptr ? std::optional<std::uint64_t>(0) : NumberOf<std::uint64_t>(*length);
  if (!announced) Refuse(400, "the header content-length is malformed");
  if (*announced > kLongestBody || request.isTooLong || request.body.size() > kLongestBody) {
    Refuse(413, "the body is longer than 4096 bytes");
  }
}

// `known` is what a refusal from there on says of the asker.
TTarget CheckHead(const TRequest& request, const TGate& gate, TRefusal* known) {
  const TGate::THost* host = nullptr;
  CheckHost(request, gate, &host);
  TTarget target = TargetOf(request);
  const bool isCommand = target.what == TAsked::kCommand;
  if (request.method != (isCommand ? "POST" : "GET")) Refuse(405, "this is asked for by another method");
  if (target.what != TAsked::kFile) known->mayOperate = CheckToken(request, gate);
  if (isCommand) {
    known->command = target.path;
    if (!known->mayOperate) Refuse(403, "this link is for seeing alone");
    CheckCommand(request, *host);
  }
  CheckLength(request);
  return target;
}

TAsked Ask(const TRequest& request, const TGate& gate, const TNames& names, TRefusal* known) {
  TAsked asked;
  const TTarget target = CheckHead(request, gate, known);
  asked.mayOperate = known->mayOperate;
  asked.what = target.what;
  CQuery query(target.query);
  switch (target.what) {
    case TAsked::kFile:
      asked.file = target.path == "/" ? "index.html" : Decoded(target.path.substr(kFiles.size()));
      break;
    case TAsked::kHistory:
      ReadHistory(query, &asked);
      break;
    case TAsked::kPicture:
      ReadPicture(target.path.substr(kPictures.size()), query, names, &asked);
      break;
    case TAsked::kJournal:
      ReadJournal(query, &asked);
      break;
    case TAsked::kCommand: {
      CBody body(request.body);
      asked.command.deed = target.command->deed;
      target.command->read(body, names, &asked.command);
      body.End();
      break;
    }
    case TAsked::kModel:
    case TAsked::kStream:
      break;
  }
  query.End();
  if (target.what != TAsked::kCommand && !request.body.empty()) Refuse(400, "only a command has a body");
  return asked;
}

}  // namespace

bool IsHost(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  std::string_view name = text;
  if (colon != std::string_view::npos && (!text.starts_with('[') || text[colon - 1] == ']')) {
    const std::optional<int> port = NumberOf<int>(text.substr(colon + 1));
    if (!port || *port < 1 || *port > 65535) return false;
    name = text.substr(0, colon);
  }
  const bool isAddress = name.size() > 2 && name.starts_with('[') && name.ends_with(']');
  if (isAddress) name = name.substr(1, name.size() - 2);
  return !name.empty() && std::all_of(name.begin(), name.end(), [isAddress](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           (isAddress && c == ':');
  });
}

TGate MakeGate(const std::vector<std::string>& addresses, int port, bool isSecure,
               const std::vector<std::string>& named, const TTokens& tokens) {
  TGate gate;
  gate.tokens = tokens;
  const std::string scheme = isSecure ? "https://" : "http://";
  const std::string withPort = ":" + std::to_string(port);
  const auto add = [&gate](const std::string& host, const std::vector<std::string>& schemes) {
    TGate::THost& known = gate.hosts.emplace_back(TGate::THost{host, {}});
    for (const std::string& each : schemes) known.origins.push_back(each + host);
  };
  for (const std::string& address : addresses) add(address + withPort, {scheme});
  add("localhost" + withPort, {scheme});
  // In front of the panel there may be somebody who is reached by the other scheme.
  const std::vector<std::string> both = {"http://", "https://"};
  for (const std::string& name : named) {
    const std::string host = LowerCase(name);
    const bool hasPort = host.rfind(':') != std::string::npos && host.back() != ']';
    add(host, both);
    if (!hasPort) add(host + withPort, both);
  }
  return gate;
}

std::optional<TRefusal> RefusalOfHead(const TRequest& request, const TGate& gate) {
  TRefusal known;
  try {
    CheckHead(request, gate, &known);
    return std::nullopt;
  } catch (const TRefused& refused) {
    known.status = refused.status;
    known.why = refused.why;
    return known;
  }
}

std::variant<TAsked, TRefusal> Decide(const TRequest& request, const TGate& gate, const TNames& names) {
  TRefusal known;
  try {
    return Ask(request, gate, names, &known);
  } catch (const TRefused& refused) {
    known.status = refused.status;
    known.why = refused.why;
    return known;
  }
}

}  // namespace panel
