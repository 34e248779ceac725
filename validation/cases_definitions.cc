// Definitions: right ones, cut ones, and garbage.
#include <random>

#include "validation/cases.h"
#include "validation/testbed.h"

namespace validation {

namespace {

constexpr int kSoups = 300;
constexpr unsigned kSoupWords = 40;
constexpr int kByteTexts = 150;
constexpr unsigned kTextBytes = 200;
constexpr std::uint32_t kSeed = 20;

// Refused with a message, or read and run for some periods; nothing is left.
void ReadOrRefuse(CProbe& probe, const CClassTexts& texts, const std::string& definition) {
  probe.Doing("reading the definition: " + definition);
  const CBalance balance;
  {
    const CTestbed testbed(probe, texts, definition);
    if (testbed.IsRead()) {
      RunOrdinary(probe, texts, testbed, 3, 1, false);
    } else {
      probe.Expect(!testbed.Diagnostics().empty() && !testbed.Diagnostics().front().message.empty(),
                   "the definition \"" + definition + "\" is refused without a message");
    }
  }
  balance.Check(probe, "the definition \"" + definition + "\"");
}

void Plain(CProbe& probe) {
  const CClassTexts texts(probe);
  if (texts.Wires().empty()) probe.Skip("the class reads none of the entries that regulators have in common");
  const CBalance balance;
  {
    const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
    if (!testbed->State().timed) probe.Warn("needs no timing with the entries: " + texts.Wiring());
    RunOrdinary(probe, texts, *testbed, 100);
  }
  balance.Check(probe, "an application was read, run and ended");
  ReadOrRefuse(probe, texts, "");
}

void Reference(CProbe& probe) {
  if (probe.Entries().empty()) probe.Skip("no reference of the class stands beside the plug-in");
  const CClassChoices texts(probe);
  std::string list;
  for (const std::string& entry : texts.RefusedExamples()) list += (list.empty() ? "" : " ") + entry;
  probe.Expect(list.empty(), "the class refuses examples of its reference: " + list);
}

void Variants(CProbe& probe) {
  const CClassChoices texts(probe);
  for (const std::string& variant : texts.Variants()) {
    const CBalance balance;
    {
      const auto testbed = MakeTestbed(probe, texts, variant);
      RunOrdinary(probe, texts, *testbed, 30);
    }
    balance.Check(probe, "the definition \"" + variant + "\"");
  }
}

void Unknown(CProbe& probe) {
  const CClassTexts texts(probe);
  for (const char* entry :
       {"no_such_keyword = 1;", "no_such_keyword;", ";", "= 1;", "end_colors;", "\"text\";", "12;"}) {
    probe.Doing(std::string("reading the entry ") + entry);
    const CTestbed testbed(probe, texts, texts.Wiring() + entry);
    probe.Expect(!testbed.IsRead(), std::string("reads the entry ") + entry);
    probe.Expect(!testbed.Diagnostics().front().message.empty(), std::string("refuses without a message: ") + entry);
  }
}

void Again(CProbe& probe) {
  const CClassChoices texts(probe);
  const CBalance balance;
  {
    const auto testbed = MakeTestbed(probe, texts, texts.Variants().back());
    RunOrdinary(probe, texts, *testbed, 20);
    const std::vector<double> first = Shown(texts, *testbed);
    const CBalance held;
    const std::size_t expressions = testbed->Subject().host->expressions.size();
    for (int i = 0; i < 3; ++i) {
      probe.Doing("reading a definition again");
      probe.Expect(testbed->ReadAgain(testbed->State().end), "a definition is refused at the second reading");
      held.Check(probe, "a definition was read again");
      const std::size_t now = testbed->Subject().host->expressions.size();
      probe.Expect(now == expressions, "holds " + std::to_string(now) +
                                           " expressions of the host after a second reading, " +
                                           std::to_string(expressions) + " after the first");
      RunOrdinary(probe, texts, *testbed, 20);
      held.Check(probe, "periods after a second reading");
      probe.Expect(Shown(texts, *testbed) == first, "an instrument behaves otherwise after a second reading");
    }
  }
  balance.Check(probe, "a definition was read four times");
}

void Over(CProbe& probe) {
  const CClassChoices texts(probe);
  for (const std::string& text : {std::string(), texts.Wiring()}) {
    const CBalance balance;
    {
      const auto fresh = MakeTestbed(probe, texts, text);
      // Reading an application places what has no position; reading anew does not.
      probe.Expect(fresh->ReadAgain(fresh->State().end), "a definition is refused at the second reading");
      probe.Doing("reading a definition over another");
      const CTestbed testbed(probe, texts.Data(), texts.Fullest(),
                             "instrument " + probe.ClassName() + " other " + text + " end_instrument;\n");
      probe.Expect(testbed.IsRead(), "a definition is refused beside another");
      for (int i = 0; i < 3; ++i) {
        RunOrdinary(probe, texts, testbed, 20, 1, false);
        if (i > 0) probe.Expect(testbed.ReadAgain(testbed.State().end), "a definition is refused after another");
        probe.Expect(testbed.ReadOver("other"), "a definition is refused over another");
        probe.Expect(Look(testbed) == Look(*fresh), "something is left of the definition before");
      }
      for (const TWire& wire : texts.Wires()) testbed.Set(wire.element, fresh->Get(wire.element));
      RunOrdinary(probe, texts, testbed, 20);
      RunOrdinary(probe, texts, *fresh, 20);
      probe.Expect(Shown(texts, testbed) == Shown(texts, *fresh), "runs otherwise than without the definition before");
    }
    balance.Check(probe, "definitions were read over one another");
  }
}

void Cut(CProbe& probe) {
  const CClassChoices texts(probe);
  const CBalance balance;
  std::string longest;
  for (const std::string& variant : texts.Variants()) {
    if (variant.size() > longest.size()) longest = variant;
  }
  // Of the fullest one a part of its ends.
  for (const auto& [text, step] : {std::pair{longest, 1u}, {texts.Fullest(), 7u}}) {
    const auto testbed = MakeTestbed(probe, texts, text);
    const CBalance held;
    const runtime::TInstrumentState& part = testbed->State();
    for (std::uint32_t end = part.begin; end <= part.end; end += step) {
      probe.Doing("reading a definition that ends at byte " + std::to_string(end - part.begin));
      testbed->ReadAgain(end);
      RunOrdinary(probe, texts, *testbed, 1, 1, false);
    }
    probe.Expect(testbed->ReadAgain(part.end), "a whole definition is refused after cut ones");
    held.Check(probe, "a whole definition was read after cut ones");
  }
  balance.Check(probe, "cut definitions");
}

void TokenSoup(CProbe& probe) {
  const CClassChoices texts(probe);
  std::mt19937 random(kSeed);
  for (int i = 0; i < kSoups; ++i) {
    // Half of them begin well.
    std::string soup = i % 2 == 0 ? "" : texts.Wiring();
    const unsigned count = 1 + random() % kSoupWords;
    for (unsigned k = 0; k < count; ++k) {
      soup += texts.Words()[random() % texts.Words().size()];
      soup += random() % 3 == 0 ? " = 1;" : " ";
    }
    ReadOrRefuse(probe, texts, soup);
  }
}

void ByteSoup(CProbe& probe) {
  const CClassTexts texts(probe);
  std::mt19937 random(kSeed);
  for (int i = 0; i < kByteTexts; ++i) {
    std::string soup = i % 2 == 0 ? "" : texts.Wiring();
    const unsigned count = 1 + random() % kTextBytes;
    const unsigned symbols = i % 3 == 0 ? 256 : 127;
    for (unsigned k = 0; k < count; ++k) soup += static_cast<char>(random() % symbols);
    ReadOrRefuse(probe, texts, soup);
  }
}

constexpr TCase kDefinitionCases[] = {
    {"definitions/plain", EScope::kClass, "The entries that connect an instrument are read, and it runs with them.",
     Plain},
    {"definitions/reference", EScope::kClass, "Every example of the class's reference is read.", Reference},
    {"definitions/variants", EScope::kClass,
     "Flags and choices, in each block with one another, are read and give sound outputs.", Variants},
    {"definitions/unknown", EScope::kClass, "What is no entry of the class is refused with a message.", Unknown},
    {"definitions/again", EScope::kClass,
     "A definition can be read again: the same behaviour from the start, and no memory more.", Again},
    {"definitions/over-another", EScope::kClass,
     "A definition read over any other leaves nothing of that: the look and the behaviour of a new instrument.", Over},
    {"definitions/cut", EScope::kClass, "A definition may end at any byte; a whole one is read after that.", Cut},
    {"definitions/token-soup", EScope::kClass,
     "Random rows of the class's own words are read or refused with a message; nothing is left.", TokenSoup},
    {"definitions/byte-soup", EScope::kClass, "Random bytes are read or refused with a message; nothing is left.",
     ByteSoup},
};

}  // namespace

std::span<const TCase> DefinitionCases() { return kDefinitionCases; }

}  // namespace validation
