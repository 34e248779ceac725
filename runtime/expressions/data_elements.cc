#include "runtime/expressions/data_elements.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

#include "runtime/expressions/vocabulary.h"
#include "runtime/text/near_names.h"

namespace runtime {
namespace {

struct TTypeRow {
  EType type;
  const char* name;
  std::size_t size;
};
constexpr TTypeRow kTypes[] = {
    {EType::kReal, "real", sizeof(double)},
    {EType::kBoolean, "boolean", sizeof(std::uint8_t)},
    {EType::kInteger, "integer", sizeof(std::int32_t)},
};

constexpr std::size_t kBlockSize = std::size_t{64} << 10;  // bytes

template <typename TNumber>
bool ParseWhole(std::string_view text, TNumber* number) {
  const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), *number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

std::uint32_t HashOf(std::string_view name) { return static_cast<std::uint32_t>(std::hash<std::string_view>()(name)); }

EType ReadType(CLexer& lexer) {
  for (const TTypeRow& row : kTypes) {
    if (lexer.TakeIf(row.name)) return row.type;
  }
  lexer.FailExpected("real, boolean or integer");
}

double ReadValue(CLexer& lexer, EType type) {
  switch (type) {
    case EType::kBoolean:
      return lexer.ExpectBoolean() ? 1 : 0;
    case EType::kInteger:
      return static_cast<double>(
          lexer.ExpectInteger(std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
    case EType::kReal:
      break;
  }
  return lexer.ExpectReal();
}

void ReadList(CLexer& lexer, CDataElements& elements, std::int32_t element) {
  const std::uint32_t start = lexer.LastOffset();
  const std::uint32_t count = elements[element].count;
  std::uint32_t found = 0;
  do {
    const double value = ReadValue(lexer, elements[element].type);
    if (found < count) elements.SetFromDouble(element, found, value);
    ++found;
  } while (lexer.TakeIf(","));
  lexer.Expect("]");
  if (found != count) {
    throw TTextError{start, "expected " + std::to_string(count) + " values, found " + std::to_string(found)};
  }
}

void ReadInitialValue(CLexer& lexer, CDataElements& elements, std::int32_t element) {
  if (elements[element].isArray && lexer.TakeIf("[")) {
    ReadList(lexer, elements, element);
    return;
  }
  const double value = ReadValue(lexer, elements[element].type);
  for (std::uint32_t i = 0; i < elements[element].count; ++i) elements.SetFromDouble(element, i, value);
}

void ReadEntry(CLexer& lexer, CDataElements& elements, std::uint32_t header) {
  const TLexeme name = lexer.ExpectIdentifier("a name or 'end_data'");
  if (IsBlockKeyword(name.text) && !lexer.Peek().Is(":")) FailOpen(header, "end_data", name);
  lexer.Expect(":");
  const EType type = ReadType(lexer);
  std::uint32_t arrayCount = 0;
  if (lexer.TakeIf("[")) {
    arrayCount = static_cast<std::uint32_t>(lexer.ExpectInteger(1, kMaximumArrayCount));
    lexer.Expect("]");
  }
  const std::int32_t element = elements.Declare(name.text, type, arrayCount, "", name.offset);
  if (lexer.TakeIf("=")) ReadInitialValue(lexer, elements, element);
  if (lexer.Peek().kind == ELexeme::kString) {
    const std::uint32_t place = lexer.Peek().offset;
    std::string unit = lexer.ExpectString();
    if (unit.size() > kMaximumUnitLength) throw TTextError{place, "unit longer than 255 bytes"};
    elements.SetUnit(element, std::move(unit));
  }
  lexer.Expect(";");
}

}  // namespace

const char* TypeName(EType type) { return kTypes[static_cast<std::size_t>(type)].name; }
std::size_t TypeSize(EType type) { return kTypes[static_cast<std::size_t>(type)].size; }

bool ReadValue(EType type, std::string_view text, double* value, std::string* error) {
  const bool isWord = text == "true" || text == "false";
  if (isWord) *value = text == "true" ? 1.0 : 0.0;
  if (isWord && type == EType::kBoolean) return true;
  if (isWord || !ParseWhole(text, value)) *value = std::numeric_limits<double>::quiet_NaN();
  const char* const problem = ProblemOfValue(type, *value);
  if (problem != nullptr) *error = problem;
  return problem == nullptr;
}

const char* ProblemOfValue(EType type, double value) {
  if (type == EType::kBoolean) return value == 0.0 || value == 1.0 ? nullptr : "expected true or false";
  if (!std::isfinite(value)) return "expected a number";
  return type != EType::kInteger || value == TruncateToInteger(value) ? nullptr : "expected a whole number of 32 bits";
}

std::int32_t TruncateToInteger(double value) {
  constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
  constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
  if (std::isnan(value)) return 0;
  if (value <= kLowest) return kLowest;
  if (value >= kHighest) return kHighest;
  return static_cast<std::int32_t>(value);
}

std::int32_t CDataElements::Declare(std::string_view name, EType type, std::uint32_t arrayCount, std::string unit,
                                    std::uint32_t mark) {
  if (name.size() > kMaximumNameLength) throw TTextError{mark, "name longer than 63 characters"};
  if (IsReservedName(name)) throw TTextError{mark, "'" + std::string(name) + "' is reserved"};
  if (Find(name) >= 0) throw TTextError{mark, "'" + std::string(name) + "' is already declared"};
  TDataElement element;
  element.name = name;
  element.type = type;
  element.isArray = arrayCount > 0;
  element.count = std::max<std::uint32_t>(arrayCount, 1);
  element.unit = std::move(unit);
  element.mark = mark;
  element.values = Allocate(element.count * TypeSize(type), TypeSize(type));
  if (element.values == nullptr) throw TTextError{mark, "data elements take more than 256 MiB"};
  places.push_back({element.values, element.count, element.type});
  elements.push_back(std::move(element));
  const std::int32_t index = Count() - 1;
  byName.Add(HashOf(name), index);
  return index;
}

bool CDataElements::FindItem(std::string_view target, std::int32_t count, std::int32_t* element, std::uint32_t* index,
                             std::string* error) const {
  *index = 0;
  const auto refuse = [error](const char* problem) {
    *error = problem;
    return false;
  };
  const std::size_t bracket = target.find('[');
  const bool indexed = bracket != std::string_view::npos;
  if (indexed &&
      (target.back() != ']' || !ParseWhole(target.substr(bracket + 1, target.size() - bracket - 2), index))) {
    return refuse("expected NAME or NAME[INDEX]");
  }
  *element = Find(target.substr(0, bracket));
  if (*element < 0 || *element >= count) return refuse("there is no such data element");
  const TDataElement& found = (*this)[*element];
  if (indexed != found.isArray) return refuse(found.isArray ? "an array needs an index" : "it is no array");
  return *index < found.count || refuse("the index is out of range");
}

std::int32_t CDataElements::Find(std::string_view name) const {
  return byName.Find(HashOf(name), [&](std::int32_t element) { return (*this)[element].name == name; });
}

std::string CDataElements::MeantBy(std::string_view name) const {
  CNearNames near(name);
  for (const TDataElement& element : elements) near.Offer(element.name);
  return near.Question();
}

void* CDataElements::Allocate(std::size_t size, std::size_t alignment) {
  std::size_t start = (blockUsed + alignment - 1) / alignment * alignment;
  if (start + size > blockSize) {
    const std::size_t newSize = std::max(size, kBlockSize);
    if (dataSize + newSize > kMaximumDataSize) return nullptr;
    blocks.push_back(std::make_unique<std::byte[]>(newSize));  // zero-filled
    dataSize += newSize;
    blockSize = newSize;
    start = 0;
  }
  blockUsed = start + size;
  return blocks.back().get() + start;
}

double CDataElements::AsDouble(std::int32_t element, std::uint32_t index) const {
  const TElementPlace& place = places[static_cast<std::size_t>(element)];
  switch (place.type) {
    case EType::kBoolean:
      return static_cast<const std::uint8_t*>(place.values)[index];
    case EType::kInteger:
      return static_cast<const std::int32_t*>(place.values)[index];
    case EType::kReal:
      break;
  }
  return static_cast<const double*>(place.values)[index];
}

std::vector<std::byte> CDataElements::Values() const {
  std::vector<std::byte> values;
  for (const TElementPlace& place : places) {
    const auto* const first = static_cast<const std::byte*>(place.values);
    values.insert(values.end(), first, first + place.count * TypeSize(place.type));
  }
  return values;
}

void CDataElements::SetValues(const std::vector<std::byte>& values) {
  const std::byte* next = values.data();
  for (const TElementPlace& place : places) {
    const std::size_t size = place.count * TypeSize(place.type);
    std::memcpy(place.values, next, size);
    next += size;
  }
}

const void* CDataElements::Place(std::int32_t element, std::uint32_t index) const {
  const TElementPlace& place = places[static_cast<std::size_t>(element)];
  return static_cast<const std::byte*>(place.values) + index * TypeSize(place.type);
}

void ReadDataBlock(CLexer& lexer, CDataElements& elements) {
  const std::uint32_t header = lexer.LastOffset();
  while (!lexer.TakeIf("end_data")) ReadEntry(lexer, elements, header);
  lexer.Expect(";");
}

}  // namespace runtime
