#include "page/assets.h"

#include "page/embedded.h"
#include "page/page.h"

LOOPBOX_EMBED(loopboxTheme, LOOPBOX_THEME);
LOOPBOX_EMBED(loopboxPlots, LOOPBOX_PLOTS);
LOOPBOX_EMBED(loopboxPlottingScript, LOOPBOX_PLOTTING_SCRIPT);
LOOPBOX_EMBED(loopboxPlottingStyle, LOOPBOX_PLOTTING_STYLE);
LOOPBOX_EMBED(loopboxPlottingLicence, LOOPBOX_PLOTTING_LICENCE);

namespace page {
namespace {

// Without the line that names a file for debuggers, which a browser would ask
// the network for.
std::string_view WithoutMap(std::string_view text) { return text.substr(0, text.rfind("sourceMappingURL=") - 4); }

}  // namespace

std::vector<std::string_view> SharedStyles() {
  return {WithoutMap(Between(loopboxPlottingStyleBegin, loopboxPlottingStyleEnd)),
          Between(loopboxThemeBegin, loopboxThemeEnd)};
}

std::vector<std::string_view> PlottingScripts() {
  return {WithoutMap(Between(loopboxPlottingScriptBegin, loopboxPlottingScriptEnd)),
          Between(loopboxPlotsBegin, loopboxPlotsEnd)};
}

std::string_view PlottingLicence() { return Between(loopboxPlottingLicenceBegin, loopboxPlottingLicenceEnd); }

}  // namespace page
