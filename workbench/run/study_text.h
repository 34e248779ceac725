// What a study showed, as text for people.
#ifndef LOOPBOX_WORKBENCH_RUN_STUDY_TEXT_H
#define LOOPBOX_WORKBENCH_RUN_STUDY_TEXT_H

#include <string>
#include <vector>

#include "study/study.h"

namespace workbench {

// A heading and a row for each figure, in the language that was chosen.
std::vector<std::vector<std::string>> SpreadRows(const study::TPlan& plan, const study::TStatistics& statistics);
// Lines without their ends: the share that meets what is required, if anything is, and
// what failed.
std::vector<std::string> OutcomeLines(const study::TPlan& plan, const study::TStatistics& statistics);
// "largest heater.iae", and the command that runs each alone.
std::string WorstLabel(const study::TPlan& plan);
std::vector<std::string> WorstCommands(const study::TPlan& plan, const study::TStatistics& statistics);
// All of it.
std::string StudyText(const study::TPlan& plan, const study::TStatistics& statistics);

}  // namespace workbench

#endif
