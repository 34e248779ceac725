// Pages as files of tests can hold them.
#ifndef LOOPBOX_TESTS_PAGE_BODY_H
#define LOOPBOX_TESTS_PAGE_BODY_H

#include <string>

#include "json/json.h"

namespace tests {

// What a page's script draws; null without it.
json::CValue PageData(const std::string& page);

// A report's page without what it embeds: pictures, the licence, styles and scripts. The data
// that its script draws stand last, a line for each member; of lists of more than 48 there
// their length and every seventh element.
std::string PageBody(std::string page);

}  // namespace tests

#endif
