// The program `loopbox`: its command line.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "painting/painting.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/faults.h"
#include "workbench/language.h"

namespace {

using workbench::TRunOptions;
using workbench::TValidateOptions;

// Refuses what is no finite number of at least `minimum`.
CLI::Validator AtLeast(double minimum, const char* what) {
  return {[minimum, what](std::string& text) {
            char* end = nullptr;
            const double value = std::strtod(text.c_str(), &end);
            if (end != text.c_str() && *end == 0 && std::isfinite(value) && value >= minimum) return std::string();
            return std::string("expected ") + what + ", found \"" + text + "\"";
          },
          ""};
}

// Refuses what is no whole number of at least `minimum`.
CLI::Validator Whole(std::uint64_t minimum) {
  return {[minimum](std::string& text) {
            std::uint64_t value = 0;
            const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
            if (status == std::errc() && end == text.data() + text.size() && value >= minimum) return std::string();
            return "expected a whole number of at least " + std::to_string(minimum) + ", found \"" + text + "\"";
          },
          ""};
}

CLI::Validator FileName() {
  return {[](std::string& name) { return name.empty() ? std::string("expected a file's name") : std::string(); }, ""};
}

// A name, "=", and a value of any kind.
CLI::Validator Assignment() {
  return {[](std::string& text) {
            const std::size_t equal = text.find('=');
            if (equal != std::string::npos && equal != 0) return std::string();
            return "expected NAME=VALUE, found \"" + text + "\"";
          },
          ""};
}

// A file's name that says which format of picture is meant.
CLI::Validator PictureName() {
  return {[](std::string& name) {
            if (painting::FormatOf(name)) return std::string();
            return std::string("expected a name that ends in ") + painting::kFormatEndings + ", found \"" + name + "\"";
          },
          ""};
}

void AddPlugin(CLI::App* command, std::string* plugin) {
  command->add_option("--plugin", *plugin, "The plug-in (default: the program's own, loopbox.so)")
      ->type_name("PATH")
      ->check(FileName());
}

void AddLanguage(CLI::App* command, std::string* language) {
  std::string names;
  for (const std::string& name : workbench::Languages("")) names.append(names.empty() ? "" : "|").append(name);
  command
      ->add_option("--language", *language,
                   "Of the plug-in's texts and a run's messages (default: the environment's when cs or en, else cs)")
      ->type_name(names);
}

void AddRun(CLI::App* command, TRunOptions* run, std::vector<std::string>* assignments) {
  command->add_option("FILE", run->file, "The application")->required()->type_name("");
  command->add_option("--period", run->period, "Seconds between periods, instead of the application's")
      ->type_name("S")
      ->check(AtLeast(0.001, "a number of seconds of at least 0.001"));
  command->add_option("--duration", run->duration, "Simulated seconds, instead of the application's")
      ->type_name("S")
      ->check(AtLeast(0.0, "a number of seconds"));
  command->add_option("--set", *assignments, "The initial value of a data element; may be repeated")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false)
      ->check(Assignment());
  command->add_option("--seed", run->seed, "What random numbers start from (default: 1)")
      ->type_name("N")
      ->check(Whole(0));
  command->add_option("--input", run->input, "Recorded data, as a trace, that drive the data elements they name")
      ->type_name("FILE.csv")
      ->check(FileName());
  CLI::Option* realtime = command->add_flag("--realtime", run->realtime, "Wait for the wall clock in each period");
  command->add_option("--realtime-priority", run->realtimePriority, "Ask for a real-time priority, 1 to 99")
      ->type_name("N")
      ->needs(realtime)
      ->check(CLI::Range(1, 99).description(""));
  CLI::Option* trace = command->add_option("--trace", run->trace, "Write a trace as CSV; - is standard output")
                           ->type_name("FILE")
                           ->check(FileName());
  command->add_flag("--trace-state", run->traceState, "Trace what regulators have learnt as well")->needs(trace);
  command->add_option("--every", run->every, "A row of the trace each N periods (default: 1)")
      ->type_name("N")
      ->needs(trace)
      ->check(Whole(1));
  CLI::Option* panes = command->add_option("--panes", run->panes, "Write a picture of the window at the end of the run")
                           ->type_name("FILE.png|.svg")
                           ->check(PictureName());
  command->add_option("--plot", run->plot, "Write a plot of wish, value and output of each regulator")
      ->type_name("FILE.png|.svg")
      ->check(PictureName());
  CLI::Option* report = command->add_option("--report", run->report, "Write a page of plots, metrics, events and panes")
                            ->type_name("FILE.html")
                            ->check(FileName());
  command->add_option("--compare", run->compare, "An earlier trace, beside this run in the report")
      ->type_name("FILE.csv")
      ->needs(report)
      ->check(FileName());
  command->add_option("--panes-at", run->panesAt, "Write FILE-S.png at S seconds as well; may be repeated")
      ->type_name("S")
      ->allow_extra_args(false)
      ->needs(panes)
      ->check(AtLeast(0.0, "a number of seconds"));
  AddPlugin(command, &run->plugin);
  command->add_flag("--quiet", run->quiet, "Only errors; no summary, notes or progress");
}

