// What a panel needs to know of a plant, and does to it. Who makes the run gives it
// one; without a plant there is none.
#ifndef LOOPBOX_PANEL_SITE_H
#define LOOPBOX_PANEL_SITE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "runtime/runtime.h"

namespace panel {

// How good an input is, in the order of how bad that is.
enum class EInput : std::uint8_t { kGood, kOutOfRange, kNotFinite, kStale, kLost };
// What an output is written with.
enum class EOutput : std::uint8_t { kOwn, kLimited, kHeld, kSafe, kLatched, kStopped, kDry };

// In the loop's thread, between two periods or at the end of one. Nothing here
// allocates or waits.
class CSite {
 public:
  virtual ~CSite() = default;

  virtual std::size_t ConnectionCount() const = 0;
  virtual std::string ConnectionName(std::size_t connection) const = 0;  // once, before the first period
  // Whether one of its inputs is stale or lost.
  virtual bool IsLost(std::size_t connection) const = 0;

  virtual std::size_t InputCount() const = 0;
  virtual std::string InputName(std::size_t input) const = 0;
  virtual runtime::TItem InputItem(std::size_t input) const = 0;
  virtual std::size_t InputConnection(std::size_t input) const = 0;
  virtual EInput Input(std::size_t input) const = 0;
  virtual double Age(std::size_t input) const = 0;  // seconds

  virtual std::size_t OutputCount() const = 0;
  virtual std::string OutputName(std::size_t output) const = 0;
  virtual runtime::TItem OutputItem(std::size_t output) const = 0;
  virtual EOutput Output(std::size_t output) const = 0;
  virtual double Written(std::size_t output) const = 0;  // NaN: nothing yet
  // The input that it needs and whose loss holds it back; InputCount() where none does.
  virtual std::size_t HeldBy(std::size_t output) const = 0;

  // All outputs to their safe values, where they stay until they are released; what
  // computes them tracks them.
  virtual void Stop() = 0;
  virtual void Release() = 0;
  virtual void Unlatch() = 0;  // those that have latched, once their inputs are good
};

}  // namespace panel

#endif
