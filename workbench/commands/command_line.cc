// The one file that knows the parser, which takes its time to compile.
#include "workbench/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <type_traits>

#include "runtime/runtime.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/version.h"

namespace workbench {
namespace {

void Declare(const TOption& option, CLI::App* command) {
  const bool isList = option.isList;
  const auto declare = [&](auto* target) {
    using TTarget = std::remove_pointer_t<decltype(target)>;
    if constexpr (std::is_same_v<TTarget, bool>) {
      return command->add_flag(option.name, *target, runtime::Translated(option.help));
    } else if constexpr (std::is_same_v<TTarget, std::optional<std::string>>) {
      const auto take = [target](const CLI::results_t& words) {
        *target = words.empty() ? "" : words.front();
        return true;
      };
      return command->add_option(option.name, take, runtime::Translated(option.help))
          ->type_name(option.value)
          ->expected(0, 1);
    } else {
      CLI::Option* const declared =
          command->add_option(option.name, *target, runtime::Translated(option.help))->type_name(option.value);
      // Each value has the option's name before it, but those of a list.
      if (declared->get_expected_max() > 1) declared->allow_extra_args(isList);
      // 010 is ten.
      if constexpr (std::is_integral_v<TTarget>) {
        declared->transform([](const std::string& text) {
          return text.empty() ? text : text.substr(std::min(text.find_first_not_of('0'), text.size() - 1));
        });
      }
      return declared;
    }
  };
  CLI::Option* const declared = std::visit(declare, option.target);
  declared->required(option.isRequired);
  if (option.needs != nullptr) declared->needs(command->get_option(option.needs));
  if (option.excludes != nullptr) declared->excludes(command->get_option(option.excludes));
  if (option.check == nullptr) return;
  const auto check = [accepts = option.check](std::string& text) {
    std::string error;
    return accepts(text, &error) ? std::string() : error;
  };
  declared->check(CLI::Validator(check, ""));
}

// The parser's own words.
void Translate(CLI::App* program) {
  for (const char* label : {"Usage", "OPTIONS", "SUBCOMMAND", "Positionals", "REQUIRED", "Needs", "Excludes"}) {
    program->get_formatter()->label(label, runtime::Translated(label));
  }
  program->option_defaults()->group(runtime::Translated("Options"));
  program->set_help_flag("-h,--help", runtime::Translated("Print this help message and exit"));
}

// What is wrong, and where to find help.
std::string Translated(const std::string& complaint) {
  std::istringstream lines(complaint);
  std::string translated;
  for (std::string line; std::getline(lines, line);) translated += runtime::Translated(line) + "\n";
  return translated;
}

}  // namespace

const TCommand* ReadCommandLine(const std::vector<TCommand>& commands, int argumentCount, char** arguments,
                                int* status) {
  CLI::App program(
      runtime::Translated("Loopbox: industrial regulators and the process that they regulate, period by period."),
      "loopbox");
  Translate(&program);
  program.set_version_flag("--version", std::string("loopbox ") + kProgramVersion,
                           runtime::Translated("Display program version information and exit"));
  program.require_subcommand(0, 1);
  for (const TCommand& command : commands) {
    CLI::App* const declared = program.add_subcommand(command.name, runtime::Translated(command.help));
    declared->group(runtime::Translated("Subcommands"));
    declared->get_help_ptr()->group(runtime::Translated("Options"));
    for (const TOption& option : command.options) Declare(option, declared);
  }
  try {
    program.parse(argumentCount, arguments);
  } catch (const CLI::ParseError& error) {
    std::ostringstream help;
    std::ostringstream complaint;
    *status = program.exit(error, help, complaint) == 0 ? kDone : kCommandLineWrong;
    Print(help.str());
    Print(Translated(complaint.str()), stderr);
    return nullptr;
  }
  for (const TCommand& command : commands) {
    if (program.got_subcommand(command.name)) return &command;
  }
  Print(program.help(), stderr);
  *status = kCommandLineWrong;
  return nullptr;
}

}  // namespace workbench
