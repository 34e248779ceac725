// The plug-in as a file: what it shows, what it answers before there is an
// instrument, and what a host does with one that is wrong.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "runtime/instruments/driver.h"
#include "runtime/platform/memory.h"
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
  char16_t name[32] = u"untouched";
  EXPECT_EQ(Exports().getInstrumentName(3, 31, name), 0);
  EXPECT_EQ(runtime::Utf8(name), "untouched");
}

TEST(Plugin, ChecksTheInterfaceNumber) {
  for (const std::uint32_t number : {0x104u, 0x105u, 0x106u, 0u}) {
    char16_t message[64] = u"untouched";
    const bool accepted = Exports().check(63, message, 0, 0, 0, number) != 0;
    EXPECT_EQ(accepted, number == 0x105);
    EXPECT_EQ(runtime::Utf8(message), accepted ? "untouched" : "Chybná verze rozhraní");
  }
}

TEST(Plugin, RespectsCapacities) {
  for (std::uint32_t capacity : {0u, 1u, 5u}) {
    char16_t name[8] = {u'#', u'#', u'#', u'#', u'#', u'#', u'#', u'#'};
    EXPECT_EQ(Exports().getInstrumentName(0, capacity, name), 1);
    EXPECT_EQ(std::u16string(name), std::u16string(u"pid_regulator").substr(0, capacity));
    EXPECT_EQ(name[capacity + 1], u'#');
  }
}

TEST(Plugin, MakesObjectsOfItsClassesAlone) {
  const std::size_t blocks = runtime::MemoryStatistics().blocks;
  EXPECT_EQ(Exports().makeInstrument(7, u"unknown"), nullptr);
  EXPECT_EQ(Exports().makeInstrument(3, u"pid_regulator"), nullptr);
  runtime::FailAllocationAfter(0);
  EXPECT_EQ(Exports().makeInstrument(13, u"pid_regulator"), nullptr);
  runtime::FailAllocationAfter(-1);
  EXPECT_EQ(runtime::MemoryStatistics().blocks, blocks);

  const std::uint8_t* image = nullptr;
  std::uint32_t infoWord = 7;
  char16_t description[8] = u"as was";
  EXPECT_EQ(Exports().getInstrumentInfo(7, u"unknown", &image, &image, &infoWord, 7, description), 0);
  EXPECT_EQ(image, nullptr);
  EXPECT_EQ(infoWord, 7u);
  EXPECT_EQ(runtime::Utf8(description), "as was");
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

struct TImageShape {
  const std::uint8_t* data;
  unsigned width, height;
  bool masked;
};

TEST(Plugin, CarriesSevenImagesInTheIconFormat) {
  const auto& classes = Plugin().Classes();
  const TImageShape shapes[] = {
      {Plugin().LargeImage(), 40, 40, false}, {classes[0].smallImage, 20, 20, true},
      {classes[0].largeImage, 40, 40, true},  {classes[1].smallImage, 20, 20, true},
      {classes[1].largeImage, 36, 40, true},  {classes[2].smallImage, 19, 19, true},
      {classes[2].largeImage, 36, 40, true},
  };
  std::set<const std::uint8_t*> different;
  for (const TImageShape& shape : shapes) {
    const std::uint8_t* at = shape.data;
    different.insert(at);
    const auto hasSize = [&] { return at[0] + 256u * at[1] == shape.width && at[2] + 256u * at[3] == shape.height; };
    ASSERT_EQ(std::memcmp(at, shape.masked ? ".NIC.IBW" : ".NIC.I04", 8), 0);
    at += 8;
    EXPECT_TRUE(hasSize());
    if (shape.masked) {
      at += 4 + (shape.width + 7) / 8 * shape.height;
      ASSERT_EQ(std::memcmp(at, ".I04", 4), 0);
      at += 4;
      EXPECT_TRUE(hasSize());
    }
    // A picture, not a plain area.
    const std::set<std::uint8_t> pixels(at + 4, at + 4 + (shape.width + 1) / 2 * shape.height);
    EXPECT_GT(pixels.size(), 3u);
  }
  EXPECT_EQ(different.size(), std::size(shapes));
}

TEST(Plugin, IsRefusedWithAReason) {
  tests::CFolder folder;
  const struct {
    std::string path;
    std::string reason;
  } cases[] = {
      {folder.Path("none.so"), "there is no such plug-in"},
      {folder.Write("text.so", "no library"), "can't be loaded"},
      {tests::BuildPath("tests/plugin_lacks_export.so"), "has no export MakeInstrument"},
      {tests::BuildPath("tests/plugin_refuses_host.so"), "refuses this host: too old"},
  };
  for (const auto& [path, reason] : cases) {
    std::string error;
    EXPECT_EQ(runtime::CPlugin::Load(path, &error), nullptr);
    EXPECT_NE(error.find(reason), std::string::npos) << error;
  }
  std::string error;
  const auto plugin = runtime::CPlugin::Load(tests::BuildPath("tests/plugin_makes_null.so"), &error);
  ASSERT_NE(plugin, nullptr) << error;
  runtime::TClassDescription description;
  EXPECT_FALSE(plugin->Describe("pid_regulator", &description, &error));
  EXPECT_EQ(error, "the plug-in made no instrument of class 'pid_regulator'");
}

}  // namespace
