// Periods: hostile values, a clock that jumps, and calls that are no period.
#include <cmath>
#include <limits>
#include <random>

#include "runtime/platform/clock.h"
#include "validation/cases.h"
#include "validation/testbed.h"

namespace validation {

namespace {

constexpr std::uint32_t kPeriodSeed = 20;
constexpr int kHostilePeriods = 300;

// What data elements may hold; the host gives an instrument the last finite
// value of an expression that is none.
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kHostile[] = {0.0,
                               -0.0,
                               5e-324,
                               -5e-324,
                               2.2e-308,
                               1e-300,
                               1.0,
                               -1.0,
                               50.0,
                               100.0,
                               1e6,
                               -1e6,
                               1e154,
                               -1e154,
                               1e308,
                               -1e308,
                               1.7976931348623157e308,
                               -1.7976931348623157e308,
                               kInfinity,
                               -kInfinity,
                               std::numeric_limits<double>::quiet_NaN()};

// Each input takes a random one of the values.
template <typename TRandom>
void SetHostile(const CClassTexts& texts, const CTestbed& testbed, TRandom& random) {
  for (const TWire& wire : texts.Wires()) {
    if (wire.isOutput) continue;
    testbed.Set(wire.element,
                wire.isBoolean ? static_cast<double>(random() % 8 != 0) : kHostile[random() % std::size(kHostile)]);
  }
}

void RequireWires(const CProbe& probe, const CClassTexts& texts) {
  if (texts.Wires().empty()) probe.Skip("the class reads none of the entries that regulators have in common");
}

// Every variant with hostile values, the clock told by `clock`.
template <typename TClock>
void RunHostile(CProbe& probe, int periods, TClock clock) {
  const CClassChoices texts(probe);
  RequireWires(probe, texts);
  const CBalance balance;
  for (const std::string& variant : texts.Variants()) {
    std::mt19937 random(kPeriodSeed);
    const auto testbed = MakeTestbed(probe, texts, variant);
    for (int k = 0; k < periods; ++k) {
      SetHostile(texts, *testbed, random);
      testbed->Act(clock(k, random));
      CheckOutputs(probe, texts, *testbed, "with hostile values");
    }
    // It comes back when the values do.
    RunOrdinary(probe, texts, *testbed, 5, 1000);
  }
  balance.Check(probe, "periods with hostile values");
}

void HostileValues(CProbe& probe) {
  RunHostile(probe, kHostilePeriods, [](int k, std::mt19937&) { return static_cast<std::uint32_t>(k + 1) * 1000; });
}

void ClockJumps(CProbe& probe) {
  static constexpr std::uint32_t kEdges[] = {0, 1, 2, 500, 43'200'000, vcore::kMillisecondsPerDay - 1};
  RunHostile(probe, kHostilePeriods / 3, [now = std::uint32_t{0}](int, std::mt19937& random) mutable {
    // Stands still, goes on, jumps anywhere, or to an edge, midnight among them.
    const unsigned kind = random() % 4;
    if (kind == 1) now = (now + 1000) % vcore::kMillisecondsPerDay;
    if (kind == 2) now = random() % vcore::kMillisecondsPerDay;
    if (kind == 3) now = kEdges[random() % std::size(kEdges)];
    return now;
  });
}

void Repeatable(CProbe& probe) {
  const CClassChoices texts(probe);
  RequireWires(probe, texts);
  for (const std::string& variant : texts.Variants()) {
    std::vector<double> shown[2];
    for (std::vector<double>& run : shown) {
      const auto testbed = MakeTestbed(probe, texts, variant);
      RunOrdinary(probe, texts, *testbed, 60);
      run = Shown(texts, *testbed);
    }
    probe.Expect(shown[0] == shown[1], "two runs of the same end differently with the definition \"" + variant + "\"");
  }
}

// By a twin that gets the ordinary call or none.
void IdleBit(CProbe& probe) {
  const CClassTexts texts(probe);
  RequireWires(probe, texts);
  const auto asked = MakeTestbed(probe, texts, texts.Wiring());
  const auto twin = MakeTestbed(probe, texts, texts.Wiring());
  constexpr std::uint32_t kIdle = 0x10;
  bool acts = false;
  for (std::uint32_t k = 1; k <= 60; ++k) {
    for (const CTestbed* testbed : {asked.get(), twin.get()}) {
      for (const TWire& wire : texts.Wires()) {
        if (!wire.isOutput) testbed->Set(wire.element, wire.isBoolean ? 1.0 : 50.0 + 40.0 * std::sin(0.3 * k));
      }
    }
    const std::vector<double> before = Shown(texts, *asked);
    probe.Doing("Action with 0x10 alone");
    asked->Act(k * 1000, kIdle);
    CheckOutputs(probe, texts, *asked, "after Action with 0x10 alone");
    const std::vector<double> after = Shown(texts, *asked);
    twin->Act(k * 1000);
    if (k == 1) acts = after != before;
    if (!acts) {
      probe.Expect(after == before, "Action with 0x10 alone changes outputs, though not at first");
      asked->Act(k * 1000);
    }
    probe.Expect(Shown(texts, *asked) == Shown(texts, *twin),
                 "Action with 0x10 alone is neither nothing nor an ordinary period");
  }
}

void Receiver(CProbe& probe) {
  const CClassTexts texts(probe);
  RequireWires(probe, texts);
  const CBalance balance;
  {
    const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
    for (const std::uint32_t reason : {2u, 3u, 0x11u, 0x12u, 0x20u, 0u, 0x80000000u, 0xFFFFFFFFu}) {
      for (std::uint32_t k = 1; k <= 20; ++k) {
        probe.Doing("Action with " + std::to_string(reason));
        for (const TWire& wire : texts.Wires()) {
          if (!wire.isOutput) testbed->Set(wire.element, wire.isBoolean ? k % 5 != 0 : 50.0 + k);
        }
        testbed->Act(k * 1000, reason);
        CheckOutputs(probe, texts, *testbed, "after Action with " + std::to_string(reason));
      }
    }
  }
  balance.Check(probe, "actions for other reasons");
}

void StepsApart(CProbe& probe) {
  const CClassTexts texts(probe);
  std::vector<const TWire*> steps;
  for (const TWire& wire : texts.Wires()) {
    if (wire.isOutput && wire.isBoolean) steps.push_back(&wire);
  }
  if (steps.size() != 2) probe.Skip("the class has no pair of steps");
  bool seen[2] = {};
  const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
  for (std::uint32_t k = 0; k < 2000; ++k) {
    double phase = 0.0;
    for (const TWire& wire : texts.Wires()) {
      if (!wire.isOutput) testbed->Set(wire.element, wire.isBoolean ? 1.0 : 50.0 + 40.0 * std::sin(0.05 * k + phase));
      phase += 1.5;
    }
    testbed->Act(k * 1000);
    CheckOutputs(probe, texts, *testbed, "in period " + std::to_string(k));
    for (int i = 0; i < 2; ++i) seen[i] = seen[i] || testbed->Get(steps[static_cast<std::size_t>(i)]->element) != 0.0;
  }
  for (int i = 0; i < 2; ++i) {
    if (!seen[i]) probe.Warn(steps[static_cast<std::size_t>(i)]->keyword + " was never on");
  }
}

void StateWords(CProbe& probe) {
  const CClassTexts texts(probe);
  const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
  RunOrdinary(probe, texts, *testbed, 10);
  probe.Expect((testbed->Subject().stateWord & hx_vinst::kStateActivateAlways) == 0,
               "the state word's bit 0x10 is set though nobody asked for it");
  const CTestbed always(probe, texts, texts.Wiring() + "always_activate;");
  if (!always.IsRead()) probe.Skip("the class does not read the host's keyword always_activate");
  RunOrdinary(probe, texts, always, 10);
  probe.Expect((always.Subject().stateWord & hx_vinst::kStateActivateAlways) != 0,
               "the state word's bit 0x10 does not keep always_activate");
}

constexpr TCase kPeriodCases[] = {
    {"periods/hostile-values", EScope::kClass,
     "Outputs stay finite and in range with denormals, ±1e308, infinities and NaN in the data elements.",
     HostileValues},
    {"periods/clock-jumps", EScope::kClass,
     "So they do when the clock stands still, jumps back and forth, and passes midnight.", ClockJumps},
    {"periods/repeatable", EScope::kClass, "Two runs of the same give the same outputs, bit for bit.", Repeatable},
    {"periods/idle-bit", EScope::kClass, "Action with 0x10 alone does nothing, or all that an ordinary period does.",
     IdleBit},
    {"periods/other-reasons", EScope::kClass, "Action for any other reason leaves outputs sound.", Receiver},
    {"periods/steps-apart", EScope::kClass, "The two steps of an incremental output are never on together.",
     StepsApart},
    {"periods/state-words", EScope::kClass, "The state word keeps the host's bit 0x10 as the definition says.",
     StateWords},
};

}  // namespace

std::span<const TCase> PeriodCases() { return kPeriodCases; }

}  // namespace validation
