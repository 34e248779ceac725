// Data elements: the named values that processes, expressions, instruments and
// scripts share.
#ifndef LOOPBOX_RUNTIME_EXPRESSIONS_DATA_ELEMENTS_H
#define LOOPBOX_RUNTIME_EXPRESSIONS_DATA_ELEMENTS_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/expressions/open_index.h"
#include "runtime/text/lexer.h"

namespace runtime {

enum class EType : std::uint8_t { kReal, kBoolean, kInteger };

const char* TypeName(EType type);  // as written: "real", "boolean", "integer"
// Bytes of one value: double, std::uint8_t, std::int32_t.
std::size_t TypeSize(EType type);

constexpr std::uint32_t kMaximumArrayCount = 1'000'000;
constexpr std::size_t kMaximumNameLength = 63;
constexpr std::size_t kMaximumUnitLength = 255;                   // bytes; it stands beside many numbers
constexpr std::size_t kMaximumDataSize = std::size_t{256} << 20;  // bytes, all elements together

// Truncation toward zero; out of range the nearest end, NaN 0.
std::int32_t TruncateToInteger(double value);

// Reads a value of a type: a finite number, of integers a whole one of 32 bits,
// of booleans `true`, `false`, 1 or 0. False when it is none, with what was expected.
bool ReadValue(EType type, std::string_view text, double* value, std::string* error);
// What a type expects in place of a value that it can't hold; null: it can.
const char* ProblemOfValue(EType type, double value);

struct TDataElement {
  std::string name;
  EType type = EType::kReal;
  bool isArray = false;
  bool writtenByProcess = false;
  bool isOutput = false;    // of an instrument
  std::uint32_t count = 1;  // of an array its length
  std::string unit;
  std::uint32_t mark = 0;  // where it is declared
  // `count` values of the type. The address stays for the life of the container.
  void* values = nullptr;

  double* Reals() const { return static_cast<double*>(values); }
  std::uint8_t* Booleans() const { return static_cast<std::uint8_t*>(values); }
  std::int32_t* Integers() const { return static_cast<std::int32_t*>(values); }
};

class CDataElements {
 public:
  CDataElements() = default;
  CDataElements(const CDataElements&) = delete;
  CDataElements& operator=(const CDataElements&) = delete;

  // Adds an element whose values are zero: a single one for count 0, else an
  // array. Throws TTextError at `mark` when the name is taken, reserved or too
  // long, or when there is no room. Yields its index.
  std::int32_t Declare(std::string_view name, EType type, std::uint32_t arrayCount, std::string unit,
                       std::uint32_t mark);
  std::int32_t Find(std::string_view name) const;  // -1: none
  // NAME of a single element or NAME[INDEX] of an array's, among the first
  // `count`. False when there is none, with what is wrong.
  bool FindItem(std::string_view target, std::int32_t count, std::int32_t* element, std::uint32_t* index,
                std::string* error) const;
  // What a person may have meant by a name that no element has, for the end of a
  // message: "; did you mean 'x'?", or nothing.
  std::string MeantBy(std::string_view name) const;
  std::int32_t Count() const { return static_cast<std::int32_t>(places.size()); }
  bool Has(std::uint32_t element) const { return element < places.size(); }
  // In order of declaration.
  const TDataElement& operator[](std::int32_t element) const { return elements[static_cast<std::size_t>(element)]; }
  void SetWrittenByProcess(std::int32_t element) {
    elements[static_cast<std::size_t>(element)].writtenByProcess = true;
  }
  void SetOutput(std::int32_t element) { elements[static_cast<std::size_t>(element)].isOutput = true; }
  void SetUnit(std::int32_t element, std::string unit) {
    elements[static_cast<std::size_t>(element)].unit = std::move(unit);
  }

  // `index` is below the element's count. Booleans are 0 and 1; a boolean set
  // from a number is true unless it is 0 or NaN, an integer as
  // TruncateToInteger says.
  std::uint32_t CountOf(std::int32_t element) const { return places[static_cast<std::size_t>(element)].count; }
  double AsDouble(std::int32_t element, std::uint32_t index) const;
  const void* Place(std::int32_t element, std::uint32_t index) const;
  void SetFromDouble(std::int32_t element, std::uint32_t index, double value) {
    const TElementPlace& place = places[static_cast<std::size_t>(element)];
    if (place.type == EType::kReal) {
      static_cast<double*>(place.values)[index] = value;
    } else if (place.type == EType::kBoolean) {
      static_cast<std::uint8_t*>(place.values)[index] = value != 0 && value == value ? 1 : 0;
    } else {
      static_cast<std::int32_t*>(place.values)[index] = TruncateToInteger(value);
    }
  }

  // The bytes of all values, and to bring them back while there are the same elements.
  std::vector<std::byte> Values() const;
  void SetValues(const std::vector<std::byte>& values);

 private:
  // What a write needs to know of an element.
  struct TElementPlace {
    void* values;
    std::uint32_t count;
    EType type;
  };

  void* Allocate(std::size_t size, std::size_t alignment);

  std::deque<TDataElement> elements;
  std::vector<TElementPlace> places;  // of each
  COpenIndex byName;
  // Values lie in order of declaration in blocks that never move.
  std::vector<std::unique_ptr<std::byte[]>> blocks;
  std::size_t blockUsed = 0;
  std::size_t blockSize = 0;
  std::size_t dataSize = 0;
};

// Reads a block from behind its keyword `data` through `end_data;`. An entry is
//   NAME : TYPE[COUNT] = VALUE "UNIT";
// with count, value and unit each optional. The value of an array is one for
// all its elements or a list [V, V, …] of exactly COUNT.
void ReadDataBlock(CLexer& lexer, CDataElements& elements);

}  // namespace runtime

#endif
