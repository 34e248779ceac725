#include "workbench/references.h"

#include <filesystem>
#include <sstream>
#include <system_error>
#include <utility>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr char kReferenceEnding[] = ".ref";

}  // namespace

bool LoadReference(const std::string& plugin, const std::string& className, std::optional<CReference>* reference,
                   std::string* error) {
  reference->reset();
  if (className.find('/') != std::string::npos) return true;  // a plug-in may say anything
  const std::filesystem::path path = std::filesystem::path(plugin).parent_path() / (className + kReferenceEnding);
  std::error_code missing;
  if (!std::filesystem::exists(path, missing)) return true;
  return CReference::Load(path.string(), &reference->emplace(), error);
}

bool LoadReferences(const runtime::CPlugin& plugin, TReferences* references, std::string* error) {
  for (const runtime::TClass& item : plugin.Classes()) {
    std::optional<CReference> reference;
    if (!LoadReference(plugin.Path(), item.name, &reference, error)) return false;
    if (reference) references->emplace(item.name, *std::move(reference));
  }
  return true;
}

std::vector<runtime::TClassWord> WordsOf(const TReferences& references, const std::string& className) {
  std::vector<runtime::TClassWord> words;
  const CReference* const reference = ReferenceOf(references, className);
  if (reference == nullptr) return words;
  for (const TKeyword& keyword : reference->Keywords()) {
    std::istringstream blocks(keyword.section);
    for (std::string block; blocks >> block;) {
      if (block == "instrument" || block == "system") block.clear();
      words.push_back({block, "", keyword.keyword});
      if (keyword.type != "name") continue;
      for (std::string& value : Split(keyword.range, ',')) words.push_back({block, keyword.keyword, std::move(value)});
    }
  }
  return words;
}

panel::TParameterSets ParameterSetsOf(const TReferences& references) {
  panel::TParameterSets sets;
  for (const auto& [className, reference] : references) {
    if (!reference.Set().empty()) sets.emplace(className, reference.Set());
  }
  return sets;
}

const CReference* ReferenceOf(const TReferences& references, const std::string& className) {
  const auto found = references.find(className);
  return found == references.end() ? nullptr : &found->second;
}

}  // namespace workbench
