// The reference file of a class, `CLASS.ref`, which stands beside the plug-in:
// the keywords of the class, and what the program must know of the class that
// its instruments don't tell. Lines are fields between `|`; a line that starts
// with `#` is a comment; a `[section]` line says what the lines after it are:
//
//   [remarks]  each line a paragraph about the class as a whole
//   [notes]  severity | condition | text
//            severity `note` or `warning`. The condition is terms joined by
//            `&`: `keyword = value`, `keyword != value`, `keyword` (was
//            given), `!keyword` (was not); empty: always. A keyword that was
//            not given has its default's value; `block.keyword` names that of
//            one block alone. A value may be a `block.keyword` too: its value.
//   [state]  column | procedure | argument index | argument count | sign
//            further columns of a trace; sign `+` or `-`.
//            The procedure's name ends in a letter for each argument.
//   [settings]  name | procedure | argument index | argument count | sign
//            by what the regulator acts, its law and its parameters. Words behind a
//            further bar, between commas, stand for 1, 2 and so on; `law` is the law.
//   [set]    name | reading procedure | setting procedure | argument index | argument
//            count | range
//            the parameters that an operator sets as a whole; both procedures have the
//            same arguments. The range is `above LOW` or `from LOW`, with `to HIGH`
//            behind it or without; empty: any finite number.
//   [band]   plus | procedure   and   minus | procedure
//            what answers how far the value may stray from the wish, in its one
//            argument.
//   [learning]  while | procedure   and   always | procedure
//            a regulator that learns: while the first answers true, or the second
//            resolves at all, which it does under laws that always learn. Its
//            columns are then r0, tI, tD and identifying, a1, a2, b1 and b2.
//   [events], [procedures]  name with its letters | meaning
//            what is told of an event or procedure beside its declaration;
//            units of its arguments.
//   others   keyword | type | default | range | example entry | meaning
//
// `[include FILE]` reads another file of the same folder at this place, which
// includes none itself. All together are at most 1 MiB.
#ifndef LOOPBOX_WORKBENCH_REFERENCE_H
#define LOOPBOX_WORKBENCH_REFERENCE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "panel/definition.h"
#include "runtime/runtime.h"
#include "runtime/trace.h"

namespace workbench {

struct TKeyword {
  std::string section;
  std::string keyword;
  std::string type;
  std::string defaultValue;
  std::string range;  // "1 … 10", "one, two"; empty: there is nothing to choose
  std::string example;
  std::string meaning;
};

// What is told of an event or a procedure.
struct TMeaning {
  std::string name;
  std::string text;
};

struct TPlaceOfKeyword {
  std::string block;  // empty: any
  std::string keyword;
};

struct TTerm {
  enum ETest { kGiven, kNotGiven, kEqual, kUnequal };
  ETest test;
  TPlaceOfKeyword asked;
  std::string value;
};

struct TNote {
  bool warning;
  std::vector<TTerm> condition;
  std::string text;
};

// A note that holds for a definition.
struct TFinding {
  const TNote* note;
  std::optional<std::uint32_t> offset;  // of what it is about; none: the whole definition
};

// One of the settings by which a regulator acts.
struct TSettingColumn {
  runtime::TStateColumn column;
  bool isTruth = false;
  std::vector<std::string> words;  // for 1, 2 and so on; none: a number
};

struct TBandProcedures {
  std::string plus;
  std::string minus;
};

struct TLearningProcedures {
  std::string whileTrue;
  std::string always;
};

class CReference {
 public:
  // False with a message that names the file, and the line when that is wrong.
  static bool Load(const std::string& path, CReference* reference, std::string* error);

  // That it was read from, with those that they include.
  const std::vector<std::string>& Files() const { return files; }
  const std::vector<std::string>& Remarks() const { return remarks; }
  const std::vector<TKeyword>& Keywords() const { return keywords; }
  const std::vector<TMeaning>& Events() const { return events; }
  const std::vector<TMeaning>& Procedures() const { return procedures; }
  // The state columns, ready but for the name of the class.
  const std::vector<runtime::TStateColumn>& State() const { return state; }
  const std::vector<TSettingColumn>& Settings() const { return settings; }
  // The parameters that are set as a whole; empty when the class has none.
  const panel::TParameterSet& Set() const { return set; }
  // Empty names when the class has no band.
  const TBandProcedures& Band() const { return band; }
  // Empty names when the class doesn't learn.
  const TLearningProcedures& Learning() const { return learning; }
  const std::vector<TNote>& Notes() const { return notes; }
  // The notes whose condition holds, in the file's order.
  std::vector<TFinding> Findings(const std::vector<runtime::TDefinitionEntry>& definition) const;

 private:
  // `room` is what may still be read, in bytes.
  bool AddFile(const std::string& path, bool isIncluded, std::size_t* room, std::string* error);
  bool AddLine(const std::string& section, std::string_view line, std::string* error);
  bool AddKeyword(const std::string& section, std::string_view line, std::string* error);
  bool AddNote(std::string_view line, std::string* error);
  static bool ReadColumn(const std::vector<std::string>& field, runtime::TStateColumn* column, std::string* error);
  bool AddState(std::string_view line, std::string* error);
  bool AddSetting(std::string_view line, std::string* error);
  bool AddParameter(std::string_view line, std::string* error);
  bool AddBand(std::string_view line, std::string* error);
  bool AddLearning(std::string_view line, std::string* error);
  static bool AddMeaning(std::string_view line, std::vector<TMeaning>* meanings, std::string* error);
  std::string_view Default(const TPlaceOfKeyword& asked) const;
  // What the entry gives; none: the default. Empty when there is no such keyword.
  std::string ValueOf(const TPlaceOfKeyword& asked, const runtime::TDefinitionEntry* entry) const;

  std::vector<std::string> files;
  std::vector<std::string> remarks;
  std::vector<TKeyword> keywords;
  std::vector<TMeaning> events;
  std::vector<TMeaning> procedures;
  std::vector<TNote> notes;
  std::vector<runtime::TStateColumn> state;
  std::vector<TSettingColumn> settings;
  panel::TParameterSet set;
  TBandProcedures band;
  TLearningProcedures learning;
};

}  // namespace workbench

#endif
