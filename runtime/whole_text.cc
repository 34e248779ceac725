#include "runtime/whole_text.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <utility>

#include "runtime/expressions/machine.h"
#include "runtime/expressions/vocabulary.h"
#include "runtime/platform/regular_file.h"
#include "runtime/text_block.h"

namespace runtime {

namespace {

constexpr std::size_t kMaximumDepth = 16;               // of texts that include one another, and of loops
constexpr std::uint64_t kMaximumRepetitions = 100'000;  // of all loops together
constexpr std::int64_t kLargestBound = 1'000'000'000;

using TSource = std::shared_ptr<const CSource>;
using TCount = std::pair<std::string, std::int64_t>;  // what a loop counts, and where it is

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsWord(char c) { return IsLetter(c) || (c >= '0' && c <= '9'); }

// The pieces of a text that a loop looks at, one after another: the words, the
// texts in braces, strings' ends. What stands in comments is passed over.
class CWordScan {
 public:
  enum EKind { kEnd, kWord, kBraces };

  CWordScan(std::string_view theText, std::uint32_t from, std::uint32_t theEnd)
      : text(theText), at(from), end(theEnd) {}

  EKind Next() {
    while (at < end) {
      const std::string_view rest = text.substr(at, end - at);
      if (!inString && rest.starts_with("//")) {
        at += static_cast<std::uint32_t>(std::min(rest.find('\n'), rest.size()));
      } else if (!inString && rest.starts_with("/*")) {
        at += static_cast<std::uint32_t>(std::min(rest.find("*/", 2), rest.size() - 2) + 2);
      } else if (inString && rest[0] == '\\') {
        at += 2;
      } else if (rest[0] == '"') {
        inString = !inString;
        ++at;
      } else if (rest[0] == '{') {
        return Take(kBraces, std::min(rest.find('}'), rest.size() - 1) + 1);
      } else if (!inString && IsWord(rest[0])) {
        std::size_t length = 1;
        while (length < rest.size() && IsWord(rest[length])) ++length;
        return Take(kWord, length);
      } else {
        ++at;
      }
    }
    return kEnd;
  }

  std::uint32_t Begin() const { return begin; }
  std::string_view Text() const { return text.substr(begin, at - begin); }

 private:
  EKind Take(EKind kind, std::size_t length) {
    begin = at;
    at += static_cast<std::uint32_t>(length);
    return kind;
  }

  std::string_view text;
  std::uint32_t at;
  std::uint32_t end;
  std::uint32_t begin = 0;
  bool inString = false;
};

class CWholeText {
 public:
  explicit CWholeText(TApplicationState& theApplication) : application(theApplication) {}

  void Make();

 private:
  void ReadBlocks(const TSource& text, bool repeats);
  void ReadConstants(CLexer& lexer);
  void ReadLoop(const TSource& text, CLexer& lexer);
  void ReadInclude(CLexer& lexer);
  bool IsTaken(const TLexeme& keyword);
  void ReadBlocksOf(const std::string& keyword, const std::string& path);
  void PassBlock(const TSource& text, CLexer& lexer, const TLexeme& keyword, bool repeats) const;
  void Append(const TSource& text, std::uint32_t begin, std::uint32_t end);
  TSource Repeated(const TSource& text, std::uint32_t begin, std::uint32_t end, const TCount& count) const;
  const std::string* Replacement(std::string_view target) const;
  void ReplaceEntries();
  void ReplaceEntry(const std::string& target, const std::string& value);
  // Of a value from outside, `TARGET=VALUE`.
  void Complain(const std::string& target, const std::string& value, const std::string& error);

