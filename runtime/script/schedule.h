// The calls that a script has scheduled, by time.
#ifndef LOOPBOX_RUNTIME_SCRIPT_SCHEDULE_H
#define LOOPBOX_RUNTIME_SCRIPT_SCHEDULE_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace runtime {

struct TCallback {
  int function = 0;        // reference in the script's registry
  std::uint32_t line = 0;  // where it is defined
  double start = 0.0;      // seconds
  double interval = 0.0;   // seconds; 0: runs once
  std::uint64_t runs = 0;
  std::string lastError;  // reported and lasting
};

class CSchedule {
 public:
  static constexpr std::size_t kMaximumPending = 100'000;

  // Times, and for equal times the order in which the callbacks were made.
  using TPending = std::map<std::pair<double, std::uint64_t>, TCallback>;

  bool IsFull() const { return pending.size() >= kMaximumPending; }

  void Add(double time, TCallback callback) { pending.emplace(std::pair(time, made++), std::move(callback)); }

  // The earliest one due at a time of at most `time`, taken out; else empty.
  TPending::node_type TakeDue(double time) {
    if (!HasDue(time)) return {};
    return pending.extract(pending.begin());
  }
  bool HasDue(double time) const { return !pending.empty() && pending.begin()->first.first <= time; }

  // Puts a repeated one back at its next time, a multiple of its interval, so
  // that no rounding adds up; those until `passed` are left out.
  void Repeat(TPending::node_type node, double passed) {
    TCallback& callback = node.mapped();
    const double missed = std::floor((passed - callback.start) / callback.interval);
    callback.runs = std::max(callback.runs + 1, missed < 1.0 ? 0 : static_cast<std::uint64_t>(std::min(missed, 1e18)));
    node.key().first = callback.start + static_cast<double>(callback.runs + 1) * callback.interval;
    pending.insert(std::move(node));
  }

 private:
  TPending pending;
  std::uint64_t made = 0;
};

}  // namespace runtime

#endif
