// The alarms of a run: when they come and return, and what people do with them.
#ifndef LOOPBOX_PANEL_ALARMS_H
#define LOOPBOX_PANEL_ALARMS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "panel/alarm_state.h"
#include "panel/definition.h"
#include "panel/site.h"

namespace panel {

enum class EAlarmEvent : std::uint8_t { kCame, kReturned, kUnshelved };

// Those of the text in its order, then one for each connection of the site that can be
// lost, "NAME.lost". It knows no clock; after it was made nothing allocates.
class CAlarms {
 public:
  // Both outlive it; without a plant there is no site.
  CAlarms(const std::vector<TAlarm>& alarmsOfText, const CSite* theSite);

  std::size_t Count() const { return alarms.size(); }
  const std::string& Name(std::size_t alarm) const { return alarms[alarm].name; }
  EPriority Priority(std::size_t alarm) const { return alarms[alarm].priority; }
  const std::string& Text(std::size_t alarm) const { return alarms[alarm].text; }
  // Whose loss it tells; none: it is of the text.
  std::optional<std::size_t> Connection(std::size_t alarm) const;
  const TAlarmState& State(std::size_t alarm) const { return alarms[alarm].state; }

  struct TEvent {
    std::size_t alarm;
    EAlarmEvent what;
  };
  // At the end of each period, in seconds of the run. Yields what has happened by
  // itself, until the next call.
  std::span<const TEvent> Evaluate(double time);

  // What a person does. Null, or why that is refused.
  const char* Acknowledge(std::size_t alarm);
  const char* Shelve(std::size_t alarm, double time, double seconds);
  const char* Unshelve(std::size_t alarm);
  const char* SetOutOfService(std::size_t alarm, bool isOut);

 private:
  struct TKept {
    std::string name;
    EPriority priority;
    std::string text;
    const TAlarm* ofText;  // null: of a connection
    TAlarmState state;
    std::optional<double> since;  // the condition of the state to come holds
  };

  // Whether the condition holds that ends the present state.
  bool Changes(const TKept& alarm, std::size_t connection) const;

  const CSite* site;
  std::vector<TKept> alarms;
  std::size_t countOfText;
  std::vector<TEvent> events;
};

}  // namespace panel

#endif
