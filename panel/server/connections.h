// Who is connected to a panel. So that nobody who sends nothing keeps another one out,
// a request has its time, and where all places are taken the one who has been without a
// whole request for longest gives way.
#ifndef LOOPBOX_PANEL_SERVER_CONNECTIONS_H
#define LOOPBOX_PANEL_SERVER_CONNECTIONS_H

#include <cstddef>
#include <list>

#include "panel/server/request.h"

namespace panel {

struct TConnected {
  int descriptor = -1;
  double since = 0.0;       // seconds of live::Now: connected, or its last answer ended
  TRequest request;         // that comes or is answered
  bool isBegun = false;     // its headers are there
  bool isAnswered = false;  // it is whole
  bool isStream = false;
  bool isLeft = false;  // shut down: it ends as soon as the server looks at it
};

class CConnected {
 public:
  TConnected* Add(int descriptor, double now);
  void Remove(const TConnected* connected);
  std::size_t Count() const { return all.size(); }
  // Those whose request isn't whole after so many seconds.
  void LeaveSlow(double now, double seconds);
  // The one without a whole request for longest, else of those with an answer the one
  // that has been there for longest; streams stay.
  void LeaveOne();
  // Seconds until LeaveSlow has something to do; at most `most`.
  double UntilSlow(double now, double seconds, double most) const;

 private:
  static void Leave(TConnected& connected);
  std::list<TConnected> all;
};

}  // namespace panel

#endif
