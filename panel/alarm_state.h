// What an alarm is, after the states of ISA-18.2.
#ifndef LOOPBOX_PANEL_ALARM_STATE_H
#define LOOPBOX_PANEL_ALARM_STATE_H

#include <cstdint>

namespace panel {

// As the frame has it: whole numbers in doubles.
struct TAlarmState {
  bool isActive = false;
  bool isAcknowledged = true;   // false: it came and nobody has acknowledged it, active or returned
  bool isShelved = false;       // until `shelvedUntil`
  bool isOutOfService = false;  // until somebody takes it back into service
  double since = 0.0;           // seconds of the run: when it came last; meaningless before
  double returned = 0.0;        // seconds of the run: when it returned last
  double shelvedUntil = 0.0;    // seconds of the run
  std::uint64_t count = 0;      // how often it came

  // Neither shelved nor out of service, and active or not acknowledged.
  bool IsAnnounced() const { return !isShelved && !isOutOfService && (isActive || !isAcknowledged); }
};

}  // namespace panel

#endif
