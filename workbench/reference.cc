#include "workbench/reference.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::size_t kLongestColumn = 63;  // of a trace
constexpr std::size_t kMostColumns = 64;    // of a class

bool Unsigned(const std::string& text, std::size_t* value) {
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return status == std::errc() && end == text.data() + text.size();
}

// The whole of a regular file of at most so many bytes; a pipe isn't waited for.
bool ReadWhole(const std::string& path, std::size_t most, std::string* text, std::string* problem) {
  const auto fail = [problem](const std::string& why) {
    *problem = why;
    return false;
  };
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(descriptor < 0 ? nullptr : fdopen(descriptor, "rb"),
                                                             std::fclose);
  if (!file) return fail(std::strerror(errno));
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return fail("it is no regular file");
  char buffer[4096];
  while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, file.get())) {
    text->append(buffer, count);
    if (text->size() > most) return fail("it is longer than 1 MiB, with what it includes");
  }
  return std::ferror(file.get()) == 0 || fail(std::strerror(errno));
}

// By the letters behind its name; a procedure without letters has none.
std::size_t ArgumentCount(const std::string& procedure) {
  const std::size_t underscores = procedure.find("__");
  return underscores == std::string::npos ? 0 : procedure.size() - underscores - 2;
}

// Numbers are compared as such, so that 1 and 1.0 are the same.
bool SameValue(const std::string& left, const std::string& right) {
  if (left == right) return true;
  char* leftEnd = nullptr;
  char* rightEnd = nullptr;
  const double leftNumber = std::strtod(left.c_str(), &leftEnd);
  const double rightNumber = std::strtod(right.c_str(), &rightEnd);
  return !left.empty() && !right.empty() && *leftEnd == 0 && *rightEnd == 0 && leftNumber == rightNumber;
}

TPlaceOfKeyword PlaceOf(std::string_view name) {
  TPlaceOfKeyword place;
  if (const std::size_t dot = name.find('.'); dot != std::string_view::npos) {
    place.block = name.substr(0, dot);
    name.remove_prefix(dot + 1);
  }
  place.keyword = name;
  return place;
}

bool ReadTerm(std::string_view text, TTerm* term) {
  const std::size_t equal = text.find('=');
  std::string_view name = text;
  term->test = TTerm::kGiven;
  if (equal != std::string_view::npos) {
    const bool unequal = equal > 0 && text[equal - 1] == '!';
    term->test = unequal ? TTerm::kUnequal : TTerm::kEqual;
    term->value = Trim(text.substr(equal + 1));
    name = text.substr(0, unequal ? equal - 1 : equal);
    if (term->value.empty()) return false;
  } else if (text.starts_with('!')) {
    term->test = TTerm::kNotGiven;
    name.remove_prefix(1);
  }
  term->asked = PlaceOf(Trim(name));
  return !term->asked.keyword.empty();
}

bool ReadNumber(const std::string& text, std::optional<double>* value) {
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value->emplace());
  return status == std::errc() && end == text.data() + text.size();
}

// "above LOW", "from LOW", each with "to HIGH" or without, or nothing.
bool ReadRange(const std::string& text, panel::TParameter* parameter) {
  if (text.empty()) return true;
  const std::vector<std::string> word = Split(text, ' ');
  parameter->isOpenLow = word[0] == "above";
  if ((!parameter->isOpenLow && word[0] != "from") || (word.size() != 2 && word.size() != 4)) return false;
  if (!ReadNumber(word[1], &parameter->low)) return false;
  return word.size() == 2 || (word[2] == "to" && ReadNumber(word[3], &parameter->high));
}

// The last entry is the one that counts.
const runtime::TDefinitionEntry* Find(const std::vector<runtime::TDefinitionEntry>& definition,
                                      const TPlaceOfKeyword& asked) {
  for (auto entry = definition.rbegin(); entry != definition.rend(); ++entry) {
    if (entry->keyword == asked.keyword && (asked.block.empty() || entry->block == asked.block)) return &*entry;
  }
  return nullptr;
}

}  // namespace

bool CReference::Load(const std::string& path, CReference* reference, std::string* error) {
  constexpr std::size_t kLongest = 1 << 20;
  CReference read;
  std::size_t room = kLongest;
  if (!read.AddFile(path, false, &room, error)) return false;
  *reference = std::move(read);
  return true;
}

