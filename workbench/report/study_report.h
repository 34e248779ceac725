// A study as a page: the worst, median and best runs over each other, runs as lines across
// axes, distributions, and each figure above what it depends on.
#ifndef LOOPBOX_WORKBENCH_REPORT_STUDY_REPORT_H
#define LOOPBOX_WORKBENCH_REPORT_STUDY_REPORT_H

#include <string>

#include "study/study.h"

namespace workbench {

// False with a message that names the file.
bool WriteStudyReport(const study::TSite& site, const study::TPlan& plan, const study::TStatistics& statistics,
                      const std::string& fileName, std::string* error);

}  // namespace workbench

#endif
