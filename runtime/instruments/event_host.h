// What calls into an application from its script, as the instruments and the
// period see it.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_EVENT_HOST_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_EVENT_HOST_H

#include <cstdint>
#include <string>

#include "host/hx_main.h"

namespace runtime {

class CEventHost {
 public:
  virtual ~CEventHost() = default;

  // Runs an event procedure by the number that stands in the instrument's host
  // part; what it returns replaces the arguments. False with a message, and
  // arguments as they were.
  virtual bool CallEvent(std::uint32_t handler, hx_expr::TValueArray* arguments, std::string* error) = 0;
  // Runs what is scheduled for a time of at most `time`, in seconds, earlier
  // calls first. Their errors are reported. Where periods were left out a repeated call
  // is made once for all that it missed.
  virtual void RunDue(double time, bool wereLeftOut) = 0;
};

}  // namespace runtime

#endif
