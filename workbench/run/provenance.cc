#include "workbench/run/provenance.h"

#include <set>
#include <utility>

#include "hash/hash.h"

namespace workbench {
namespace {

std::string HashOf(const std::string& file) {
  std::string ignored;
  const auto hash = hash::Sha256OfFile(file, &ignored);
  return hash ? hash::Hex(*hash) : std::string();
}

}  // namespace

void TProvenance::TakeHashes(const runtime::CApplication& application, const std::vector<std::string>& files) {
  pluginHash = HashOf(plugin);
  textHash = hash::Hex(hash::Sha256(application.Text()));
  std::set<std::string> taken;
  for (const std::string& file : files) {
    if (!taken.insert(file).second) continue;
    std::string hash = HashOf(file);
    if (!hash.empty()) filesRead.emplace_back(file, std::move(hash));
  }
}

}  // namespace workbench
