// The files that reports embed, as they stood at build.
#ifndef LOOPBOX_WORKBENCH_REPORT_REPORT_ASSETS_H
#define LOOPBOX_WORKBENCH_REPORT_REPORT_ASSETS_H

#include <string_view>

namespace workbench {

std::string_view ReportScript();
std::string_view ReportStyle();
std::string_view StudyScript();

}  // namespace workbench

#endif
