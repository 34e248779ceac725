#include "runtime/text/phrases.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace runtime {
namespace {

constexpr char kCount = 'n';
constexpr std::size_t kHoleSize = 3;  // "{1}"
constexpr std::size_t kShortestPlural = 4;
constexpr std::string_view kColon = ": ";

bool IsWordPart(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

bool IsHole(std::string_view text, std::size_t at) {
  constexpr std::string_view kNames = "123456789abcdefn";
  return at + kHoleSize <= text.size() && text[at] == '{' && text[at + 2] == '}' &&
         kNames.find(text[at + 1]) != std::string_view::npos;
}

// For each byte 1 where it stands between quotes. An apostrophe is none: what a ' opens
// follows no letter, and what closes it is before none.
std::string QuotedIn(std::string_view text) {
  std::string quoted(text.size(), 0);
  bool closes = true;  // whether there may be a closing ' further on
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    std::size_t end = std::string_view::npos;
    if (c == '"') {
      end = text.find('"', at + 1);
    } else if (c == '\'' && closes && (at == 0 || !IsWordPart(text[at - 1]))) {
      end = at + 1;
      do {
        end = text.find('\'', end + (end == at + 1 ? 0 : 1));
      } while (end != std::string_view::npos && end + 1 < text.size() && IsWordPart(text[end + 1]));
      closes = end != std::string_view::npos;
    }
    if (end == std::string_view::npos) continue;
    std::fill(quoted.begin() + static_cast<std::ptrdiff_t>(at) + 1, quoted.begin() + static_cast<std::ptrdiff_t>(end),
              1);
    at = end;
  }
  return quoted;
}

std::vector<std::string_view> FormsOf(std::string_view said) {
  std::vector<std::string_view> forms;
  for (;;) {
    const std::size_t end = said.find('|');
    forms.push_back(said.substr(0, end));
    if (end == std::string_view::npos) return forms;
    said.remove_prefix(end + 1);
  }
}

std::size_t FormOf(std::string_view digits) {
  if (digits.size() != 1 || digits[0] == '0' || digits[0] > '4') return 2;
  return digits[0] == '1' ? 0 : 1;
}

// Where the s of the plural stands behind {n}; npos: there is none.
std::size_t PluralOf(std::string_view phrase) {
  std::size_t begin = phrase.find("{n}");
  if (begin == std::string_view::npos) return begin;
  for (begin += kHoleSize; begin < phrase.size();) {
    std::size_t end = begin;
    while (end < phrase.size() && IsWordPart(phrase[end])) ++end;
    if (end - begin >= kShortestPlural && phrase[end - 1] == 's') return end - 1;
    begin = end + 1;
  }
  return std::string_view::npos;
}

}  // namespace

const char* PhraseProblem(std::string_view phrase, std::string_view said) {
  bool behindHole = false;
  for (std::size_t at = 0; at < phrase.size(); ++at) {
    const bool isHole = IsHole(phrase, at);
    if (isHole && behindHole) return "two holes without a word between";
    behindHole = isHole;
    if (isHole) at += kHoleSize - 1;
  }
  for (std::size_t at = 0; at < said.size(); ++at) {
    if (IsHole(said, at) && phrase.find(said.substr(at, kHoleSize)) == std::string_view::npos) {
      return "a hole that the phrase has not";
    }
  }
  const std::size_t forms = phrase.find("{n}") == std::string_view::npos ? 1 : FormsOf(said).size();
  return forms == 1 || forms == 3 ? nullptr : "expected one form, or three";
}

CPhrases::CPhrases(TMessageTable theTable) : table(std::move(theTable)) {
  for (const auto& [phrase, said] : table) {
    Add(phrase, said);
    const std::size_t plural = PluralOf(phrase);
    if (plural != std::string::npos) Add(std::string(phrase).erase(plural, 1), said);
  }
  const auto letters = [](const TPhrase& phrase) {
    return std::accumulate(phrase.words.begin(), phrase.words.end(), std::size_t{0},
                           [](std::size_t sum, const std::string& words) { return sum + words.size(); });
  };
  std::stable_sort(phrases.begin(), phrases.end(),
                   [&](const TPhrase& one, const TPhrase& other) { return letters(one) > letters(other); });
  for (std::size_t i = 0; i < phrases.size(); ++i) {
    const std::string& first = phrases[i].words[0];
    (first.size() < kPrefix ? others : byPrefix[first.substr(0, kPrefix)]).push_back(i);
  }
}

