#include "panel/frame_json.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <utility>

#include "json/json.h"
#include "panel/frame.h"
#include "panel/model.h"
#include "runtime/runtime.h"

namespace panel {

namespace {

// Writes lists and members one after another; the comma before each is its own.
class CWriter {
 public:
  void Open(char bracket) {
    Comma();
    text += bracket;
    isFirst = true;
  }
  void Close(char bracket) {
    text += bracket;
    isFirst = false;
  }
  void Name(std::string_view name) {
    Comma();
    text.append(1, '"').append(name).append("\":");
    isFirst = true;
  }
  void Number(double number) {
    Comma();
    if (!std::isfinite(number)) {
      text += "null";
      return;
    }
    char digits[32];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
  }
  void Text(const std::string& unquoted) {
    Comma();
    text += unquoted.empty() ? "\"\"" : json::CValue(unquoted).Text();
  }
  void Numbers(std::span<const double> numbers) {
    Open('[');
    for (const double number : numbers) Number(number);
    Close(']');
  }
  std::string Taken() { return std::move(text); }

 private:
  void Comma() {
    if (!isFirst) text += ',';
    isFirst = false;
  }

  std::string text;
  bool isFirst = true;
};

class CFrameWriter {
 public:
  CFrameWriter(const TFrameLayout& theLayout, std::span<const double> theFrame) : layout(theLayout), frame(theFrame) {}

  std::string Json() {
    writer.Open('{');
    Header();
    writer.Name("elements");
    writer.Numbers(frame.subspan(layout.itemsAt, layout.items.size()));
    writer.Name("inputs");
    Groups(layout.inputsAt, layout.inputs.size(), kOfInput);
    writer.Name("outputs");
    writer.Open('[');
    for (std::size_t i = 0; i < layout.outputs; ++i) Output(frame.subspan(layout.outputsAt + i * kOfOutput, kOfOutput));
    writer.Close(']');
    writer.Name("instruments");
    writer.Open('[');
    for (std::size_t i = 0; i < layout.instruments.size(); ++i) Instrument(i);
    writer.Close(']');
    Facts();
    writer.Name("alarms");
    writer.Open('[');
    for (std::size_t i = 0; i < layout.alarms; ++i) Alarm(frame.subspan(layout.alarmsAt + i * kOfAlarm, kOfAlarm));
    writer.Close(']');
    writer.Close('}');
    return writer.Taken();
  }

 private:
  void Header() {
    const auto member = [this](const char* name, EHeader number) {
      writer.Name(name);
      writer.Number(frame[number]);
    };
    member("time", kTime);
    member("period", kPeriod);
    member("wall", kWall);
    writer.Name("phase");
    writer.Text(NameOf(static_cast<EPhase>(frame[kPhase])));
    member("journal", kLines);
    member("frame", kFrames);
  }

  void Groups(std::size_t at, std::size_t count, std::size_t ofEach) {
    writer.Open('[');
    for (std::size_t i = 0; i < count; ++i) writer.Numbers(frame.subspan(at + i * ofEach, ofEach));
    writer.Close(']');
  }

  // What holds it is an input, or nothing.
  void Output(std::span<const double> output) {
    writer.Open('[');
    writer.Number(output[kCode]);
    writer.Number(output[kWritten]);
    writer.Number(output[kHeldBy] < static_cast<double>(layout.inputs.size()) ? output[kHeldBy] : NAN);
    writer.Close(']');
  }

  void Instrument(std::size_t index) {
    writer.Open('[');
    for (const double number : frame.subspan(layout.instrumentsAt + index * kOfInstrument, kOfInstrument)) {
      writer.Number(number);
    }
    writer.Text(Why(index));
    writer.Close(']');
  }

  // What holds one of its outputs: "temperature stale 4 s".
  std::string Why(std::size_t index) const {
    constexpr const char* kQualities[] = {"good", "out of range", "not finite", "stale", "lost"};
    for (const std::size_t output : layout.instruments[index].outputs) {
      const double heldBy = frame[layout.outputsAt + output * kOfOutput + kHeldBy];
      if (!(heldBy < static_cast<double>(layout.inputs.size()))) continue;
      const auto input = static_cast<std::size_t>(heldBy);
      const double* const state = &frame[layout.inputsAt + input * kOfInput];
      std::string why =
          layout.inputs[input] + " " + runtime::Translated(kQualities[static_cast<std::size_t>(state[kQuality])]);
      // Long ages in whole seconds.
      const double age = state[kAge] < 10.0 ? std::round(state[kAge] * 10.0) / 10.0 : std::round(state[kAge]);
      char digits[32];
      if (std::isfinite(age)) {
        why.append(" ").append(digits, std::to_chars(digits, digits + sizeof digits, age).ptr).append(" s");
      }
      return why;
    }
    return {};
  }

  void Facts() {
    for (const bool isLearnt : {false, true}) {
      writer.Name(isLearnt ? "learnt" : "settings");
      writer.Open('[');
      for (const TFrameLayout::TInstrument& place : layout.instruments) {
        writer.Numbers(isLearnt ? frame.subspan(place.factsAt + place.settings, place.learnt)
                                : frame.subspan(place.factsAt, place.settings));
      }
      writer.Close(']');
    }
  }

  void Alarm(std::span<const double> alarm) {
    const auto flags = static_cast<std::uint32_t>(alarm[kAlarmFlags]);
    writer.Open('[');
    for (const EAlarmFlag flag : {kActive, kAcknowledged, kShelved, kOutOfService}) {
      writer.Number((flags & flag) != 0 ? 1.0 : 0.0);
    }
    for (const double number : alarm.subspan(kAlarmSince)) writer.Number(number);
    writer.Close(']');
  }

  const TFrameLayout& layout;
  std::span<const double> frame;
  CWriter writer;
};

}  // namespace

std::string FrameJson(const TFrameLayout& layout, std::span<const double> frame) {
  return CFrameWriter(layout, frame).Json();
}

}  // namespace panel
