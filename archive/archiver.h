// Keeps a run in an archive: `--archive`. A process of its own writes it; the loop
// hands it a row each period and never waits in real time.
#ifndef LOOPBOX_ARCHIVE_ARCHIVER_H
#define LOOPBOX_ARCHIVE_ARCHIVER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "runtime/runtime.h"

namespace archive {

struct TArchiving {
  std::string folder;       // made where it isn't there
  std::uint64_t days = 0;   // files that stay, the present day's with them; 0: all
  bool isRealTime = false;  // the loop doesn't wait for the writer: what has no room is lost
  // What a channel's quality is after a period, 0 for good.
  struct TQuality {
    std::string channel;
    std::function<std::uint8_t()> now;
  };
  std::vector<TQuality> qualities;
  // What goes wrong, told between two periods.
  std::function<void(const runtime::TRunTimeMessage&)> report;
};

class CArchiver {
 public:
  // When the application's links are open, before the first period and before there is
  // any thread. Null with a message when the folder can't be made, or is another
  // run's.
  static std::unique_ptr<CArchiver> Start(runtime::CApplication& application, TArchiving archiving, std::string* error);
  ~CArchiver();
  CArchiver(const CArchiver&) = delete;
  CArchiver& operator=(const CArchiver&) = delete;

  // After each period.
  void Observe();
  // Once, at the run's end. False with a message when something of it is lost.
  bool Finish(std::string* error);

 private:
  struct TState;
  explicit CArchiver(std::unique_ptr<TState> theState);
  std::unique_ptr<TState> state;
};

}  // namespace archive

#endif
