// The styles that every page begins with, as they stood at build.
#ifndef LOOPBOX_PAGE_ASSETS_H
#define LOOPBOX_PAGE_ASSETS_H

#include <string_view>
#include <vector>

namespace page {

std::vector<std::string_view> SharedStyles();

}  // namespace page

#endif
