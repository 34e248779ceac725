// What is seen of an instrument: colours, panes, sizes, blinking.
#include <set>

#include "runtime/text/wide_text.h"
#include "validation/cases.h"
#include "validation/testbed.h"

namespace validation {

namespace {

constexpr std::uint32_t kColors = 1000;  // a list without an end is cut off

struct TToldColor {
  std::uint32_t* word = nullptr;
  std::uint32_t standard = 0;
};

bool ColorAt(hx_vinst::CInstrument& object, std::uint32_t index, TToldColor* color, std::string* keyword) {
  char16_t name[kCapacity + 1] = {};
  char16_t description[kCapacity + 1] = {};
  if (!object.GetColorDescription(index, 0, &color->word, kCapacity, name, kCapacity, description, &color->standard)) {
    return false;
  }
  *keyword = runtime::Utf8(name);
  return true;
}

void Colors(CProbe& probe) {
  const CClassTexts texts(probe);
  const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
  hx_vinst::CInstrument& object = testbed->Subject();
  std::set<std::string> keywords;
  std::set<std::uint32_t*> words;
  TToldColor color;
  std::string keyword;
  std::uint32_t count = 0;
  for (; count < kColors && ColorAt(object, count, &color, &keyword); ++count) {
    const std::string what = "the colour " + keyword;
    probe.Doing("setting " + what);
    probe.Expect(!keyword.empty() && keywords.insert(keyword).second, "two colours are named '" + keyword + "'");
    probe.Expect(color.word != nullptr && words.insert(color.word).second, what + " shares its word with another");
    probe.Expect(color.standard <= 0xFFFFFF, "the default of " + what + " is no colour");
    probe.Expect(*color.word == color.standard, what + " does not start at its default");
    const std::uint32_t other = color.standard ^ 0x123456;
    *color.word = other;
    object.SettingsChanged();
    TToldColor again;
    probe.Expect(ColorAt(object, count, &again, &keyword) && again.word == color.word && *again.word == other,
                 what + " is not what it was set to");
    probe.Expect(again.standard == color.standard, "the default of " + what + " changes with its value");
    for (const bool ofName : {true, false}) {
      CheckCapacities(probe, (ofName ? "the name of " : "the description of ") + what,
                      [&](std::uint32_t capacity, char16_t* buffer) {
                        char16_t scratch[kCapacity + 1];
                        return object.GetColorDescription(count, 0, &again.word, ofName ? capacity : kCapacity,
                                                          ofName ? buffer : scratch, ofName ? kCapacity : capacity,
                                                          ofName ? scratch : buffer, &again.standard) != 0;
                      });
    }
  }
  if (count == 0) probe.Skip("the class has no colours");
  probe.Expect(count < kColors, "the list of colours has no end");
  for (const std::uint32_t index : {count + 1, 0x80000000u, 0xFFFFFFFFu}) {
    probe.Expect(!ColorAt(object, index, &color, &keyword),
                 "describes colour " + std::to_string(index) + " of " + std::to_string(count));
  }
  RunOrdinary(probe, texts, *testbed, 3);
}

void Panes(CProbe& probe) {
  const CClassTexts texts(probe);
  const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
  const std::vector<const gaugekit::CMeter*> meters = testbed->Meters();
  if (meters.empty()) probe.Skip("the class has no panes");
  probe.Expect(meters.size() == 3,
               "there are " + std::to_string(meters.size()) + " panes; output, wish and value were expected");
  const TWire* wish = texts.Wire("wish_value");
  const TWire* value = texts.Wire("expression");
  if (wish == nullptr || value == nullptr) probe.Skip("the class has no wish_value or no expression");
  for (const TWire& wire : texts.Wires()) {
    if (!wire.isOutput) testbed->Set(wire.element, wire.isBoolean ? 1.0 : 40.0);
  }
  for (std::uint32_t k = 1; k <= 10; ++k) {
    testbed->Set(wish->element, 60.0 + k);
    testbed->Set(value->element, 30.0 + k);
    testbed->Act(k * 1000);
    probe.Expect(meters[runtime::kWishPane]->meterValue == 60.0 + k, "the second pane does not show the wish value");
    probe.Expect(meters[runtime::kValuePane]->meterValue == 30.0 + k,
                 "the third pane does not show the controlled value");
    double written = 0.0;
    int sign = 1;
    for (const TWire& wire : texts.Wires()) {
      if (!wire.isOutput) continue;
      written += testbed->Get(wire.element) * (wire.keyword.ends_with("minus") ? -sign : sign);
    }
    probe.Expect(meters[runtime::kOutputPane]->meterValue == written,
                 "the first pane does not show the output that was written");
  }
}

void Sizes(CProbe& probe) {
  const CClassChoices texts(probe);
  const CBalance balance;
  for (const std::string& variant : texts.Variants()) {
    const auto testbed = MakeTestbed(probe, texts, variant);
    hx_vinst::CInstrument& object = testbed->Subject();
    vcom::TPoint least = {0, 0};
    vcom::TPoint most = {0, 0};
    if (object.GetWinMinMaxSize(&least, &most)) {
      probe.Expect(least.x >= 0 && least.y >= 0 && least.x <= most.x && least.y <= most.y,
                   "the least size is more than the most, or negative");
    }
    constexpr std::int32_t kMost = 0x7FFFFFFF;
    for (const vcom::CRect& rect : {vcom::CRect{0, 0, 0, 0},
                                    {0, 0, 1, 1},
                                    {-5, -5, 300, 120},
                                    {0, 0, -10, -10},
                                    {kMost, kMost, kMost, kMost},
                                    {-kMost - 1, -kMost - 1, -kMost - 1, -kMost - 1},
                                    {10, 10, 640, 480}}) {
      probe.Doing("the rectangle " + std::to_string(rect.x) + ", " + std::to_string(rect.y) + ", " +
                  std::to_string(rect.width) + ", " + std::to_string(rect.height));
      object.NewRect(rect);
      RunOrdinary(probe, texts, *testbed, 1);
    }
    for (const std::uint8_t phase : {1, 0, 1, 1, 255, 0}) object.Blink(phase);
    RunOrdinary(probe, texts, *testbed, 1);
  }
  balance.Check(probe, "new rectangles and blinking");
}

constexpr TCase kViewCases[] = {
    {"views/colours", EScope::kClass, "Every colour starts at its default, can be set, and is kept.", Colors},
    {"views/panes", EScope::kClass, "The panes are registered as output, wish and value, and show these.", Panes},
    {"views/sizes", EScope::kClass, "Rectangles of any size and place, and blinking, do no harm.", Sizes},
};

}  // namespace

std::span<const TCase> ViewCases() { return kViewCases; }

}  // namespace validation
