// The files that a report embeds, as they stood at build.
#ifndef LOOPBOX_WORKBENCH_REPORT_REPORT_ASSETS_H
#define LOOPBOX_WORKBENCH_REPORT_REPORT_ASSETS_H

#include <string_view>

namespace workbench {

std::string_view ReportScript();
std::string_view ReportStyle();
// dygraphs, the plotting library, and what its licence asks to be kept.
std::string_view PlottingScript();
std::string_view PlottingStyle();
std::string_view PlottingLicence();

}  // namespace workbench

#endif
