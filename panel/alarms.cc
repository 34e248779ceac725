#include "panel/alarms.h"

#include <cmath>

#include "runtime/runtime.h"

namespace panel {

CAlarms::CAlarms(const std::vector<TAlarm>& alarmsOfText, const CSite* theSite)
    : site(theSite), countOfText(alarmsOfText.size()) {
  for (const TAlarm& alarm : alarmsOfText) alarms.push_back({alarm.name, alarm.priority, alarm.text, &alarm, {}, {}});
  for (std::size_t i = 0; site != nullptr && i < site->ConnectionCount(); ++i) {
    alarms.push_back({site->ConnectionName(i) + ".lost", EPriority::kHigh, "The connection is lost", nullptr, {}, {}});
  }
  events.reserve(2 * alarms.size());
}

std::optional<std::size_t> CAlarms::Connection(std::size_t alarm) const {
  if (alarm < countOfText) return std::nullopt;
  return alarm - countOfText;
}

// An alarm that came returns where `clear` holds and `when` doesn't.
bool CAlarms::Changes(const TKept& alarm, std::size_t connection) const {
  const bool holds = alarm.ofText != nullptr ? alarm.ofText->when.Value() != 0.0 : site->IsLost(connection);
  if (!alarm.state.isActive) return holds;
  if (holds) return false;
  return alarm.ofText == nullptr || !alarm.ofText->clear || alarm.ofText->clear->Value() != 0.0;
}

std::span<const CAlarms::TEvent> CAlarms::Evaluate(double time) {
  events.clear();
  for (std::size_t i = 0; i < alarms.size(); ++i) {
    TKept& alarm = alarms[i];
    TAlarmState& state = alarm.state;
    if (state.isShelved && time >= state.shelvedUntil) {
      state.isShelved = false;
      events.push_back({i, EAlarmEvent::kUnshelved});
    }
    if (!Changes(alarm, i - countOfText)) {
      alarm.since.reset();
      continue;
    }
    if (!alarm.since) alarm.since = time;
    const double delay = alarm.ofText == nullptr ? 0.0
                         : state.isActive        ? alarm.ofText->offDelay
                                                 : alarm.ofText->onDelay;
    if (time - *alarm.since < delay * (1.0 - runtime::kForgivenRounding)) continue;
    alarm.since.reset();
    state.isActive = !state.isActive;
    if (state.isActive) {
      state.isAcknowledged = false;
      state.since = time;
      ++state.count;
    } else {
      state.returned = time;
    }
    events.push_back({i, state.isActive ? EAlarmEvent::kCame : EAlarmEvent::kReturned});
  }
  return events;
}

const char* CAlarms::Acknowledge(std::size_t alarm) {
  TAlarmState& state = alarms[alarm].state;
  if (state.isAcknowledged) return "there is nothing to acknowledge";
  state.isAcknowledged = true;
  return nullptr;
}

const char* CAlarms::Shelve(std::size_t alarm, double time, double seconds) {
  if (!std::isfinite(seconds) || seconds <= 0.0) return "an alarm is shelved for a number of seconds above 0";
  alarms[alarm].state.isShelved = true;
  alarms[alarm].state.shelvedUntil = time + seconds;
  return nullptr;
}

const char* CAlarms::Unshelve(std::size_t alarm) {
  if (!alarms[alarm].state.isShelved) return "the alarm isn't shelved";
  alarms[alarm].state.isShelved = false;
  return nullptr;
}

const char* CAlarms::SetOutOfService(std::size_t alarm, bool isOut) {
  bool& isOutOfService = alarms[alarm].state.isOutOfService;
  if (isOutOfService == isOut) return isOut ? "the alarm is out of service already" : "the alarm is in service already";
  isOutOfService = isOut;
  return nullptr;
}

}  // namespace panel
