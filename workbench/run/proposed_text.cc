#include "workbench/run/proposed_text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

namespace workbench {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The words of a text, without blanks and comments.
class CWords {
 public:
  CWords(std::string_view theText, std::size_t from) : text(theText), next(from) { Take(); }

  std::string_view Word() const { return text.substr(begin, end - begin); }  // empty: the text is over
  bool Is(std::string_view spelling) const { return Word() == spelling; }
  std::size_t Begin() const { return begin; }
  std::size_t End() const { return end; }

  void Take() {
    SkipBlanks();
    begin = end = next;
    if (next == text.size()) return;
    const auto isOfName = [](unsigned char c) { return std::isalnum(c) || c == '_' || c >= 0x80; };
    if (text[next] == '"') {
      end = std::min(text.find('"', next + 1), text.size() - 1) + 1;
    } else if (isOfName(static_cast<unsigned char>(text[next]))) {
      while (end < text.size() && isOfName(static_cast<unsigned char>(text[end]))) ++end;
    } else {
      ++end;
    }
    next = end;
  }
  // Up to that word, or the end.
  void TakeUntil(std::string_view spelling) {
    while (!Word().empty() && !Is(spelling)) Take();
  }

 private:
  void SkipBlanks() {
    while (next < text.size()) {
      if (std::isspace(static_cast<unsigned char>(text[next]))) {
        ++next;
      } else if (text.substr(next).starts_with("//")) {
        next = std::min(text.find('\n', next), text.size());
      } else if (text.substr(next).starts_with("/*")) {
        const std::size_t closed = text.find("*/", next + 2);
        next = closed == std::string_view::npos ? text.size() : closed + 2;
      } else {
        return;
      }
    }
  }

  std::string_view text;
  std::size_t next;
  std::size_t begin = 0;
  std::size_t end = 0;
};

std::string NumberText(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", number);
  return text;
}

// Columns count code points.
std::size_t OffsetOf(std::string_view text, std::uint32_t line, std::uint32_t column) {
  std::size_t at = 0;
  for (; line > 1 && at < text.size(); --line) at = std::min(text.find('\n', at), text.size() - 1) + 1;
  if (at == 0 && text.starts_with(kByteOrderMark)) at = kByteOrderMark.size();
  for (; column > 1 && at < text.size(); --column) {
    do ++at;
    while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80);
  }
  return at;
}

class CProposedText {
 public:
  CProposedText(std::string theText, const TProposedEntries& theEntries)
      : text(std::move(theText)),
        entries(theEntries),
        wanted{{{"regulator_type", entries.law, false},
                {"param_1", NumberText(entries.r0), false},
                {"param_2", NumberText(entries.tI), false},
                {"param_3", NumberText(entries.tD), false}}} {}

  // False where the instrument's definition isn't what stands at that place.
  bool ChangeInstrument(const std::string& name, std::size_t place);
  void ChangePeriod();
  void AddScript(const std::string& instrument);
  std::string Text() &&;

 private:
  struct TWanted {
    std::string keyword;
    std::string value;
    bool isWritten;
  };
  void ChangeParameters(CWords& words);
  void Replace(std::size_t begin, std::size_t end, std::string by) { changes.push_back({begin, end, std::move(by)}); }
  // "name = value; …" of those that the text doesn't have.
  std::string Missing() const;

  struct TChange {
    std::size_t begin;
    std::size_t end;
    std::string by;
  };
  std::string text;
  const TProposedEntries& entries;
  std::vector<TWanted> wanted;
  std::vector<TChange> changes;  // none within another
};

std::string CProposedText::Missing() const {
  std::string missing;
  for (const TWanted& one : wanted) {
    if (!one.isWritten) missing += " " + one.keyword + " = " + one.value + ";";
  }
  return missing;
}

