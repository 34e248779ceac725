#include "workbench/report/report_assets.h"

#include "page/embedded.h"

LOOPBOX_EMBED(loopboxReportScript, LOOPBOX_REPORT_SCRIPT);
LOOPBOX_EMBED(loopboxReportStyle, LOOPBOX_REPORT_STYLE);
LOOPBOX_EMBED(loopboxStudyScript, LOOPBOX_STUDY_SCRIPT);
LOOPBOX_EMBED(loopboxTuneReportScript, LOOPBOX_TUNE_REPORT_SCRIPT);
LOOPBOX_EMBED(loopboxTuneReportStyle, LOOPBOX_TUNE_REPORT_STYLE);

namespace workbench {

std::string_view ReportScript() { return page::Between(loopboxReportScriptBegin, loopboxReportScriptEnd); }
std::string_view ReportStyle() { return page::Between(loopboxReportStyleBegin, loopboxReportStyleEnd); }
std::string_view StudyScript() { return page::Between(loopboxStudyScriptBegin, loopboxStudyScriptEnd); }

std::string_view TuneReportScript() { return page::Between(loopboxTuneReportScriptBegin, loopboxTuneReportScriptEnd); }
std::string_view TuneReportStyle() { return page::Between(loopboxTuneReportStyleBegin, loopboxTuneReportStyleEnd); }

}  // namespace workbench
