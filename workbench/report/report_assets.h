// The files that reports embed, as they stood at build.
#ifndef LOOPBOX_WORKBENCH_REPORT_REPORT_ASSETS_H
#define LOOPBOX_WORKBENCH_REPORT_REPORT_ASSETS_H

#include <string_view>

namespace workbench {

// Whose translation is the language that a page says it is in.
inline constexpr char kPageLanguageKey[] = "page.language";

std::string_view ReportScript();
std::string_view ReportStyle();
std::string_view StudyScript();
std::string_view TuneReportScript();
std::string_view TuneReportStyle();

}  // namespace workbench

#endif