void AddValidate(CLI::App* command, TValidateOptions* validate) {
  command->add_option("PLUGIN", validate->plugin, "The plug-in (default: loopbox.so beside the program)")
      ->type_name("")
      ->check(FileName());
  CLI::Option* list = command->add_flag("--list", validate->list, "Name all cases and what each proves; run none");
  command->add_option("--include", validate->include, "Only the cases that match; may be repeated")
      ->type_name("PATTERN")
      ->excludes(list)
      ->allow_extra_args(false);
  command->add_option("--exclude", validate->exclude, "Not the cases that match; may be repeated")
      ->type_name("PATTERN")
      ->excludes(list)
      ->allow_extra_args(false);
  command->add_option("--patience", validate->patience, "Seconds that a case may take (default: 10)")
      ->type_name("S")
      ->check(AtLeast(0.1, "a number of seconds of at least 0.1"));
  command->add_flag("--json", validate->json, "The report as one JSON document")->excludes(list);
}

int Main(int argumentCount, char** arguments) {
  CLI::App program("Loopbox: industrial regulators and the process that they regulate, period by period.", "loopbox");
  program.set_version_flag("--version", std::string("loopbox ") + workbench::kProgramVersion);
  program.require_subcommand(0, 1);

  TRunOptions run;
  std::vector<std::string> assignments;
  std::string file;
  std::string className;
  std::string plugin;
  std::string images;
  std::string language;

  CLI::App* runCommand = program.add_subcommand("run", "Run an application");
  AddRun(runCommand, &run, &assignments);
  CLI::App* checkCommand = program.add_subcommand("check", "Say what is wrong with an application, or worth knowing");
  checkCommand->add_option("FILE", file, "The application")->required()->type_name("");
  AddPlugin(checkCommand, &plugin);
  CLI::App* classesCommand = program.add_subcommand("classes", "Say what the plug-in offers");
  classesCommand->add_option("--images", images, "Write the plug-in's images there, as PNG")->type_name("DIR");
  AddPlugin(classesCommand, &plugin);
  CLI::App* describeCommand = program.add_subcommand("describe", "Say what a class offers, and its keywords");
  describeCommand->add_option("CLASS", className, "The class")->required()->type_name("");
  std::string format = "text";
  describeCommand->add_option("--format", format, "As what it is printed (default: text)")
      ->type_name("text|markdown")
      ->check(CLI::IsMember({"text", "markdown"}).description(""));
  AddPlugin(describeCommand, &plugin);
  TValidateOptions validate;
  CLI::App* validateCommand = program.add_subcommand("validate", "Check that a plug-in conforms");
  AddValidate(validateCommand, &validate);

  for (CLI::App* command : {runCommand, checkCommand, classesCommand, describeCommand}) AddLanguage(command, &language);

  try {
    program.parse(argumentCount, arguments);
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? workbench::kDone : workbench::kCommandLineWrong;
  }
  const int languageStatus = workbench::ChooseLanguage(language, runCommand->parsed() ? run.plugin : plugin);
  if (languageStatus != workbench::kDone) return languageStatus;
  for (const std::string& assignment : assignments) {
    const std::size_t equal = assignment.find('=');
    run.initialValues.emplace_back(assignment.substr(0, equal), assignment.substr(equal + 1));
  }
  if (runCommand->parsed()) return workbench::Run(run);
  if (checkCommand->parsed()) return workbench::Check(file, plugin);
  if (classesCommand->parsed()) return workbench::ListClasses(plugin, images);
  if (describeCommand->parsed()) return workbench::DescribeClass(className, plugin, format == "markdown");
  if (validateCommand->parsed()) return workbench::Validate(validate);
  std::fputs(program.help().c_str(), stderr);
  return workbench::kCommandLineWrong;
}

// The status when what was printed could not be written, which a trace there has
// told already.
int Delivered(int status) {
  errno = 0;
  if ((std::fflush(stdout) == 0 && std::ferror(stdout) == 0) || status == workbench::kApplicationWrong) return status;
  std::string message = "standard output can't be written";
  if (errno != 0) message.append(": ").append(std::strerror(errno));
  workbench::PrintError(message);
  return status == workbench::kDone ? workbench::kApplicationWrong : status;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  workbench::InstallFaultHandlers();
  try {
    return Delivered(Main(argumentCount, arguments));
  } catch (const std::bad_alloc&) {
    std::fputs(workbench::kOutOfMemory, stderr);
    return workbench::kApplicationWrong;
  } catch (const std::exception& error) {
    workbench::PrintError(error.what());
    return workbench::kApplicationWrong;
  }
}
