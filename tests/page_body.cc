#include "tests/page_body.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "json/json.h"

namespace tests {
namespace {

json::CValue Thinned(const json::CValue& value) {
  constexpr std::size_t kMost = 48;
  constexpr std::size_t kEach = 7;
  json::CValue thin;
  if (value.IsObject()) {
    for (const std::string& name : value.Names()) thin.Set(name, Thinned(value.Member(name)));
    return thin;
  }
  if (!value.IsArray()) return value;
  thin = json::CValue::Array();
  const std::vector<json::CValue> elements = value.Elements();
  const bool isLong = elements.size() > kMost;
  if (isLong) thin.Append(static_cast<std::uint64_t>(elements.size()));
  for (std::size_t i = 0; i < elements.size(); i += isLong ? kEach : 1) thin.Append(Thinned(elements[i]));
  return thin;
}

}  // namespace

json::CValue PageData(const std::string& page) {
  const std::string opening = "id=\"data\">";
  const std::size_t data = page.find(opening) + opening.size();
  return json::CValue::Parse(page.substr(data, page.find("</script>", data) - data)).value_or(nullptr);
}

std::string PageBody(std::string page) {
  const auto cut = [&page](const char* from, const char* to) {
    const std::size_t begin = page.find(from);
    if (begin == std::string::npos) return;
    const std::size_t inside = begin + std::strlen(from);
    page.erase(inside, page.find(to, inside) - inside);
  };
  page.erase(0, page.find("<body>"));
  cut("src=\"", "\"");
  cut("<details>", "</details>");
  const json::CValue members = PageData(page);
  page.erase(page.find('>', page.find("id=\"data\"")) + 1);
  for (const std::string& name : members.Names()) page += "\n" + name + ": " + Thinned(members.Member(name)).Text();
  return page + "\n";
}

}  // namespace tests
