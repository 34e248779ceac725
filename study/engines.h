// Scripts by which the user's own engine runs a plan: a task of theirs is a part.
#ifndef LOOPBOX_STUDY_ENGINES_H
#define LOOPBOX_STUDY_ENGINES_H

#include <string>

#include "study/measure.h"
#include "study/plan.h"

namespace study {

enum class EEngine : std::uint8_t { kSlurm, kParallel };
inline constexpr const char* kEngines[] = {"slurm", "parallel"};

// A job array has no more tasks: Slurm's default for MaxArraySize.
inline constexpr std::uint64_t kMostTasks = 1000;

// Into the plan's folder: array.sh for sbatch, or parallel.sh. They call the program and
// the plug-in by the paths that the plan was made with, or what LOOPBOX names.
// False with a message.
bool WriteScript(const TSite& site, const TPlan& plan, EEngine engine, std::string* error);

}  // namespace study

#endif
