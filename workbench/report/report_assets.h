// The files that a report embeds, as they stood at build.
#ifndef LOOPBOX_WORKBENCH_REPORT_REPORT_ASSETS_H
#define LOOPBOX_WORKBENCH_REPORT_REPORT_ASSETS_H

#include <string_view>

namespace workbench {

std::string_view ReportScript();
std::string_view ReportStyle();

}  // namespace workbench

#endif
