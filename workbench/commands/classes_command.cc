// `loopbox classes`: what a plug-in offers.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/commands/class_images.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/faults.h"
#include "workbench/plugin_folder.h"
#include "workbench/text.h"

namespace workbench {
namespace {

std::string Hexadecimal(const char* format, std::uint32_t word) {
  char text[16];
  std::snprintf(text, sizeof text, format, word);
  return text;
}

// An image of the icon format: an 8-byte signature, which says whether a mask
// of transparency comes first, then width and height, 16 bits each.
std::string ImageText(const std::uint8_t* image) {
  if (image == nullptr) return runtime::Translated("none");
  const auto word = [image](std::size_t at) { return image[at] | image[at + 1] << 8; };
  const char* kind = std::memcmp(image, ".NIC.IBW", 8) == 0   ? "mask and colour"
                     : std::memcmp(image, ".NIC.I04", 8) == 0 ? "colour"
                                                              : "unknown format";
  return std::to_string(word(8)) + " × " + std::to_string(word(10)) + ", " + runtime::Translated(kind);
}

// The top byte is the major number, the next the minor one.
std::string VersionText(std::uint32_t version) {
  return std::to_string(version >> 24) + "." + std::to_string(version >> 16 & 0xFF) + " (" +
         Hexadecimal("0x%08X", version) + ")";
}

// `images` is a folder for the plug-in's images; empty: they aren't written.
int ListClasses(const std::string& pluginPath, const std::string& images) {
  const CCrashNotice notice(PluginPath(pluginPath) + ": the plug-in crashed while its classes were told");
  std::string error;
  const auto plugin = LoadPlugin(pluginPath, &error);
  if (!plugin) return Fail(error);
  CTable head;
  head.Add({runtime::Translated("plug-in"), plugin->Name()});
  head.Add({runtime::Translated("file"), plugin->Path()});
  head.Add({runtime::Translated("version"), VersionText(plugin->Version())});
  head.Add({runtime::Translated("small image"), ImageText(plugin->SmallImage())});
  head.Add({runtime::Translated("large image"), ImageText(plugin->LargeImage())});
  Print(head.Text(0));
  for (const runtime::TClass& item : plugin->Classes()) {
    CTable table;
    table.Add({runtime::Translated("description"), item.description});
    table.Add({runtime::Translated("info word"), Hexadecimal("0x%08X", item.infoWord)});
    table.Add({runtime::Translated("small image"), ImageText(item.smallImage)});
    table.Add({runtime::Translated("large image"), ImageText(item.largeImage)});
    Print("\n" + item.name + "\n" + table.Text());
  }
  if (images.empty()) return kDone;
  std::vector<std::string> written;
  const bool done = WriteImages(*plugin, images, &written, &error);
  Print("\n");
  for (const std::string& name : written) Print(runtime::Translated("written") + ": " + name + "\n");
  return done ? kDone : Fail(error);
}

}  // namespace

TCommand ClassesCommand(TCommonOptions& common) {
  const auto images = std::make_shared<std::string>();
  return {"classes",
          "Say what the plug-in offers",
          {{"--images", "DIR", images.get(), "Write the plug-in's images there, as PNG"},
           PluginOption(common),
           LanguageOption(common)},
          [images, &common] { return ListClasses(common.plugin, *images); }};
}

}  // namespace workbench
