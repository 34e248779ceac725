// What a service manager is told: the protocol of sd_notify(3), a datagram of
// assignments to the socket that NOTIFY_SOCKET names.
#ifndef LOOPBOX_WORKBENCH_RUN_SERVICE_NOTICE_H
#define LOOPBOX_WORKBENCH_RUN_SERVICE_NOTICE_H

#include <cstdint>
#include <string>

namespace workbench {

// Where nobody asks to be told, nothing is. Being told late or never harms nobody but the
// one who waits: what can't be sent at once is dropped.
class CServiceNotice {
 public:
  CServiceNotice();
  ~CServiceNotice();
  CServiceNotice(const CServiceNotice&) = delete;
  CServiceNotice& operator=(const CServiceNotice&) = delete;

  // A run of such a period, in seconds, begins. The span is made longer where it would be
  // shorter than four periods.
  void Ready(double period);
  void Stopping() const { Send("STOPPING=1"); }
  // In each period: that it still works, four times in the span that WATCHDOG_USEC
  // allows.
  void Alive();

 private:
  void Send(const char* text) const;

  int socket = -1;
  std::string address;
  std::int64_t span = 0;    // nanoseconds between two notices; 0: none is asked for
  std::int64_t nextAt = 0;  // of the monotonic clock
};

}  // namespace workbench

#endif
