// Pictures as files: icons, and the window during and after a run.
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "painting/icon.h"
#include "tests/support.h"

namespace {

using tests::Loopbox;

TEST(PictureFiles, HoldTheIcons) {
  // 3 × 2 pixels: a mask of 101 and 010, the colours 9 C F and 1 2 A.
  constexpr std::uint8_t kIcon[] = ".NIC.IBW\3\0\2\0\xA0\x40.I04\3\0\2\0\x9C\xF0\x12\xA0";
  painting::TIcon icon;
  ASSERT_TRUE(painting::DecodeIcon(kIcon, &icon));
  EXPECT_EQ(icon.pixels, (std::vector<std::uint32_t>{0xFFFF0000, 0, 0xFFFFFFFF, 0, 0xFF008000, 0}));
}

TEST(PictureFiles, AreWrittenByTheProgram) {
  const tests::CFolder folder;
  const std::string dir = folder.Path("");
  const auto isPng = [](const std::string& path) { return tests::ReadFile(path).starts_with("\x89PNG"); };
  EXPECT_EQ(Loopbox("classes --images " + dir + "images").status, 0);
  int images = 0;  // the library's small image is a class's too
  for (const auto& entry : std::filesystem::directory_iterator(dir + "images")) images += isPng(entry.path());
  EXPECT_EQ(images, 7);
  const std::string run = "run " + tests::SourcePath("examples/plant.lbx") + " --quiet --duration 100 --panes " + dir;
  EXPECT_EQ(Loopbox(run + "p.png --panes-at 0 --panes-at 50").output, "");
  EXPECT_TRUE(isPng(dir + "p.png") && isPng(dir + "p-0.png") && isPng(dir + "p-50.png"));
  EXPECT_NE(tests::ReadFile(dir + "p-0.png"), tests::ReadFile(dir + "p.png"));
  EXPECT_EQ(Loopbox(run + "p.SVG").status, 0);
  EXPECT_NE(tests::ReadFile(dir + "p.SVG").find("<svg"), std::string::npos);
  const struct {
    std::string arguments;
    int status;
    std::string message;
  } rows[] = {
      {"p.gif", 2, "expected a name that ends in .png or .svg"},
      {"none/p.png", 1, "none/p.png: the picture can't be written: No such file or directory"},
      {"images --panes-at 1", 2, "--panes"},
      {"p.png --panes-at 101", 2, "--panes-at 101: the run ends at 100 s"},
      {"p.png --panes-at -1", 2, "--panes-at"},
  };
  for (const auto& [arguments, status, message] : rows) {
    const tests::TOutcome outcome = Loopbox(run + arguments);
    EXPECT_EQ(outcome.status, status) << arguments;
    EXPECT_NE(outcome.output.find(message), std::string::npos) << outcome.output;
  }
  const std::string application = folder.Write("a.png", "data x : real; end_data;\n");
  EXPECT_EQ(Loopbox("run " + application + " --panes " + application).status, 1);
  EXPECT_EQ(tests::ReadFile(application), "data x : real; end_data;\n");
}

}  // namespace
