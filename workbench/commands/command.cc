#include "workbench/commands/command.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

#include "painting/painting.h"
#include "workbench/language.h"

namespace workbench {
namespace {

std::string Found(const std::string& text) { return ", found \"" + text + "\""; }

}  // namespace

TCheck AtLeast(double minimum, std::string what) {
  return Within(minimum, std::numeric_limits<double>::max(), std::move(what));
}

TCheck Within(double minimum, double maximum, std::string what) {
  return [minimum, maximum, what = std::move(what)](const std::string& text, std::string* error) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() && *end == 0 && std::isfinite(value) && value >= minimum && value <= maximum) return true;
    *error = "expected " + what + Found(text);
    return false;
  };
}

TCheck Whole(std::uint64_t minimum) {
  return [minimum](const std::string& text, std::string* error) {
    std::uint64_t value = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (status == std::errc() && end == text.data() + text.size() && value >= minimum) return true;
    *error = "expected a whole number of at least " + std::to_string(minimum) + Found(text);
    return false;
  };
}

TCheck Between(int lowest, int highest) {
  return [lowest, highest](const std::string& text, std::string* error) {
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 0);
    if (end != text.c_str() && *end == 0 && value >= lowest && value <= highest) return true;
    *error = "Value " + text + " not in range " + std::to_string(lowest) + " to " + std::to_string(highest);
    return false;
  };
}

TCheck OneOf(std::vector<std::string> words) {
  return [words = std::move(words)](const std::string& text, std::string* error) {
    if (std::find(words.begin(), words.end(), text) != words.end()) return true;
    std::string all;
    for (const std::string& word : words) all += (all.empty() ? "" : ",") + word;
    *error = text + " not in {" + all + "}";
    return false;
  };
}

TCheck FileName() {
  return [](const std::string& text, std::string* error) {
    if (!text.empty()) return true;
    *error = "expected a file's name";
    return false;
  };
}

TCheck TwoFiles() {
  return [](const std::string& text, std::string* error) {
    const std::size_t comma = text.find(',');
    if (comma != std::string::npos && comma > 0 && comma + 1 < text.size()) return true;
    *error = "expected two files' names with a comma between" + Found(text);
    return false;
  };
}

TCheck PictureName() {
  return [](const std::string& text, std::string* error) {
    if (painting::FormatOf(text)) return true;
    *error = std::string("expected a name that ends in ") + painting::kFormatEndings + Found(text);
    return false;
  };
}

TCheck Span() {
  return [](const std::string& text, std::string* error) {
    char* end = nullptr;
    const double from = std::strtod(text.c_str(), &end);
    const bool joined = end != text.c_str() && *end == '-';
    const char* const second = joined ? end + 1 : end;
    const double to = std::strtod(second, &end);
    if (joined && end != second && *end == 0 && from >= 0.0 && from < to && std::isfinite(to)) return true;
    *error = "expected two seconds as 300-900, the second above the first" + Found(text);
    return false;
  };
}

TCheck NamedSpan() {
  return [](const std::string& text, std::string* error) {
    const std::size_t at = text.find('@');
    if (at != std::string::npos && at != 0) return Span()(text.substr(at + 1), error);
    *error = "expected NAME@S-S" + Found(text);
    return false;
  };
}

TCheck Bound() {
  return [](const std::string& text, std::string* error) {
    char* end = nullptr;
    const double low = std::strtod(text.c_str(), &end);
    const bool joined = end != text.c_str() && *end == ',';
    const char* const second = joined ? end + 1 : end;
    const double high = std::strtod(second, &end);
    if (joined && end != second && *end == 0 && std::isfinite(low) && std::isfinite(high) && low < high) return true;
    *error = "expected two numbers as 20,80, the second above the first" + Found(text);
    return false;
  };
}

TCheck NotZero() {
  return [](const std::string& text, std::string* error) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() && *end == 0 && std::isfinite(value) && value != 0.0) return true;
    *error = "expected a number other than 0" + Found(text);
    return false;
  };
}

TCheck Assignment() {
  return [](const std::string& text, std::string* error) {
    const std::size_t equal = text.find('=');
    if (equal != std::string::npos && equal != 0) return true;
    *error = "expected NAME=VALUE" + Found(text);
    return false;
  };
}

TCommonOptions LookAhead(int argumentCount, const char* const* arguments) {
  TCommonOptions common;
  for (int i = 1; i < argumentCount; ++i) {
    const std::string_view argument = arguments[i];
    for (const auto& [name, value] :
         {std::pair("--plugin", &common.plugin), std::pair("--language", &common.language)}) {
      if (!argument.starts_with(name)) continue;
      const std::string_view rest = argument.substr(std::strlen(name));
      if (rest.starts_with('=')) *value = rest.substr(1);
      if (rest.empty() && i + 1 < argumentCount) *value = arguments[i + 1];
    }
  }
  return common;
}

TOption FileArgument(std::string& file) {
  return {.name = "FILE", .value = "", .target = &file, .help = "The application", .isRequired = true};
}

TOption ConnectionsOption(std::string& connections) {
  return {"--connections", "FILE", &connections, "A text whose connections take the place of the application's own",
          FileName()};
}

TOption SetOption(std::vector<std::string>& assignments) {
  return {"--set", "NAME=VALUE", &assignments,
          "The initial value of a data element, a constant, or an entry of a definition (INSTRUMENT.KEYWORD); may be "
          "repeated",
          Assignment()};
}

TOption SeedOption(std::uint64_t& seed) {
  return {"--seed", "N", &seed, "What random numbers start from (default: 1)", Whole(0)};
}

TOption PluginOption(TCommonOptions& common) {
  return {"--plugin", "PATH", &common.plugin, "The plug-in (default: the program's own, loopbox.so)", FileName()};
}

TOption LanguageOption(TCommonOptions& common) {
  std::string names;
  for (const std::string& name : Languages("")) names.append(names.empty() ? "" : "|").append(name);
  return {"--language", names, &common.language,
          "Of all that is printed and drawn (default: cs where the environment is Czech, else en)"};
}

}  // namespace workbench
