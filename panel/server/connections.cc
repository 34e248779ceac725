#include "panel/server/connections.h"

#include <sys/socket.h>

#include <algorithm>

namespace panel {

TConnected* CConnected::Add(int descriptor, double now) {
  TConnected& added = all.emplace_back();
  added.descriptor = descriptor;
  added.since = now;
  return &added;
}

void CConnected::Remove(const TConnected* connected) {
  all.remove_if([connected](const TConnected& each) { return &each == connected; });
}

void CConnected::Leave(TConnected& connected) {
  shutdown(connected.descriptor, SHUT_RDWR);
  connected.isLeft = true;
}

void CConnected::LeaveSlow(double now, double seconds) {
  for (TConnected& each : all) {
    if (!each.isLeft && !each.isAnswered && now - each.since >= seconds) Leave(each);
  }
}

void CConnected::LeaveOne() {
  TConnected* longest = nullptr;
  for (TConnected& each : all) {
    if (each.isLeft || each.isStream) continue;
    const bool isBefore = longest == nullptr ||
                          (each.isAnswered != longest->isAnswered ? longest->isAnswered : each.since < longest->since);
    if (isBefore) longest = &each;
  }
  if (longest != nullptr) Leave(*longest);
}

double CConnected::UntilSlow(double now, double seconds, double most) const {
  for (const TConnected& each : all) {
    if (!each.isLeft && !each.isAnswered) most = std::min(most, std::max(0.0, each.since + seconds - now));
  }
  return most;
}

}  // namespace panel
