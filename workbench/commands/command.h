// A command of the program: what the command line says of it, and what does it.
// Each file NAME_command.cc makes one; its options are rows, each with the place
// that the value goes to.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_COMMAND_H
#define LOOPBOX_WORKBENCH_COMMANDS_COMMAND_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace workbench {

// False with what was expected and what was found instead.
using TCheck = std::function<bool(const std::string& text, std::string* error)>;

// A finite number of at least `minimum`; `what` is expected.
TCheck AtLeast(double minimum, std::string what);
TCheck Within(double minimum, double maximum, std::string what);
// A whole number of at least `minimum`.
TCheck Whole(std::uint64_t minimum);
TCheck Between(int lowest, int highest);
TCheck OneOf(std::vector<std::string> words);
TCheck FileName();
// The names of two, with a comma between.
TCheck TwoFiles();
// A file's name that says which format of picture is meant.
TCheck PictureName();
// Two numbers with a "-" between, the first at least 0, the second above it.
TCheck Span();
// A name, "@" and such a span.
TCheck NamedSpan();
// Two numbers with a comma between, the second above the first.
TCheck Bound();
// A number that isn't 0.
TCheck NotZero();
// A name, "=", and a value of any kind.
TCheck Assignment();

// Where a value goes. What stands there is the default. An option that goes to a
// vector may be repeated, and takes several values at once where it is a list; one that goes to an optional text may
// stand without its value, which is empty then.
using TOptionTarget =
    std::variant<bool*, std::string*, std::uint64_t*, double*, std::optional<double>*, std::optional<int>*,
                 std::optional<std::string>*, std::vector<std::string>*, std::vector<double>*>;

struct TOption {
  std::string name;   // "--period"; without dashes, an argument that stands by itself
  std::string value;  // what the help calls it: "S"; empty for an argument and a flag
  TOptionTarget target;
  std::string help;
  TCheck check = nullptr;
  const char* needs = nullptr;  // another option, of a row above
  const char* excludes = nullptr;
  bool isRequired = false;
  bool isList = false;
};

struct TCommand {
  std::string name;
  std::string help;
  std::vector<TOption> options;
  std::function<int()> work;  // yields the exit status
};

// What several commands are told.
struct TCommonOptions {
  std::string plugin;    // a path; empty: the program's own
  std::string language;  // empty: that of the environment
};
// What is said of them on a command line that isn't read yet, right or wrong.
TCommonOptions LookAhead(int argumentCount, const char* const* arguments);
// The application, as an argument.
TOption FileArgument(std::string& file);
// A text whose connections take the place of the application's own.
TOption ConnectionsOption(std::string& connections);
// Other initial values and entries than the text's, NAME=VALUE, and where its random numbers start.
TOption SetOption(std::vector<std::string>& assignments);
TOption SeedOption(std::uint64_t& seed);
TOption PluginOption(TCommonOptions& common);
TOption LanguageOption(TCommonOptions& common);

}  // namespace workbench

#endif
