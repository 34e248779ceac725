#include "workbench/references.h"

#include <filesystem>
#include <system_error>
#include <utility>

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

const CReference* ReferenceOf(const TReferences& references, const std::string& className) {
  const auto found = references.find(className);
  return found == references.end() ? nullptr : &found->second;
}

}  // namespace workbench
