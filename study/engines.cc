#include "study/engines.h"

#include <filesystem>
#include <system_error>

#include "study/files.h"

namespace study {
namespace {

// As a word of a shell.
std::string Word(const std::string& text) {
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

std::string Settings(const TSite& site) {
  std::error_code failure;
  return "loopbox=${LOOPBOX:-" + Word(site.program) +
         "}\nplugin=" + Word(std::filesystem::absolute(site.plugin.Path(), failure).string()) + "\n";
}

std::string ForSlurm(const TSite& site, const TPlan& plan) {
  const std::string chunk = std::to_string(plan.chunk);
  return "#!/bin/sh\n"
         "# From this folder: sbatch array.sh. When all tasks are done: loopbox study merge .\n"
         "# A task is a part of " +
         chunk +
         " cases; one that was killed is run again by the same command,\n"
         "# and parts that are there are left as they are.\n"
         "#SBATCH --job-name=" +
         plan.definition.name +
         "\n"
         "#SBATCH --array=0-" +
         std::to_string((plan.runs - 1) / plan.chunk) +
         "\n"
         "#SBATCH --ntasks=1\n"
         "#SBATCH --cpus-per-task=1\n"
         "#SBATCH --requeue\n"
         "cd \"${SLURM_SUBMIT_DIR:-.}\" || exit 1\n" +
         Settings(site) + "first=$((SLURM_ARRAY_TASK_ID * " + chunk +
         "))\n"
         "exec \"$loopbox\" study run . --jobs 1 --cases \"$first-$((first + " +
         std::to_string(plan.chunk - 1) + "))\" --plugin \"$plugin\"\n";
}

std::string ForParallel(const TSite& site, const TPlan& plan) {
  const std::string last = std::to_string(plan.chunk - 1);
  return "#!/bin/sh\n"
         "# sh parallel.sh [OPTIONS OF parallel], such as --jobs 4, or --sshlogin one,two for machines\n"
         "# that have this folder under the same name. When all tasks are done: loopbox study merge .\n"
         "# Run again, it does what wasn't done or was killed: parallel.log tells.\n"
         "cd \"$(dirname \"$0\")\" || exit 1\n" +
         Settings(site) + "seq 0 " + std::to_string(plan.chunk) + " " + std::to_string(plan.runs - 1) +
         " |\n"
         "  parallel --joblog parallel.log --resume --resume-failed --workdir \"$PWD\" \"$@\" \\\n"
         "    \"\\\"$loopbox\\\" study run . --jobs 1 --cases {}-\\$(({} + " +
         last + ")) --plugin \\\"$plugin\\\"\"\n";
}

}  // namespace

bool WriteScript(const TSite& site, const TPlan& plan, EEngine engine, std::string* error) {
  return engine == EEngine::kSlurm ? WriteFile(plan.folder + "/array.sh", ForSlurm(site, plan), error)
                                   : WriteFile(plan.folder + "/parallel.sh", ForParallel(site, plan), error);
}

}  // namespace study
