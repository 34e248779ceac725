// A trend as a page asks for it.
#ifndef LOOPBOX_PANEL_SERVER_TREND_JSON_H
#define LOOPBOX_PANEL_SERVER_TREND_JSON_H

#include <string>
#include <vector>

#include "panel/server/source.h"

namespace panel {

// {"from":…,"to":…,"resolution":…,"series":{ITEM:{"t":[…],"min":[…],"max":[…],"mean":[…]}}};
// null is what is not finite.
std::string TrendText(const std::vector<std::string>& items, double from, double to, const TTrend& trend);

}  // namespace panel

#endif
