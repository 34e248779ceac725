// Hosts by their addresses in numbers.
#ifndef LOOPBOX_PLANT_RESOLVE_H
#define LOOPBOX_PLANT_RESOLVE_H

#include <string>

#include "plant/connections.h"

namespace plant {

// Replaces the name of a connection's host by its address: a link mustn't wait for a
// name. Where a certificate has to bear the name it stays. False with a message.
bool Resolve(TConnection* connection, std::string* error);

}  // namespace plant

#endif