  TApplicationState& application;
  CSource::CAssembly whole;
  TSource failedIn;               // the innermost text that something is wrong in
  std::vector<std::string> open;  // the texts being read, one in another
  std::vector<TCount> counts;     // of the loops around
  std::uint64_t repetitions = 0;
  std::string chosen;  // the keyword of the only blocks taken; empty: all are
  std::size_t chosenBlocks = 0;
  bool isChanged = false;  // the whole isn't the file's text
};

void CWholeText::Complain(const std::string& target, const std::string& value, const std::string& error) {
  TDiagnostic diagnostic;
  diagnostic.message.append(target).append("=").append(value).append(": ").append(Translated(error));
  application.diagnostics->push_back(std::move(diagnostic));
}

const std::string* CWholeText::Replacement(std::string_view target) const {
  const std::string* found = nullptr;
  for (const auto& [name, value] : application.options.initialValues) {
    if (name == target) found = &value;
  }
  return found;
}

void CWholeText::Make() {
  const std::string_view text = application.source.Text();
  application.source.SetNumbers(&application.numbers);
  const bool mayChange = !application.options.blockFiles.empty() || text.find("end_for") != std::string_view::npos ||
                         text.find("include") != std::string_view::npos;
  if (mayChange || text.find("end_constants") != std::string_view::npos) {
    const auto file = std::make_shared<const CSource>(application.source);
    open.push_back(file->Path());
    try {
      ReadBlocks(file, false);
      for (const auto& [keyword, path] : application.options.blockFiles) ReadBlocksOf(keyword, path);
    } catch (const TTextError& error) {
      TDiagnostic diagnostic;
      diagnostic.message = Translated(error.message);
      if (failedIn) diagnostic = MakeDiagnostic(*failedIn, TDiagnostic::kError, error.offset, diagnostic.message);
      application.diagnostics->push_back(std::move(diagnostic));
      return;
    }
    if (isChanged) {
      application.source = whole.Take();
      application.source.SetNumbers(&application.numbers);
    }
  }
  ReplaceEntries();
}

void CWholeText::Append(const TSource& text, std::uint32_t begin, std::uint32_t end) {
  whole.Append(text, begin, end);
  if (whole.Size() > kMaximumSourceSize) throw TTextError{begin, "the text is longer than 64 MiB as a whole"};
}

// What fails is told with the place in the innermost text that it stands in.
void CWholeText::ReadBlocks(const TSource& text, bool repeats) {
  CLexer lexer(*text);
  try {
    while (lexer.Peek().kind != ELexeme::kEnd) {
      const std::uint32_t begin = lexer.Peek().offset;
      const TLexeme keyword = lexer.Next();
      if (keyword.Is("constants") && chosen.empty()) {
        ReadConstants(lexer);
        Append(text, begin, lexer.Offset());
      } else if (keyword.Is("for")) {
        ReadLoop(text, lexer);
      } else if (keyword.Is("include")) {
        ReadInclude(lexer);
      } else {
        PassBlock(text, lexer, keyword, repeats);
        if (IsTaken(keyword)) Append(text, begin, lexer.Offset());
      }
      whole.Replace(text, lexer.Offset(), "\n");
    }
  } catch (const TTextError&) {
    if (failedIn == nullptr) failedIn = text;
    throw;
  }
}

// Whether a block stands in the whole: others' blocks may take the place of the text's.
bool CWholeText::IsTaken(const TLexeme& keyword) {
  const auto& files = application.options.blockFiles;
  const bool isReplaced =
      std::any_of(files.begin(), files.end(), [&](const auto& row) { return keyword.Is(row.first); });
  isChanged = isChanged || isReplaced;
  if (chosen.empty()) return !isReplaced;
  if (keyword.Is(chosen)) ++chosenBlocks;
  return keyword.Is(chosen);
}

void CWholeText::ReadBlocksOf(const std::string& keyword, const std::string& path) {
  CSource source;
  std::string error;
  if (!IsRegularFile(path, &error)) throw TTextError{0, path + ": " + error};
  if (!CSource::Load(path, &source, &error)) throw TTextError{0, error};
  source.SetNumbers(&application.numbers);
  application.includedFiles.insert(path);
  open.push_back(path);
  chosen = keyword;
  chosenBlocks = 0;
  ReadBlocks(std::make_shared<const CSource>(std::move(source)), false);
  chosen.clear();
  open.pop_back();
  if (chosenBlocks == 0) throw TTextError{0, path + ": there is no block '" + keyword + "' in it"};
}

// Each reads those before it alone.
void CWholeText::ReadConstants(CLexer& lexer) {
  const CDataElements none;
  const std::uint32_t header = lexer.LastOffset();
  while (!lexer.TakeIf("end_constants")) {
    const TLexeme name = lexer.ExpectIdentifier("the name of a constant or end_constants");
    const std::string spelling(name.text);
    if (IsBlockKeyword(name.text) && !lexer.Peek().Is("=")) FailOpen(header, "end_constants", name);
    if (IsReservedName(name.text)) throw TTextError{name.offset, "'" + spelling + "' has a meaning of its own"};
    lexer.Expect("=");
    const std::uint32_t place = lexer.Peek().offset;
    const TExpression expression = application.expressions.Compile(lexer, none, EType::kReal);
    if (!expression->isConstant) throw TTextError{place, "a constant is made of numbers and earlier constants"};
    const TEvaluation evaluation = Evaluate(expression.get());
    if (evaluation.status != EEvalStatus::kOk) throw TTextError{place, std::string(EvalMessage(evaluation.status))};
    lexer.Expect(";");
    double value = evaluation.value;
    std::string error;
    if (const std::string* given = Replacement(spelling)) {
      if (!ReadValue(EType::kReal, *given, &value, &error)) Complain(spelling, *given, error);
    }
    if (!application.numbers.emplace(spelling, value).second) {
      throw TTextError{name.offset, "a second constant '" + spelling + "'"};
    }
  }
  lexer.Expect(";");
}

// Its end is found by words, since the text inside is none before it is repeated.
void CWholeText::ReadLoop(const TSource& text, CLexer& lexer) {
  const std::uint32_t header = lexer.LastOffset();
  const std::string name(lexer.ExpectIdentifier("the name of what a loop counts").text);
  if (counts.size() == kMaximumDepth) throw TTextError{header, "loops more than 16 deep"};
  if (application.numbers.contains(name))
    throw TTextError{lexer.LastOffset(), "a constant is named '" + name + "' too"};
  lexer.Expect("=");
  const std::int64_t first = lexer.ExpectInteger(-kLargestBound, kLargestBound);
  lexer.Expect("to");
  const std::int64_t last = lexer.ExpectInteger(-kLargestBound, kLargestBound);
  const std::uint32_t begin = lexer.Offset();
  CWordScan scan(text->Text(), begin, text->Size());
  std::uint32_t end = 0;
  for (int depth = 1; depth > 0;) {
    const CWordScan::EKind kind = scan.Next();
    if (kind == CWordScan::kEnd) throw TTextError{header, "this loop is not closed: expected end_for"};
    if (kind == CWordScan::kWord && scan.Text() == "for") ++depth;
    if (kind == CWordScan::kWord && scan.Text() == "end_for") --depth;
    end = scan.Begin();
  }
  for (std::int64_t value = first; value <= last; ++value) {
    if (++repetitions > kMaximumRepetitions) throw TTextError{header, "more than 100000 repetitions of loops"};
    counts.emplace_back(name, value);
    ReadBlocks(Repeated(text, begin, end, counts.back()), true);
    counts.pop_back();
  }
  isChanged = true;
  lexer.Seek(end);
  lexer.Expect("end_for");
  lexer.Expect(";");
}

// What `{NAME}`, `{NAME+N}` or `{NAME-N}` stands for; none for other texts.
std::optional<std::int64_t> CountIn(std::string_view braces, std::string_view name, std::int64_t value) {
  if (braces.size() < name.size() + 2 || braces.substr(1, name.size()) != name || braces.back() != '}') return {};
  const std::string_view rest = braces.substr(1 + name.size(), braces.size() - 2 - name.size());
  if (rest.empty()) return value;
  if ((rest[0] != '+' && rest[0] != '-') || rest.size() == 1 || rest.size() > 10) return {};
  std::int64_t number = 0;
  for (const char c : rest.substr(1)) {
    if (c < '0' || c > '9') return {};
    number = 10 * number + (c - '0');
  }
  return rest[0] == '+' ? value + number : value - number;
}

// A repetition: what the loop counts is a number in it.
TSource CWholeText::Repeated(const TSource& text, std::uint32_t begin, std::uint32_t end, const TCount& counted) const {
  const auto& [name, value] = counted;
  CSource::CAssembly made;
  CWordScan scan(text->Text(), begin, end);
  std::uint32_t from = begin;
  for (auto kind = scan.Next(); kind != CWordScan::kEnd; kind = scan.Next()) {
    const std::optional<std::int64_t> count = kind == CWordScan::kBraces ? CountIn(scan.Text(), name, value)
                                              : scan.Text() == name      ? std::optional(value)
                                                                         : std::nullopt;
    if (!count) continue;
    made.Append(text, from, scan.Begin());
    made.Replace(text, scan.Begin(), std::to_string(*count));
    from = scan.Begin() + static_cast<std::uint32_t>(scan.Text().size());
  }
  made.Append(text, from, end);
  CSource source = made.Take();
  source.SetNumbers(&application.numbers);
  return std::make_shared<const CSource>(std::move(source));
}

void CWholeText::ReadInclude(CLexer& lexer) {
  const std::string name = lexer.ExpectString();
  const std::uint32_t place = lexer.LastOffset();
  lexer.Expect(";");
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
    throw TTextError{place, "expected the name of a text in the same folder"};
  }
  const std::string path = (std::filesystem::path(application.options.folder) / name).string();
  if (std::find(open.begin(), open.end(), path) != open.end()) throw TTextError{place, "this text includes itself"};
  if (open.size() > kMaximumDepth) throw TTextError{place, "texts include one another more than 16 deep"};
  std::string error;
  CSource source;
  if (!IsRegularFile(path, &error)) throw TTextError{place, path + ": " + error};
  if (!CSource::Load(path, &source, &error)) throw TTextError{place, error};
  source.SetNumbers(&application.numbers);
  open.push_back(path);
  application.includedFiles.insert(path);
  TSource text = std::make_shared<const CSource>(std::move(source));
  for (const TCount& count : counts) text = Repeated(text, 0, text->Size(), count);
  ReadBlocks(text, !counts.empty());
  open.pop_back();
  isChanged = true;
}

// One that is none is left to who reads the whole.
void CWholeText::PassBlock(const TSource& text, CLexer& lexer, const TLexeme& keyword, bool repeats) const {
  const std::vector<CBlockReader*>& readers = application.options.blocks;
  const bool isBlock = IsBlockKeyword(keyword.text) || std::any_of(readers.begin(), readers.end(), [&](auto* reader) {
                         return keyword.Is(reader->Keyword());
                       });
  if (repeats && (keyword.Is("application") || keyword.Is("script"))) {
    throw TTextError{keyword.offset, std::string(keyword.text) + " can't stand in a loop"};
  }
  if (keyword.Is("script")) {
    SkipScript(lexer, text->Text(), keyword);
  } else if (isBlock) {
    SkipBlock(lexer, keyword.offset, "end_" + std::string(keyword.text));
  } else {
    lexer.Seek(text->Size());
  }
}

// --- What the command line replaces -------------------------------------------------

void CWholeText::ReplaceEntries() {
  for (const auto& [target, value] : application.options.initialValues) {
    if (target.find('.') == std::string::npos) continue;
    try {
      ReplaceEntry(target, value);
    } catch (const TTextError& error) {
      Complain(target, value, error.message);
    }
  }
}

// INSTRUMENT.KEYWORD or INSTRUMENT.BLOCK.KEYWORD.
void CWholeText::ReplaceEntry(const std::string& target, const std::string& value) {
  const auto fail = [](std::string message) { throw TTextError{0, std::move(message)}; };
  const std::size_t first = target.find('.');
  const std::size_t last = target.rfind('.');
  const std::string instrument = target.substr(0, first);
  const std::string block = first == last ? "" : target.substr(first + 1, last - first - 1);
  const std::string keyword = target.substr(last + 1);

  CSource given;
  std::string error;
  if (!CSource::FromBytes(target, value, &given, &error)) fail("this is no text");
  CLexer words(given);
  if (words.Peek().kind == ELexeme::kEnd) fail("expected a value");
  while (words.Peek().kind != ELexeme::kEnd) {
    if (words.Next().Is(";")) fail("expected one value");
  }

  const auto text = std::make_shared<const CSource>(application.source);
  CLexer lexer(*text);
  std::optional<TEntryPlace> found;
  bool exists = false;
  while (lexer.Peek().kind == ELexeme::kIdentifier) {
    const TLexeme header = lexer.Next();
    if (header.Is("script")) {
      SkipScript(lexer, text->Text(), header);
      continue;
    }
    if (!header.Is("instrument")) {
      SkipBlock(lexer, header.offset, "end_" + std::string(header.text));
      continue;
    }
    lexer.Skip();
    const bool isIt = lexer.Next().Is(instrument);
    const TTextBlock definition = SkipBlock(lexer, header.offset, "end_instrument");
    if (!isIt) continue;
    exists = true;
    for (TEntryPlace& entry : EntriesOf(*text, definition.begin, definition.end)) {
      if (entry.keyword != keyword || (first != last && entry.block != block)) continue;
      if (found && found->block != entry.block) fail("stands in several blocks: INSTRUMENT.BLOCK." + keyword);
      found = std::move(entry);
    }
  }
  if (!exists) fail("there is no instrument '" + instrument + "'");
  if (!found) fail("its definition has no '" + keyword + "'" + (block.empty() ? "" : " in '" + block + "'"));
  if (!found->hasValue) fail("'" + keyword + "' takes no value");
  CSource::CAssembly made;
  made.Append(text, 0, found->begin);
  made.Replace(text, found->begin, value);
  made.Append(text, found->end, text->Size());
  application.source = made.Take();
  application.source.SetNumbers(&application.numbers);
}

}  // namespace

void MakeTextWhole(TApplicationState& application) { CWholeText(application).Make(); }

}  // namespace runtime
