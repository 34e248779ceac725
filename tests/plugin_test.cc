// The plug-in as a file: what it shows, and what it answers before there is an
// instrument.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <set>

#include "runtime/instruments/driver.h"
#include "runtime/platform/module_init.h"
#include "runtime/text/wide_text.h"
#include "tests/support.h"

namespace {

using tests::Plugin;

const runtime::TExports& Exports() { return runtime::StateOf(Plugin()).exports; }

TEST(Plugin, ShowsItsEntryPointsAndNothingElse) {
  const tests::TOutcome symbols = tests::Shell("nm -D --defined-only --format=posix " + tests::BuildPath("loopbox.so") +
                                               " | cut -d' ' -f1 | grep -vE '^(__asan|__odr_asan|_end|_edata)' | sort");
  EXPECT_EQ(symbols.status, 0);
  EXPECT_EQ(symbols.output,
            "Check\nGetDLLInfo\nGetInstrumentInfo\nGetInstrumentName\nMakeInstrument\nVersion\n"
            "_ZN7loopbox5Init_Ev\n_ZN8loopbox05Init_Ev\n_ZN8loopbox_5Init_Ev\n");
}

TEST(Plugin, NeedsNothingButTheHostAndTheStandardLibraries) {
  const tests::TOutcome needed = tests::Shell("readelf -d " + tests::BuildPath("loopbox.so") +
                                              " | sed -n 's/.*NEEDED.*\\[\\(.*\\)\\]/\\1/p' | grep -vE "
                                              "'^(libstdc\\+\\+|libm|libc|libgcc_s|libasan|libubsan|ld-)'");
  EXPECT_EQ(needed.output, "");
}

TEST(Plugin, TellsWhatItIs) {
  EXPECT_EQ(Exports().version(), 0x01040000u);
  EXPECT_EQ(Plugin().Name(), "Regulátory");
  const struct {
    const char* name;
    const char* description;
    std::uint32_t infoWord;
  } expected[] = {
      {"pid_regulator", "Regulátor analogové veličiny se spojitým výstupem", 0x02010102},
      {"boolean_regulator", "Regulátor analogové veličiny s diskrétním dvoustavovým výstupem", 0x02010202},
      {"step_regulator", "Regulátor analogové veličiny s diskrétním inkrementálním výstupem", 0x02010202},
  };
  ASSERT_GE(Plugin().Classes().size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(Plugin().Classes()[i].name, expected[i].name);
    EXPECT_EQ(Plugin().Classes()[i].description, expected[i].description);
    EXPECT_EQ(Plugin().Classes()[i].infoWord, expected[i].infoWord);
  }
  EXPECT_EQ(Plugin().SmallImage(), Plugin().Classes()[0].smallImage);
  char16_t message[64] = u"#";
  EXPECT_EQ(Exports().check(63, message, 0, 0, 0, hx_main::kInterfaceNumber - 1), 0);
  EXPECT_EQ(runtime::Utf8(message), "Chybná verze rozhraní");
}

// Each initialiser's list runs once; nested and later calls only count.
TEST(Plugin, InitialisesItsModulesOnce) {
  void* library = runtime::StateOf(Plugin()).library;
  const std::uint32_t before = runtime::ModuleInitCount("gaugekit");
  EXPECT_EQ(before, 2u);  // by loopbox and, through it, by loopbox0
  EXPECT_EQ(runtime::ModuleInitCount("vgr"), 3u);
  EXPECT_EQ(runtime::ModuleInitCount("hx_proc"), 1u);
  for (const char* symbol : {"_ZN7loopbox5Init_Ev", "_ZN8loopbox05Init_Ev", "_ZN8loopbox_5Init_Ev"}) {
    void* initialiser = dlsym(library, symbol);
    ASSERT_NE(initialiser, nullptr) << symbol;
    reinterpret_cast<void (*)()>(initialiser)();
  }
  EXPECT_EQ(runtime::ModuleInitCount("gaugekit"), before);
}

// Their form is what the conformance check looks at.
TEST(Plugin, CarriesItsImages) {
  const auto& classes = Plugin().Classes();
  const struct {
    const std::uint8_t* data;
    unsigned width, height;
    bool masked;
  } images[] = {
      {Plugin().LargeImage(), 40, 40, false}, {classes[0].smallImage, 20, 20, true},
      {classes[0].largeImage, 40, 40, true},  {classes[1].smallImage, 20, 20, true},
      {classes[1].largeImage, 36, 40, true},  {classes[2].smallImage, 19, 19, true},
      {classes[2].largeImage, 36, 40, true},
  };
  std::set<const std::uint8_t*> different;
  for (const auto& [data, width, height, masked] : images) {
    different.insert(data);
    // Behind the signature and, where there is a mask, the mask and a further one.
    const std::uint8_t* at = data + 8 + (masked ? 4 + (width + 7) / 8 * height + 4 : 0);
    EXPECT_EQ(at[0], width);
    EXPECT_EQ(at[2], height);
    // A picture, not a plain area.
    const std::set<std::uint8_t> pixels(at + 4, at + 4 + (width + 1) / 2 * height);
    EXPECT_GT(pixels.size(), 3u);
  }
  EXPECT_EQ(different.size(), std::size(images));
}

}  // namespace
