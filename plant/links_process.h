// What the links' process does.
#ifndef LOOPBOX_PLANT_LINKS_PROCESS_H
#define LOOPBOX_PLANT_LINKS_PROCESS_H

#include <string>
#include <vector>

#include "plant/connections.h"
#include "plant/mqtt/secret.h"
#include "plant/share.h"

namespace plant {

struct TLinksProcess {
  TConnections connections;      // hosts as addresses in numbers
  std::vector<TSecret> secrets;  // by connection
  std::vector<CShare> shares;
  TBeat* beat = nullptr;
  double period = 0.0;
  bool isDry = false;
};

// Reads and writes until `loop` hangs up or the loop's beat is late, brings the outputs
// to their safe values, says on standard error what isn't in order, and yields 0.
int KeepLinks(TLinksProcess& process, int loop);
// After a process that died: connects, brings the outputs to their safe values, says so.
int OnlyMakeSafe(TLinksProcess& process);

// What the end of a links' process takes at most, seconds.
double EndBound(const TLinksProcess& process);

// The status of a process that died, as waitpid tells it, in words.
std::string HowEnded(int status);

}  // namespace plant

#endif
