// A study as a page: distributions, what a figure depends on, and the worst, median and
// best runs over each other.
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