bool CReference::AddFile(const std::string& path, bool isIncluded, std::size_t* room, std::string* error) {
  constexpr std::string_view kInclude = "include ";
  std::string text;
  std::string problem;
  if (!ReadWhole(path, *room, &text, &problem)) {
    *error = path + ": the reference of the class can't be read: " + problem;
    return false;
  }
  *room -= text.size();
  files.push_back(path);
  std::string section;
  std::size_t number = 0;
  for (const std::string& line : Split(text, '\n')) {
    ++number;
    if (line.empty() || line.front() == '#') continue;
    std::string message;
    if (line.front() != '[' || line.back() != ']') {
      if (AddLine(section, line, &message)) continue;
    } else {
      section = Trim(std::string_view(line).substr(1, line.size() - 2));
      if (!section.starts_with(kInclude)) continue;
      if (!isIncluded) {
        const std::string name = section.substr(kInclude.size());
        const std::filesystem::path included = std::filesystem::path(path).parent_path() / name;
        if (name.find('/') == std::string::npos) {
          if (!AddFile(included.string(), true, room, error)) return false;
          continue;
        }
        message = "a file that is included stands in the same folder";
      } else {
        message = "a file that is included includes no other";
      }
    }
    error->assign(path).append(":").append(std::to_string(number)).append(": ").append(message);
    return false;
  }
  return true;
}

bool CReference::AddLine(const std::string& section, std::string_view line, std::string* error) {
  if (section == "remarks") {
    remarks.emplace_back(line);
    return true;
  }
  if (section == "events") return AddMeaning(line, &events, error);
  if (section == "procedures") return AddMeaning(line, &procedures, error);
  if (section == "notes") return AddNote(line, error);
  if (section == "state") return AddState(line, error);
  if (section == "settings") return AddSetting(line, error);
  if (section == "set") return AddParameter(line, error);
  if (section == "band") return AddBand(line, error);
  if (section == "learning") return AddLearning(line, error);
  return AddKeyword(section, line, error);
}

bool CReference::AddKeyword(const std::string& section, std::string_view line, std::string* error) {
  std::vector<std::string> field = Split(line, '|', 6);
  if (field.size() != 6 || field[0].empty()) {
    *error = "expected keyword | type | default | range | example entry | meaning";
    return false;
  }
  keywords.push_back({section, std::move(field[0]), std::move(field[1]), std::move(field[2]), std::move(field[3]),
                      std::move(field[4]), std::move(field[5])});
  return true;
}

bool CReference::AddMeaning(std::string_view line, std::vector<TMeaning>* meanings, std::string* error) {
  std::vector<std::string> field = Split(line, '|', 2);
  if (field.size() != 2 || field[0].empty() || field[1].empty()) {
    *error = "expected a name | its meaning";
    return false;
  }
  meanings->push_back({std::move(field[0]), std::move(field[1])});
  return true;
}

bool CReference::AddNote(std::string_view line, std::string* error) {
  std::vector<std::string> field = Split(line, '|', 3);
  if (field.size() != 3 || (field[0] != "note" && field[0] != "warning") || field[2].empty()) {
    *error = "expected note or warning | condition | text";
    return false;
  }
  TNote note{field[0] == "warning", {}, std::move(field[2])};
  if (!field[1].empty()) {
    for (const std::string& text : Split(field[1], '&')) {
      TTerm term;
      if (!ReadTerm(text, &term)) {
        *error = "expected keyword, !keyword, keyword = value or keyword != value, found \"" + text + "\"";
        return false;
      }
      note.condition.push_back(std::move(term));
    }
  }
  notes.push_back(std::move(note));
  return true;
}

bool CReference::AddState(std::string_view line, std::string* error) {
  runtime::TStateColumn column;
  if (!ReadColumn(Split(line, '|'), &column, error)) return false;
  if (state.size() >= kMostColumns) {
    *error = "more than 64 state columns";
    return false;
  }
  state.push_back(std::move(column));
  return true;
}

bool CReference::AddSetting(std::string_view line, std::string* error) {
  std::vector<std::string> field = Split(line, '|');
  TSettingColumn setting;
  if (field.size() == 6) {
    setting.words = Split(field[5], ',');
    field.pop_back();
  }
  if (!ReadColumn(field, &setting.column, error)) return false;
  const std::string& procedure = setting.column.procedure;
  setting.isTruth = procedure[procedure.size() - setting.column.argumentCount + setting.column.argument] == 'l';
  settings.push_back(std::move(setting));
  return true;
}

bool CReference::ReadColumn(const std::vector<std::string>& field, runtime::TStateColumn* read, std::string* error) {
  runtime::TStateColumn column;
  if (field.size() != 5 || field[0].empty() || field[1].empty() || !Unsigned(field[2], &column.argument) ||
      !Unsigned(field[3], &column.argumentCount) || column.argument >= column.argumentCount ||
      (field[4] != "+" && field[4] != "-")) {
    *error = "expected column | procedure | argument index | argument count | + or -";
    return false;
  }
  if (column.argumentCount != ArgumentCount(field[1])) {
    *error = field[1] + " has " + Count(ArgumentCount(field[1]), "argument") + ", found " + field[3];
    return false;
  }
  const bool isName = std::all_of(field[0].begin(), field[0].end(), [](unsigned char letter) {
    return letter == '_' || (letter < 0x80 && std::isalnum(letter) != 0);
  });
  if (!isName || field[0].size() > kLongestColumn) {
    *error = "expected a column of at most 63 letters, digits and _, found \"" + field[0] + "\"";
    return false;
  }
  column.name = field[0];
  column.procedure = field[1];
  column.negate = field[4] == "-";
  *read = std::move(column);
  return true;
}

