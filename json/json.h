// JSON: values, and their text. The library behind them takes its time to
// compile, and json.cc alone includes it.
//
//   json::CValue points;
//   points.Append(21.5);
//   const std::string text = json::CValue({{"name", "value"}, {"points", points}}).Text();
#ifndef LOOPBOX_JSON_JSON_H
#define LOOPBOX_JSON_JSON_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace json {

struct TMember;

// Owns all that is in it. Texts are UTF-8.
class CValue {
 public:
  CValue(std::nullptr_t = nullptr);  // null
  CValue(bool truth);
  CValue(int number) : CValue(std::int64_t{number}) {}
  CValue(std::int64_t number);
  CValue(std::uint64_t number);
  CValue(double number);  // null when it is not finite
  CValue(std::string_view text);
  CValue(const std::string& text) : CValue(std::string_view(text)) {}
  CValue(const char* text) : CValue(std::string_view(text)) {}
  CValue(std::initializer_list<TMember> members);  // an object

  CValue(const CValue& other);
  CValue(CValue&& other) noexcept;
  CValue& operator=(CValue other) noexcept;
  ~CValue();

  static CValue Array();
  static CValue Object();
  template <typename TList>
  static CValue ArrayOf(const TList& list) {
    CValue array = Array();
    for (const auto& element : list) array.Append(element);
    return array;
  }

  // Null becomes an array.
  void Append(CValue value);
  // Null becomes an object. Members stay in the order in which they were set
  // first.
  void Set(const std::string& name, CValue value);
  // The same for a name that an object doesn't have yet, which isn't looked for: it
  // may have many.
  void Add(const std::string& name, CValue value);

  // None where the text is no JSON.
  static std::optional<CValue> Parse(std::string_view text);
  // The same, and none where an object has two members of one name.
  static std::optional<CValue> ParseUnambiguous(std::string_view text);
  // Of an object; null where there is no such member, or this is none.
  CValue Member(const std::string& name) const;
  std::vector<std::string> Names() const;  // of an object's members
  bool IsNull() const;
  bool IsObject() const;
  bool IsArray() const;
  std::optional<bool> Truth() const;
  std::optional<double> Number() const;
  std::optional<std::string> String() const;
  std::vector<CValue> Elements() const;  // of an array

  // In one line, or with so many blanks for each level. Bytes that are no UTF-8
  // are replaced by U+FFFD.
  std::string Text(int indentation = -1) const;

 private:
  // The library's value, by whose size this one is declared.
  alignas(8) std::byte held[16];
};

struct TMember {
  const char* name;
  mutable CValue value;  // the object takes it
};

}  // namespace json

#endif
