// The journal of a run: who did what, in lines that a process of its own appends to a
// file.
#ifndef LOOPBOX_PANEL_JOURNAL_H
#define LOOPBOX_PANEL_JOURNAL_H

#include <cstdint>
#include <memory>
#include <string>

#include "live/keeper.h"
#include "live/shared_block.h"
#include "panel/journal_record.h"

namespace panel {

// The loop never waits for its writer, unless it may. What isn't written yet stands in
// a ring, also when the writer dies and is made again.
class CJournal {
 public:
  // Goes on with a journal that is there, or makes one, and starts the writer: before
  // any thread and any priority. Null with a message.
  static std::unique_ptr<CJournal> Open(const std::string& path, bool mayWait, std::string* error);
  ~CJournal();
  CJournal(const CJournal&) = delete;
  CJournal& operator=(const CJournal&) = delete;

  const std::string& Path() const { return path; }
  // Of a line that an earlier run didn't write to its end: it was cut off.
  std::size_t TornBytes() const { return torn; }

  // The loop's. Where there is no room it is lost, and counted.
  void Put(const TJournalRecord& record);
  // What the panel's process refuses, it puts here: the only one to do so.
  TJournalRing& OfPanel() { return *rings[1]; }

  std::uint64_t Lines() const;   // in the file so far
  std::string LastHash() const;  // of the last of them, in digits; once finished
  // What went wrong since, to be reported once. False when there is nothing.
  bool TakeMessage(std::string* message);
  // Everything is written, and the writer ends. False with a message where something is
  // lost.
  bool Finish(std::string* error);

  pid_t Keeper() const { return keeper->Id(); }

 private:
  struct TShared;
  CJournal() = default;
  int Write(int loop);
  bool WriteAll();  // yields whether there was something
  bool WriteNext(std::size_t ring);

  std::string path;
  bool waits = false;
  int file = -1;
  std::size_t torn = 0;
  std::unique_ptr<live::CSharedBlock> block;
  TShared* shared = nullptr;
  std::unique_ptr<TJournalRing> rings[2];  // the loop's, the panel's
  std::unique_ptr<live::CKeeper> keeper;
  std::uint64_t lost = 0;
  std::uint64_t nextTold = 1;  // of those that are lost
  bool wasFailureTold = false;
};

}  // namespace panel

#endif
