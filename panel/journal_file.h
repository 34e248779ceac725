// A journal's file: lines of JSON, each with the hash of the one before.
#ifndef LOOPBOX_PANEL_JOURNAL_FILE_H
#define LOOPBOX_PANEL_JOURNAL_FILE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "json/json.h"
#include "panel/journal_record.h"

namespace panel {

// The hash before the first line.
std::string NoHash();

// Without its end:
//   {"line":1,"time":"2026-01-31T12:00:00.000Z","run_time":0.5,"period":1,"who":"…",
//    "what":"set","thing":"…","old":80,"new":85,"outcome":"done","why":"","before":"…"}
// old and new are null where there is none, and arrays where there are several.
std::string JournalLine(const TJournalRecord& record, std::uint64_t line, const std::string& before);
std::string HashOfLine(std::string_view line);

// Where a journal ends.
struct TJournalEnd {
  std::uint64_t lines = 0;
  std::string hash = NoHash();  // of the last line
  std::size_t whole = 0;        // bytes of whole lines
  std::size_t torn = 0;         // bytes behind them, of a line that wasn't written to its end
};
// False with what is wrong: it isn't one, or can't be read.
bool ReadJournalEnd(int descriptor, TJournalEnd* end, std::string* error);

// What a whole journal turns out to be.
struct TJournalVerdict {
  TJournalEnd end;              // up to the first line that doesn't fit
  std::uint64_t wrongLine = 0;  // the first that doesn't fit, from 1; 0: none
  std::string why;
};
// Hands over each line, those that don't fit too: its text, and null where it is no JSON.
// False with a message where it can't be read.
bool ReadJournal(const std::string& path,
                 const std::function<void(std::string_view line, const json::CValue& value)>& visit,
                 TJournalVerdict* verdict, std::string* error);

}  // namespace panel

#endif