void CPhrases::Add(const std::string& phrase, const std::string& said) {
  const std::string quoted = QuotedIn(phrase);
  TPhrase read{{""}, {false}, {}, &said};
  for (std::size_t at = 0; at < phrase.size(); ++at) {
    if (IsHole(phrase, at)) {
      read.holes.push_back({phrase[at + 1], quoted[at] != 0});
      at += kHoleSize - 1;
      read.words.emplace_back();
      read.wordsQuoted.push_back(at + 1 < phrase.size() && quoted[at + 1] != 0);
    } else {
      read.words.back() += phrase[at];
    }
  }
  if (!read.holes.empty()) phrases.push_back(std::move(read));
}

const std::string* CPhrases::Find(std::string_view text) const {
  const auto found = table.find(text);
  return found == table.end() ? nullptr : &found->second;
}

bool CPhrases::Match(const TPhrase& phrase, std::string_view text, std::string_view quoted, TCaught* caught) {
  const std::string& last = phrase.words.back();
  if (!text.starts_with(phrase.words[0]) || !text.ends_with(last)) return false;
  caught->clear();
  std::size_t begin = phrase.words[0].size();
  for (std::size_t i = 0; i < phrase.holes.size(); ++i) {
    const auto& [name, isQuoted] = phrase.holes[i];
    const std::size_t least = begin + (isQuoted ? 0 : 1);
    const std::string& words = phrase.words[i + 1];
    const auto isThere = [&](std::size_t at) {
      return at == text.size() || (quoted[at] != 0) == phrase.wordsQuoted[i + 1];
    };
    std::size_t end = text.size() - last.size();
    if (i + 1 == phrase.holes.size()) {
      if (end < least || !isThere(end)) return false;
    } else {
      end = text.find(words, least);
      while (end != std::string_view::npos && !isThere(end)) end = text.find(words, end + 1);
      if (end == std::string_view::npos) return false;
    }
    const std::string_view hole = text.substr(begin, end - begin);
    if (name == kCount && hole.find_first_not_of("0123456789") != std::string_view::npos) return false;
    caught->push_back(hole);
    begin = end + words.size();
  }
  return begin <= text.size();
}

std::string CPhrases::Said(const TPhrase& phrase, const TCaught& caught, int depth) const {
  std::string_view form = *phrase.said;
  const auto holeOf = [&](char name) {
    return static_cast<std::size_t>(std::find_if(phrase.holes.begin(), phrase.holes.end(),
                                                 [name](const THole& hole) { return hole.name == name; }) -
                                    phrase.holes.begin());
  };
  if (const std::size_t count = holeOf(kCount); count < phrase.holes.size()) {
    const std::vector<std::string_view> forms = FormsOf(form);
    form = forms[forms.size() == 1 ? 0 : FormOf(caught[count])];
  }
  std::string text;
  for (std::size_t at = 0; at < form.size(); ++at) {
    if (!IsHole(form, at)) {
      text += form[at];
      continue;
    }
    const std::size_t hole = holeOf(form[at + 1]);
    const bool isOwn = phrase.holes[hole].quoted || std::isalpha(form[at + 1]) != 0;
    text += isOwn ? std::string(caught[hole]) : Translated(std::string(caught[hole]), depth - 1);
    at += kHoleSize - 1;
  }
  return text;
}

const CPhrases::TPhrase* CPhrases::FindPhrase(std::string_view text, std::string_view quoted, TCaught* caught) const {
  static const std::vector<std::size_t> none;
  const auto found = byPrefix.find(std::string(text.substr(0, kPrefix)));
  const std::vector<std::size_t>& begun = found == byPrefix.end() ? none : found->second;
  auto one = begun.begin();
  auto other = others.begin();
  while (one != begun.end() || other != others.end()) {
    const bool isOne = other == others.end() || (one != begun.end() && *one < *other);
    const TPhrase& phrase = phrases[isOne ? *one++ : *other++];
    if (Match(phrase, text, quoted, caught)) return &phrase;
  }
  return nullptr;
}

std::string CPhrases::Translated(std::string text, int depth) const {
  const std::string quoted = phrases.empty() || depth == 0 ? "" : QuotedIn(text);
  int tails = quoted.empty() ? 0 : kDeepest;
  for (std::size_t at = 0;;) {
    const std::string_view tail = std::string_view(text).substr(at);
    if (const std::string* said = Find(tail)) return text.replace(at, std::string::npos, *said);
    TCaught caught;
    if (tails > 0 && at < quoted.size() && quoted[at] == 0) {
      --tails;
      if (const TPhrase* phrase = FindPhrase(tail, std::string_view(quoted).substr(at), &caught)) {
        const std::string said = Said(*phrase, caught, depth);
        return text.replace(at, std::string::npos, said);
      }
    }
    const std::size_t colon = text.find(kColon, at);
    if (colon == std::string::npos) return text;
    at = colon + kColon.size();
  }
}

}  // namespace runtime