bool CProposedText::ChangeInstrument(const std::string& name, std::size_t place) {
  CWords words(text, place);
  if (!words.Is("instrument")) return false;
  words.Take();
  words.Take();
  if (!words.Is(name)) return false;
  bool hasParameters = false;
  words.Take();
  while (!words.Word().empty() && !words.Is("end_instrument")) {
    const std::string_view keyword = words.Word();
    const std::string close = "end_" + std::string(keyword);
    words.Take();
    if (keyword == "parameters") {
      hasParameters = true;
      ChangeParameters(words);
    } else if (keyword.ends_with("_section") || keyword == "colors") {
      words.TakeUntil(close);
    } else {
      words.TakeUntil(";");
    }
    words.TakeUntil(";");
    words.Take();
  }
  if (words.Word().empty()) return false;
  if (hasParameters) return true;
  const std::size_t lineBegin = text.find_last_of('\n', words.Begin()) + 1;
  const bool isAlone = text.find_first_not_of(" \t", lineBegin) == words.Begin();
  const std::size_t at = isAlone ? lineBegin : words.Begin();
  Replace(at, at, (isAlone ? "  parameters" : "parameters") + Missing() + " end_parameters;" + (isAlone ? "\n" : " "));
  return true;
}

// From behind the keyword up to the one that closes the block.
void CProposedText::ChangeParameters(CWords& words) {
  std::size_t last = words.Begin();  // behind which those that are missing go
  bool isFirst = true;
  while (!words.Word().empty() && !words.Is("end_parameters")) {
    const std::string keyword(words.Word());
    words.Take();
    words.Take();  // =
    const std::size_t begin = words.Begin();
    std::size_t end = begin;
    while (!words.Word().empty() && !words.Is(";")) {
      end = words.End();
      words.Take();
    }
    if (keyword == "adaptive") Replace(begin, end, "false");
    for (TWanted& one : wanted) {
      if (one.keyword != keyword) continue;
      one.isWritten = true;
      last = words.End();
      isFirst = false;
      Replace(begin, end, one.value);
    }
    words.Take();
  }
  std::string missing = Missing();
  if (missing.empty()) return;
  if (isFirst) missing = missing.substr(1) + " ";
  Replace(last, last, missing);
}

void CProposedText::ChangePeriod() {
  CWords words(text, text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
  while (!words.Word().empty() && !words.Is("application")) {
    // Lua has comments and texts of its own.
    if (words.Is("script")) {
      const std::size_t closed = text.find("end_script", words.End());
      words = CWords(text, std::min(closed, text.size()));
    }
    words.Take();
  }
  words.Take();
  std::size_t behindName = words.End();
  words.Take();
  while (!words.Word().empty() && !words.Is("end_application")) {
    const bool isPeriod = words.Is("period");
    words.Take();
    if (isPeriod) {
      words.Take();
      const std::size_t begin = words.Begin();
      std::size_t end = begin;
      for (; !words.Word().empty() && !words.Is(";"); words.Take()) end = words.End();
      return Replace(begin, end, NumberText(*entries.period));
    }
    words.TakeUntil(";");
    words.Take();
  }
  if (!words.Word().empty()) Replace(behindName, behindName, " period = " + NumberText(*entries.period) + ";");
}

void CProposedText::AddScript(const std::string& instrument) {
  Replace(text.size(), text.size(),
          std::string(text.ends_with('\n') ? "" : "\n") + "\nscript\n  at(0, function() " + instrument +
              ":SetDerivationDelay(" + NumberText(*entries.lag) + ") end)\nend_script;\n");
}

std::string CProposedText::Text() && {
  std::stable_sort(changes.begin(), changes.end(),
                   [](const TChange& one, const TChange& other) { return one.begin < other.begin; });
  std::string changed;
  std::size_t at = 0;
  for (const TChange& change : changes) {
    changed.append(text, at, change.begin - at).append(change.by);
    at = change.end;
  }
  return changed.append(text, at);
}

}  // namespace

std::optional<std::string> ProposedText(const runtime::CApplication& application,
                                        const runtime::CInstrumentHandle& instrument, const std::string& path,
                                        const TProposedEntries& entries, std::string* error) {
  const runtime::TDiagnostic place = application.At(instrument.Offset(), "");
  if (place.path != path) {
    *error = instrument.Name() + " stands in " + place.path + ", and only what stands in " + path + " is written anew";
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  CProposedText changed(bytes.str(), entries);
  if (!changed.ChangeInstrument(instrument.Name(), OffsetOf(bytes.str(), place.line, place.column))) {
    *error = path + ": the definition of " + instrument.Name() +
             " doesn't stand there as a whole, in UTF-8: write law and parameters into it by hand";
    return std::nullopt;
  }
  if (entries.period) changed.ChangePeriod();
  if (entries.lag) changed.AddScript(instrument.Name());
  return std::move(changed).Text();
}

}  // namespace workbench