bool CReference::AddParameter(std::string_view line, std::string* error) {
  const std::vector<std::string> field = Split(line, '|');
  panel::TParameter parameter;
  if (field.size() != 6 || field[0].empty() || field[1].empty() || !Unsigned(field[3], &parameter.argument) ||
      !Unsigned(field[4], &parameter.arguments) || parameter.argument >= parameter.arguments ||
      !ReadRange(field[5], &parameter)) {
    *error =
        "expected name | reading procedure | setting procedure | argument index | argument count | above or from LOW "
        "to HIGH";
    return false;
  }
  for (const std::string& procedure : {field[1], field[2]}) {
    if (ArgumentCount(procedure) == parameter.arguments) continue;
    *error = procedure + " has " + Count(ArgumentCount(procedure), "argument") + ", found " + field[4];
    return false;
  }
  parameter.name = field[0];
  parameter.reads = field[1];
  parameter.sets = field[2];
  set.push_back(std::move(parameter));
  return true;
}

bool CReference::AddBand(std::string_view line, std::string* error) {
  const std::vector<std::string> field = Split(line, '|');
  if (field.size() != 2 || (field[0] != "plus" && field[0] != "minus") || field[1].empty()) {
    *error = "expected plus or minus | procedure";
    return false;
  }
  if (ArgumentCount(field[1]) != 1) {
    *error = "expected a procedure of one argument, found " + field[1];
    return false;
  }
  (field[0] == "plus" ? band.plus : band.minus) = field[1];
  return true;
}

bool CReference::AddLearning(std::string_view line, std::string* error) {
  const std::vector<std::string> field = Split(line, '|');
  const bool isWhile = field.size() == 2 && field[0] == "while" && ArgumentCount(field[1]) == 1;
  const bool isAlways = field.size() == 2 && field[0] == "always" && ArgumentCount(field[1]) == 2;
  if (!isWhile && !isAlways) {
    *error = "expected while | procedure of one argument, or always | procedure of two";
    return false;
  }
  (isWhile ? learning.whileTrue : learning.always) = field[1];
  return true;
}

std::string_view CReference::Default(const TPlaceOfKeyword& asked) const {
  for (const TKeyword& keyword : keywords) {
    if (keyword.keyword != asked.keyword) continue;
    const std::vector<std::string> blocks = Split(keyword.section, ' ');  // a section may serve several
    if (asked.block.empty() || std::find(blocks.begin(), blocks.end(), asked.block) != blocks.end())
      return keyword.defaultValue;
  }
  return {};
}

std::string CReference::ValueOf(const TPlaceOfKeyword& asked, const runtime::TDefinitionEntry* entry) const {
  std::string value(entry != nullptr ? Trim(entry->value) : Default(asked));
  return entry != nullptr && value.empty() ? "true" : value;  // `keyword;` switches on
}

std::vector<TFinding> CReference::Findings(const std::vector<runtime::TDefinitionEntry>& definition) const {
  std::vector<TFinding> findings;
  for (const TNote& note : notes) {
    bool holds = true;
    // The place is that of the last keyword whose being given is asked for,
    // else of the last one that was given.
    std::optional<std::uint32_t> askedFor;
    std::optional<std::uint32_t> compared;
    for (const TTerm& term : note.condition) {
      const runtime::TDefinitionEntry* entry = Find(definition, term.asked);
      if (term.test == TTerm::kGiven || term.test == TTerm::kNotGiven) {
        holds = (entry != nullptr) == (term.test == TTerm::kGiven);
        if (entry != nullptr) askedFor = entry->offset;
      } else {
        const TPlaceOfKeyword other = PlaceOf(term.value);
        std::string wanted = other.block.empty() ? "" : ValueOf(other, Find(definition, other));
        if (wanted.empty()) wanted = term.value;
        holds = SameValue(ValueOf(term.asked, entry), wanted) == (term.test == TTerm::kEqual);
        if (entry != nullptr) compared = entry->offset;
      }
      if (!holds) break;
    }
    if (holds) findings.push_back({&note, askedFor ? askedFor : compared});
  }
  return findings;
}

}  // namespace workbench
