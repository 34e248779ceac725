#include "workbench/report/report_assets.h"

// A file's bytes in the read-only data of the program.
#define LOOPBOX_ASSET(name, path)      \
  extern "C" const char name##Begin[]; \
  extern "C" const char name##End[];   \
  __asm__(".pushsection .rodata, \"a\"\n" #name "Begin:\n.incbin \"" path "\"\n" #name "End:\n.popsection\n")

LOOPBOX_ASSET(loopboxReportScript, LOOPBOX_REPORT_SCRIPT);
LOOPBOX_ASSET(loopboxReportStyle, LOOPBOX_REPORT_STYLE);
LOOPBOX_ASSET(loopboxPlottingScript, LOOPBOX_PLOTTING_SCRIPT);
LOOPBOX_ASSET(loopboxPlottingStyle, LOOPBOX_PLOTTING_STYLE);
LOOPBOX_ASSET(loopboxPlottingLicence, LOOPBOX_PLOTTING_LICENCE);

namespace workbench {
namespace {

std::string_view Between(const char* begin, const char* end) { return {begin, static_cast<std::size_t>(end - begin)}; }

// Without the line that names a file for debuggers, which a browser would ask
// the network for.
std::string_view WithoutMap(std::string_view text) { return text.substr(0, text.rfind("sourceMappingURL=") - 4); }

}  // namespace

std::string_view ReportScript() { return Between(loopboxReportScriptBegin, loopboxReportScriptEnd); }
std::string_view ReportStyle() { return Between(loopboxReportStyleBegin, loopboxReportStyleEnd); }
std::string_view PlottingScript() { return WithoutMap(Between(loopboxPlottingScriptBegin, loopboxPlottingScriptEnd)); }
std::string_view PlottingStyle() { return WithoutMap(Between(loopboxPlottingStyleBegin, loopboxPlottingStyleEnd)); }
std::string_view PlottingLicence() { return Between(loopboxPlottingLicenceBegin, loopboxPlottingLicenceEnd); }

}  // namespace workbench
