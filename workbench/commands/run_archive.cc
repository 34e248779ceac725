#include "workbench/commands/run_archive.h"

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "plant/plant.h"

namespace workbench {

bool CRunArchive::Open(const TRunOptions& options, runtime::CApplication& application, const runtime::CDataLink* plant,
                       bool isRealTime, std::function<void(const runtime::TRunTimeMessage&)> report,
                       std::string* error) {
  if (options.archive.empty()) return true;
  archive::TArchiving archiving;
  archiving.folder = options.archive;
  archiving.days = options.archiveDays;
  archiving.isRealTime = isRealTime;
  archiving.report = [report = std::move(report)](runtime::TRunTimeMessage message) {
    message.text = runtime::Translated(message.text);
    report(message);
  };
  const std::vector<std::string> columns = plant == nullptr ? std::vector<std::string>() : plant->Columns();
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (!columns[i].ends_with(plant::kQualityColumn)) continue;
    const auto now = [plant, i]() -> std::uint8_t {
      const char* const word = plant->Cell(i).text;
      const auto quality = plant::QualityNamed(word == nullptr ? "" : word);
      return quality ? static_cast<std::uint8_t>(*quality) : 0;
    };
    archiving.qualities.push_back({columns[i].substr(0, columns[i].size() - std::strlen(plant::kQualityColumn)), now});
  }
  archiver = archive::CArchiver::Start(application, std::move(archiving), error);
  return archiver != nullptr;
}

}  // namespace workbench
