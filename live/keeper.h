// A process that makes another one, and makes it again when it dies.
//
// The loop's process starts a keeper, and the keeper makes a worker. Both go on when
// the loop's process is stopped, heed no signal that a terminal, a shell or a service's
// manager sends to end the loop, and hold nothing that they inherited but what they
// are told to keep and standard error.
#ifndef LOOPBOX_LIVE_KEEPER_H
#define LOOPBOX_LIVE_KEEPER_H

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "live/shared_block.h"

namespace live {

// What a worker does, in a process of its own, until the descriptor `loop` hangs up
// (POLLHUP): then the loop's process is gone, however it ended, or has called End.
// Yields the exit status, 0 for an end in order.
using TWork = std::function<int(int loop)>;

struct TKeeping {
  TWork work;
  TWork again;                   // done anew after a worker died: by a signal, or with another status than 0
  int times = 1;                 // at most; negative: for ever
  bool alone = false;            // also when the loop's process is gone
  double pause = 0.0;            // seconds before each
  std::vector<int> descriptors;  // stay open, besides standard error
  // Of at most eight letters: lists of processes show NAME-keeper and NAME-worker, so
  // that who kills the program by its name doesn't kill these with it.
  std::string name;
};

class CKeeper {
 public:
  // Forks: before there is any thread. Null with a message.
  static std::unique_ptr<CKeeper> Start(const TKeeping& keeping, std::string* error);
  // Kills what didn't end.
  ~CKeeper();
  CKeeper(const CKeeper&) = delete;
  CKeeper& operator=(const CKeeper&) = delete;

  // Whether the keeper is there, with a worker or about to make one. Cheap enough for
  // every period: that somebody killed the keeper itself is seen after 0.1 s at most.
  bool IsAlive();
  std::uint32_t Deaths() const;  // workers that died so far
  int HowLast() const;           // the status of the last that died, as waitpid tells it
  pid_t Id() const { return id; }

  // Hangs up, and waits for the end of keeper and worker for so many seconds at most.
  // False when one still runs then.
  bool End(double seconds);

 private:
  struct TShared;
  CKeeper() = default;

  std::unique_ptr<CSharedBlock> block;
  TShared* shared = nullptr;
  pid_t id = -1;
  int loop = -1;  // the end whose closing hangs up
  int end = -1;   // hangs up once keeper and worker have ended
  bool wasWaitedFor = false;
  double nextLook = 0.0;  // at the keeper itself
};

}  // namespace live

#endif
