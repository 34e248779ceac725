#include "workbench/report/report_assets.h"

#include "page/embedded.h"

LOOPBOX_EMBED(loopboxReportScript, LOOPBOX_REPORT_SCRIPT);
LOOPBOX_EMBED(loopboxReportStyle, LOOPBOX_REPORT_STYLE);
LOOPBOX_EMBED(loopboxStudyScript, LOOPBOX_STUDY_SCRIPT);

namespace workbench {

std::string_view ReportScript() { return page::Between(loopboxReportScriptBegin, loopboxReportScriptEnd); }
std::string_view ReportStyle() { return page::Between(loopboxReportStyleBegin, loopboxReportStyleEnd); }
std::string_view StudyScript() { return page::Between(loopboxStudyScriptBegin, loopboxStudyScriptEnd); }

}  // namespace workbench
