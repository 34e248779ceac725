#include "runtime/text/source.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "runtime/runtime.h"
#include "runtime/text/utf8.h"
#include "runtime/text/wide_text.h"

namespace runtime {
namespace {

constexpr std::uint32_t kIndexBlock = 4096;  // bytes for each entry of the index of places
constexpr std::size_t kWindow = 100;         // columns of a line that are shown

// Decodes up to the first ill-formed unit; false when there is one.
bool DecodeUtf16(std::string_view bytes, bool bigEndian, std::string* text) {
  const std::size_t count = bytes.size() / 2;
  const auto unit = [&](std::size_t i) -> char32_t {
    const auto first = static_cast<unsigned char>(bytes[2 * i]);
    const auto second = static_cast<unsigned char>(bytes[2 * i + 1]);
    return bigEndian ? static_cast<char32_t>(first << 8 | second) : static_cast<char32_t>(second << 8 | first);
  };
  text->reserve(bytes.size());
  for (std::size_t i = 0; i < count; ++i) {
    char32_t value = unit(i);
    if (IsLowSurrogate(value)) return false;
    if (IsHighSurrogate(value)) {
      if (i + 1 == count || !IsLowSurrogate(unit(i + 1))) return false;
      value = OfSurrogates(value, unit(++i));
    }
    AppendCodePoint(value, text);
  }
  return bytes.size() % 2 == 0;
}

std::string ErrorText(int code) { return std::generic_category().message(code); }

bool ReadFile(const std::string& path, std::string* bytes, std::string* problem) {
  std::error_code code;
  if (std::filesystem::is_directory(path, code)) {
    *problem = "is a directory";
    return false;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (!file) {
    *problem = "cannot be opened: " + ErrorText(errno);
    return false;
  }
  const std::uintmax_t size = std::filesystem::file_size(path, code);
  if (!code && size <= kMaximumSourceSize) bytes->reserve(static_cast<std::size_t>(size));
  constexpr std::size_t kChunk = 65536;
  const auto buffer = std::make_unique<char[]>(kChunk);
  while (const std::size_t count = std::fread(buffer.get(), 1, kChunk, file.get())) {
    bytes->append(buffer.get(), count);
    if (bytes->size() > kMaximumSourceSize) {
      *problem = "is longer than 64 MiB";
      return false;
    }
  }
  if (std::ferror(file.get()) != 0) {
    *problem = "cannot be read: " + ErrorText(errno);
    return false;
  }
  return true;
}

// Of what Printable replaces, all but line ends and tabs; kIllFormed too.
bool IsInvisible(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x061C || (c >= 0x200B && c <= 0x200F) ||
         (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0xFEFF || c == kIllFormed;
}

}  // namespace

bool CSource::Load(const std::string& path, CSource* source, std::string* error) {
  std::string bytes;
  std::string problem;
  if (!ReadFile(path, &bytes, &problem)) {
    *error = path + ": " + problem;
    return false;
  }
  return FromBytes(path, std::move(bytes), source, error);
}

bool CSource::FromBytes(const std::string& path, std::string bytes, CSource* source, std::string* error) {
  CSource result;
  result.path = path;
  const auto fail = [&](std::size_t offset, const char* message) {
    result.MakeIndex();
    const TPosition place = result.Locate(static_cast<std::uint32_t>(offset));
    *error = path + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) + ": " + message;
    return false;
  };
  if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) {
    if (!DecodeUtf16(std::string_view(bytes).substr(2), bytes[0] == '\xFE', &result.text)) {
      return fail(result.text.size(), "the file is no text: invalid UTF-16");
    }
  } else {
    if (bytes.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
    const std::size_t invalid = WellFormedLength(bytes);
    const bool isText = invalid == bytes.size();
    result.text = std::move(bytes);
    result.text.resize(invalid);
    if (!isText) return fail(invalid, "the file is no text: invalid UTF-8");
  }
  const std::size_t zero = result.text.find('\0');
  if (zero != std::string::npos) return fail(zero, "the file is no text: a zero character");
  if (result.text.size() > kMaximumSourceSize) {
    *error = path + ": is longer than 64 MiB";
    return false;
  }
  result.MakeIndex();
  *source = std::move(result);
  return true;
}

const double* CSource::Number(std::string_view name) const {
  if (numbers == nullptr) return nullptr;
  const auto found = numbers->find(name);
  return found == numbers->end() ? nullptr : &found->second;
}

std::size_t CSource::PieceAt(std::uint32_t offset) const {
  const auto after = std::upper_bound(pieces.begin(), pieces.end(), offset,
                                      [](std::uint32_t place, const TPiece& piece) { return place < piece.begin; });
  return after == pieces.begin() ? 0 : static_cast<std::size_t>(after - pieces.begin()) - 1;
}

// Pieces of pieces become pieces of what has places of its own.
void CSource::CAssembly::Append(const std::shared_ptr<const CSource>& from, std::uint32_t begin, std::uint32_t end) {
  const std::string_view whole = from->Text();
  if (from->pieces.empty()) return Add(from, begin, whole.substr(begin, end - begin), false);
  for (std::size_t i = from->PieceAt(begin); i < from->pieces.size() && from->pieces[i].begin < end; ++i) {
    const TPiece& piece = from->pieces[i];
    const std::uint32_t pieceEnd = i + 1 < from->pieces.size() ? from->pieces[i + 1].begin : from->Size();
    const std::uint32_t first = std::max(begin, piece.begin);
    const std::uint32_t last = std::min(end, pieceEnd);
    if (first >= last) continue;
    const std::uint32_t origin = piece.isReplacement ? piece.origin : piece.origin + (first - piece.begin);
    Add(piece.source, origin, whole.substr(first, last - first), piece.isReplacement);
  }
}

void CSource::CAssembly::Replace(const std::shared_ptr<const CSource>& from, std::uint32_t place,
                                 std::string_view added) {
  if (from->pieces.empty()) return Add(from, place, added, true);
  const TPiece& piece = from->pieces[from->PieceAt(place)];
  Add(piece.source, piece.isReplacement ? piece.origin : piece.origin + (place - piece.begin), added, true);
}

void CSource::CAssembly::Add(const std::shared_ptr<const CSource>& from, std::uint32_t origin, std::string_view added,
                             bool isReplacement) {
  if (added.empty()) return;
  made.pieces.push_back({made.Size(), origin, from, isReplacement});
  made.text += added;
}

void CSource::MakeIndex() {
  const std::string_view whole = text;
  blocks.resize(whole.size() / kIndexBlock + 1);
  TBlock next = {};
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    blocks[i] = next;
    const std::string_view bytes = whole.substr(i * kIndexBlock, kIndexBlock);
    next.lines += static_cast<std::uint32_t>(std::count(bytes.begin(), bytes.end(), '\n'));
    next.continuations += static_cast<std::uint32_t>(ContinuationCount(bytes));
    const std::size_t last = bytes.rfind('\n');
    if (last != std::string_view::npos) next.lineStart = static_cast<std::uint32_t>(i * kIndexBlock + last) + 1;
  }
  std::uint32_t end = Size();
  for (std::size_t i = blocks.size(); i-- > 0;) {
    const std::size_t first = whole.substr(i * kIndexBlock, kIndexBlock).find('\n');
    if (first != std::string_view::npos) end = static_cast<std::uint32_t>(i * kIndexBlock + first);
    blocks[i].lineEnd = end;
  }
}

std::uint32_t CSource::Continuations(std::uint32_t offset) const {
  const std::uint32_t block = offset / kIndexBlock;
  const std::uint32_t from = block * kIndexBlock;
  const std::size_t count = ContinuationCount(std::string_view(text).substr(from, offset - from));
  return blocks[block].continuations + static_cast<std::uint32_t>(count);
}

TPosition CSource::Locate(std::uint32_t offset) const {
  offset = std::min(offset, Size());
  if (!pieces.empty()) {
    const TPiece& piece = pieces[PieceAt(offset)];
    return piece.source->Locate(piece.isReplacement ? piece.origin : piece.origin + (offset - piece.begin));
  }
  const std::size_t block = offset / kIndexBlock;
  const std::size_t from = block * kIndexBlock;
  const std::string_view bytes = std::string_view(text).substr(from, kIndexBlock);
  const std::string_view before = bytes.substr(0, offset - from);
  const std::size_t last = before.rfind('\n');
  const std::size_t next = bytes.find('\n', before.size());
  const std::uint32_t start =
      last == std::string_view::npos ? blocks[block].lineStart : static_cast<std::uint32_t>(from + last) + 1;
  std::uint32_t end = next != std::string_view::npos ? static_cast<std::uint32_t>(from + next)
                      : block + 1 < blocks.size()    ? blocks[block + 1].lineEnd
                                                     : Size();
  if (end > start && text[end - 1] == '\r') --end;
  TPosition position;
  position.path = path;
  position.caret = offset - start;
  position.line = blocks[block].lines + static_cast<std::uint32_t>(std::count(before.begin(), before.end(), '\n')) + 1;
  position.column = offset - start - (Continuations(offset) - Continuations(start)) + 1;
  position.lineText = std::string_view(text).substr(start, end - start);
  return position;
}

TDiagnostic MakeDiagnostic(const CSource& source, TDiagnostic::EKind kind, std::uint32_t offset, std::string message) {
  const TPosition place = source.Locate(offset);
  TDiagnostic diagnostic;
  diagnostic.kind = kind;
  diagnostic.path = place.path;
  diagnostic.line = place.line;
  diagnostic.column = place.column;
  diagnostic.message = std::move(message);

  // The window: half before the place, the rest behind it.
  const std::string_view line = place.lineText;
  std::size_t caret = std::min(place.caret, line.size());
  while (caret > 0 && caret < line.size() && IsContinuation(line[caret])) --caret;
  std::size_t from = caret;
  std::size_t before = 0;
  for (; from > 0 && before < kWindow / 2; ++before) {
    do --from;
    while (from > 0 && IsContinuation(line[from]));
  }
  if (from > 0) {
    diagnostic.lineText = "…";
    diagnostic.caretText = " ";
  }
  std::size_t at = from;
  for (std::size_t column = 0; at < line.size() && column < kWindow; ++column) {
    const bool isBeforeCaret = at < caret;
    char32_t codePoint = NextCodePoint(line, &at);
    if (codePoint != '\t' && IsInvisible(codePoint)) codePoint = kReplacement;
    AppendCodePoint(codePoint, &diagnostic.lineText);
    if (isBeforeCaret) diagnostic.caretText += codePoint == '\t' ? '\t' : ' ';
  }
  if (at < line.size()) diagnostic.lineText += "…";
  diagnostic.caretText += '^';
  return diagnostic;
}

std::string Printable(std::string_view text) {
  std::string printable;
  std::size_t from = 0;  // of what stays
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = at;
    if (text[at] >= ' ' && text[at] < '\x7F') {
      ++at;
      continue;
    }
    const char32_t codePoint = NextCodePoint(text, &at);
    if (codePoint == '\n' || codePoint == '\t' || !IsInvisible(codePoint)) continue;
    AppendCodePoint(kReplacement, &printable.append(text, from, begin - from));
    from = at;
  }
  return printable.append(text, from);
}

std::string Format(const TDiagnostic& diagnostic) {
  if (diagnostic.line == 0) return Printable(diagnostic.message + "\n");
  std::string text = diagnostic.path + ":" + std::to_string(diagnostic.line) + ":" + std::to_string(diagnostic.column);
  text += ": ";
  if (diagnostic.kind == TDiagnostic::kWarning) text += Translated("warning") + ": ";
  return Printable(text + diagnostic.message + "\n" + diagnostic.lineText + "\n" + diagnostic.caretText + "\n");
}

}  // namespace runtime
