#include "runtime/text/near_names.h"

#include <algorithm>
#include <utility>

#include "runtime/runtime.h"

namespace runtime {
namespace {

constexpr std::size_t kMostDiffering = 3;
constexpr std::size_t kMostNames = 3;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The distance of optimal string alignment, row by row.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> beforeLast(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::swap(beforeLast, last);
    std::swap(last, row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool isSame = Lower(a[i - 1]) == Lower(b[j - 1]);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (isSame ? 0 : 1)});
      const bool isSwapped = i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) && Lower(a[i - 2]) == Lower(b[j - 1]);
      if (isSwapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
  }
  return row[b.size()];
}

}  // namespace

CNearNames::CNearNames(std::string_view word) : wrong(word), nearest(std::min(word.size() / 3, kMostDiffering)) {}

void CNearNames::Offer(std::string_view name) {
  const std::size_t difference = std::max(name.size(), wrong.size()) - std::min(name.size(), wrong.size());
  if (difference > nearest || name == wrong) return;
  const std::size_t distance = Distance(wrong, name);
  if (distance > nearest) return;
  if (distance < nearest) found.clear();
  nearest = distance;
  if (std::find(found.begin(), found.end(), name) == found.end()) found.emplace_back(name);
}

std::string CNearNames::Question() const {
  std::string text;
  const std::vector<std::string> names = Names();
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += i == 0 ? "; did you mean '" : i + 1 == names.size() ? "' or '" : "', '";
    text += names[i];
  }
  return names.empty() ? text : text + "'?";
}

std::vector<std::string> CNearNames::Names() const {
  return {found.begin(), found.begin() + static_cast<std::ptrdiff_t>(std::min(found.size(), kMostNames))};
}

std::vector<std::string> NearNames(std::string_view word, const std::vector<std::string>& known) {
  CNearNames near(word);
  for (const std::string& name : known) near.Offer(name);
  return near.Names();
}

}  // namespace runtime
