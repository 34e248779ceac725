// A frame: what a page shows of a run at one moment, a row of doubles in the shared
// block. The loop fills it when one is due, a panel's process reads the newest.
//
//   time  period  wall  phase  journal  frames     kHeader numbers
//   value …                                        of each shown item
//   quality age …                                  of each input of the site
//   code written held-by …                         of each output of the site
//   wish value output  …                           kOfInstrument numbers of each instrument
//   flags since returned until count …             kOfAlarm numbers of each alarm
//   …                                              settings of each instrument that has some, its learnt
//   …                                              what the painter keeps of each meter
#ifndef LOOPBOX_PANEL_FRAME_H
#define LOOPBOX_PANEL_FRAME_H

#include <cstddef>
#include <cstdint>

namespace panel {

enum class EPhase : std::uint8_t { kStarting, kRunning, kEnded, kInterrupted, kFailed };

enum EHeader : std::size_t {
  kTime,    // seconds of the run, of the period done last
  kPeriod,  // its number
  kWall,    // seconds of the epoch, when it was done
  kPhase,   // EPhase
  kLines,   // lines of the journal so far
  kFrames,  // frames so far
  kHeader
};

enum EOfInput : std::size_t { kQuality, kAge, kOfInput };              // EInput, seconds
enum EOfOutput : std::size_t { kCode, kWritten, kHeldBy, kOfOutput };  // EOutput; as CSite has them

// The mode of an instrument.
enum class EMode : std::uint8_t {
  kAuto,    // it regulates
  kManual,  // its condition doesn't hold
  kTracks,  // track_when holds: its output is another's
  kHeld,    // the plant's guard holds what is written: an input is bad
  kSafe,    // the guard writes the safe value
  kStopped  // an operator stopped the plant to safe
};

enum EOfInstrument : std::size_t {
  kWishNow,
  kValueNow,
  kOutputNow,
  kWishFrom,  // the panes' ranges
  kWishTo,
  kValueFrom,
  kValueTo,
  kOutputFrom,
  kOutputTo,
  kModeNow,  // EMode
  kFlags,    // EFlag, together
  kOfInstrument
};
enum EFlag : std::uint32_t {
  kWishLow = 1,   // below a limit that the definition gives
  kWishHigh = 2,  // above it
  kValueLow = 4,
  kValueHigh = 8,
  kOutputLow = 16,
  kOutputHigh = 32,
  kAtLowEnd = 64,  // the output stands at an end of its pane's range
  kAtHighEnd = 128,
  kIdentifies = 256
};

enum EOfAlarm : std::size_t { kAlarmFlags, kAlarmSince, kAlarmReturned, kAlarmUntil, kAlarmCount, kOfAlarm };
enum EAlarmFlag : std::uint32_t { kActive = 1, kAcknowledged = 2, kShelved = 4, kOutOfService = 8 };

}  // namespace panel

#endif
