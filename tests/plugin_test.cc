// The plug-in as a file: what it shows, and what it answers before there is an
// instrument.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "plugin/artwork.h"
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
  char16_t pluginName[32] = {};
  const std::uint8_t* images[2] = {};
  std::uint8_t flag = 0;
  Exports().getDllInfo(31, pluginName, &images[0], &images[1], &flag);
  EXPECT_EQ(flag, 1);
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
  for (const std::string& className : tests::ClassNames()) {
    const tests::CRun run(tests::OneRegulator(className, ""));
    EXPECT_EQ(run.Object("reg").attributeWord, 0xFF1Fu);
    EXPECT_EQ(run.Object("reg").optionWord, 0x110u);
  }
}

// Each initialiser's list runs once, whichever comes first; nested and later calls
// only count.
TEST(Plugin, InitialisesItsModulesOnce) {
  const std::string_view modules[] = {"view",    "vgr",     "vcore",   "vwin",    "vcont",    "hx_vinst", "hx_expr",
                                      "hx_main", "hx_keyw", "hx_proc", "hx_tool", "gaugekit", "gaugekit_"};
  const struct {
    const char* symbol;
    std::uint32_t counts[3];  // of vgr, hx_proc and each other module
  } initialisers[] = {
      {"_ZN7loopbox5Init_Ev", {3, 1, 2}}, {"_ZN8loopbox05Init_Ev", {2, 0, 1}}, {"_ZN8loopbox_5Init_Ev", {1, 0, 0}}};
  for (const auto& first : initialisers) {
    const tests::CFolder folder;
    const std::string path = folder.Write("copy.so", tests::ReadFile(tests::BuildPath("loopbox.so")));
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    std::map<std::string_view, std::uint32_t> before;
    for (const std::string_view module : modules) before[module] = runtime::ModuleInitCount(module);
    const auto expect = [&](const std::uint32_t(&counts)[3]) {
      for (const std::string_view module : modules) {
        EXPECT_EQ(runtime::ModuleInitCount(module) - before[module], counts[module == "vgr"       ? 0
                                                                            : module == "hx_proc" ? 1
                                                                                                  : 2])
            << first.symbol << " " << module;
      }
    };
    const auto call = [library](const char* symbol) { reinterpret_cast<void (*)()>(dlsym(library, symbol))(); };
    call(first.symbol);
    expect(first.counts);
    for (const auto& next : initialisers) call(next.symbol);
    expect(initialisers[0].counts);
    dlclose(library);
  }
}

// The rows of a picture by the format, a letter for each pixel.
std::vector<std::string> Picture(const std::uint8_t* data, bool masked) {
  const auto word = [](const std::uint8_t* at) { return at[0] + 256U * at[1]; };
  const std::size_t width = word(data + 8);
  const std::size_t height = word(data + 10);
  const std::uint8_t* mask = data + 12;
  const std::uint8_t* colors = masked ? mask + (width + 7) / 8 * height + 8 : mask;
  std::vector<std::string> rows(height);
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const bool opaque = !masked || (mask[y * ((width + 7) / 8) + x / 8] >> (7 - x % 8) & 1) != 0;
      const unsigned color = colors[y * ((width + 1) / 2) + x / 2] >> (x % 2 == 0 ? 4 : 0) & 0xF;
      rows[y] += opaque ? "KmgonptSGRLYbfaW"[color] : color == 0 ? '.' : '?';
    }
  }
  EXPECT_EQ(std::string(data, data + 8), masked ? ".NIC.IBW" : ".NIC.I04");
  if (!masked) return rows;
  EXPECT_EQ(std::string(colors - 8, colors - 4), ".I04");
  EXPECT_EQ(word(colors - 4), width);
  EXPECT_EQ(word(colors - 2), height);
  return rows;
}

// A blank is the ground, which is navy.
template <std::size_t height, std::size_t size>
std::vector<std::string> Artwork(const char (&art)[height][size]) {
  std::vector<std::string> rows(std::begin(art), std::end(art));
  for (std::string& row : rows) std::replace(row.begin(), row.end(), ' ', 'n');
  return rows;
}

TEST(Plugin, CarriesItsImages) {
  const auto& classes = Plugin().Classes();
  EXPECT_EQ(Picture(Plugin().LargeImage(), false), Artwork(loopbox::kLibraryLargeArt));
  EXPECT_EQ(Picture(classes[0].smallImage, true), Artwork(loopbox::kPidSmallArt));
  EXPECT_EQ(Picture(classes[0].largeImage, true), Artwork(loopbox::kPidLargeArt));
  EXPECT_EQ(Picture(classes[1].smallImage, true), Artwork(loopbox::kBooleanSmallArt));
  EXPECT_EQ(Picture(classes[1].largeImage, true), Artwork(loopbox::kBooleanLargeArt));
  EXPECT_EQ(Picture(classes[2].smallImage, true), Artwork(loopbox::kStepSmallArt));
  EXPECT_EQ(Picture(classes[2].largeImage, true), Artwork(loopbox::kStepLargeArt));
}

}  // namespace
