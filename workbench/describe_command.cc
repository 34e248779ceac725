// `loopbox classes` and `loopbox describe`: what a plug-in offers.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/class_images.h"
#include "workbench/commands.h"
#include "workbench/console.h"
#include "workbench/plugin_folder.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::size_t kTextWidth = 100;  // columns

std::string Hexadecimal(const char* format, std::uint32_t word) {
  char text[16];
  std::snprintf(text, sizeof text, format, word);
  return text;
}

// An image of the icon format: an 8-byte signature, which says whether a mask
// of transparency comes first, then width and height, 16 bits each.
std::string ImageText(const std::uint8_t* image) {
  if (image == nullptr) return "none";
  const auto word = [image](std::size_t at) { return image[at] | image[at + 1] << 8; };
  const char* kind = std::memcmp(image, ".NIC.IBW", 8) == 0   ? "mask and colour"
                     : std::memcmp(image, ".NIC.I04", 8) == 0 ? "colour"
                                                              : "unknown format";
  return std::to_string(word(8)) + " × " + std::to_string(word(10)) + ", " + kind;
}

// The top byte is the major number, the next the minor one.
std::string VersionText(std::uint32_t version) {
  return std::to_string(version >> 24) + "." + std::to_string(version >> 16 & 0xFF) + " (" +
         Hexadecimal("0x%08X", version) + ")";
}

std::string ColorText(std::uint32_t color) {
  const std::uint32_t red = color & 0xFF;
  const std::uint32_t green = color >> 8 & 0xFF;
  const std::uint32_t blue = color >> 16 & 0xFF;
  return Hexadecimal("#%06X", red << 16 | green << 8 | blue);
}

void Print(const std::string& text) { std::fputs(text.c_str(), stdout); }

void PrintNamed(const char* heading, const std::vector<runtime::TNamed>& items) {
  CTable table;
  for (const auto& item : items) table.Add({item.name, item.description});
  Print(std::string("\n") + heading + "\n" + (table.Empty() ? "  none\n" : table.Text()));
}

void PrintKeywords(const CReference& reference) {
  const std::string* section = nullptr;
  for (const TKeyword& keyword : reference.Keywords()) {
    if (section == nullptr || *section != keyword.section) {
      section = &keyword.section;
      Print("\nKeywords" + (section->empty() ? "" : ": " + *section) + "\n");
    }
    CTable line;
    line.Add({keyword.keyword, keyword.type, keyword.defaultValue.empty() ? "" : "default " + keyword.defaultValue});
    Print(line.Text(2, 3) + Indented(keyword.meaning, 6, kTextWidth));
    if (!keyword.example.empty()) Print("      " + keyword.example + "\n");
  }
}

}  // namespace

int ListClasses(const std::string& pluginPath, const std::string& images) {
  const auto plugin = LoadPlugin(pluginPath);
  if (!plugin) return kApplicationWrong;
  CTable head;
  head.Add({"plug-in", plugin->Name()});
  head.Add({"file", plugin->Path()});
  head.Add({"version", VersionText(plugin->Version())});
  head.Add({"small image", ImageText(plugin->SmallImage())});
  head.Add({"large image", ImageText(plugin->LargeImage())});
  Print(head.Text(0));
  for (const runtime::TClass& item : plugin->Classes()) {
    CTable table;
    table.Add({"description", item.description});
    table.Add({"info word", Hexadecimal("0x%08X", item.infoWord)});
    table.Add({"small image", ImageText(item.smallImage)});
    table.Add({"large image", ImageText(item.largeImage)});
    Print("\n" + item.name + "\n" + table.Text());
  }
  if (images.empty()) return kDone;
  std::vector<std::string> written;
  std::string error;
  const bool done = WriteImages(*plugin, images, &written, &error);
  Print("\n");
  for (const std::string& name : written) Print("written: " + name + "\n");
  if (!done) PrintError(error);
  return done ? kDone : kApplicationWrong;
}

int DescribeClass(const std::string& className, const std::string& pluginPath) {
  const auto plugin = LoadPlugin(pluginPath);
  if (!plugin) return kApplicationWrong;
  const auto& classes = plugin->Classes();
  const auto found =
      std::find_if(classes.begin(), classes.end(), [&](const auto& item) { return item.name == className; });
  if (found == classes.end()) {
    std::string message = "the plug-in has no class \"" + className + "\"; its classes are";
    for (const auto& item : classes) message += " " + item.name;
    PrintError(message);
    return kApplicationWrong;
  }
  runtime::TClassDescription description;
  TReferences references;
  std::string error;
  if (!plugin->Describe(className, &description, &error) || !LoadReferences(*plugin, &references, &error)) {
    PrintError(error);
    return kApplicationWrong;
  }
  Print(className + ": " + found->description + "\n");
  PrintNamed("Events", description.events);
  PrintNamed("Procedures", description.procedures);
  CTable colors;
  for (const auto& color : description.colors)
    colors.Add({color.keyword, ColorText(color.defaultColor), color.description});
  Print("\nColours and their defaults\n" + (colors.Empty() ? "  none\n" : colors.Text()));
  const auto reference = references.find(className);
  if (reference != references.end()) {
    Print("\nRemarks\n");
    for (const std::string& remark : reference->second.Remarks()) Print(Indented(remark, 2, kTextWidth));
    PrintKeywords(reference->second);
  } else {
    PrintError("no reference of the keywords of " + className + " stands beside the plug-in");
  }
  return kDone;
}

}  // namespace workbench
