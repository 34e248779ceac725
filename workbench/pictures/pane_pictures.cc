#include "workbench/pictures/pane_pictures.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "painting/painting.h"
#include "workbench/pictures/picture_file.h"
#include "workbench/text.h"

namespace workbench {

CPanePictures::CPanePictures(std::string name, std::vector<double> atTimes)
    : fileName(std::move(name)), times(std::move(atTimes)) {
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
}

bool CPanePictures::Prepare(std::string* error) const { return PreparePicture(fileName, error); }

std::vector<std::string> CPanePictures::Names() const {
  std::vector<std::string> names{fileName};
  for (const double time : times) names.push_back(NameAt(time));
  return names;
}

bool CPanePictures::CheckTimes(double duration, std::string* error) const {
  if (times.empty() || times.back() <= duration) return true;
  *error = "--panes-at " + Seconds(times.back()) + ": the run ends at " + Quantity(duration, "s");
  return false;
}

std::string CPanePictures::NameAt(double seconds) const {
  const std::filesystem::path path(fileName);
  const std::string name = path.stem().string() + "-" + Seconds(seconds) + path.extension().string();
  return (path.parent_path() / name).string();
}

bool CPanePictures::Write(const runtime::CApplication& application, const std::string& name, std::string* error) const {
  std::string bytes;
  if (!painting::Picture(application, *painting::FormatOf(fileName), &bytes, error)) {
    *error = name + ": " + *error;
    return false;
  }
  return painting::WritePicture(name, bytes, error);
}

bool CPanePictures::WriteDue(const runtime::CApplication& application, std::string* error) {
  // A time that is a multiple of the period may differ from it by a rounding.
  const double reached = application.Time() + runtime::kForgivenRounding * application.Period();
  while (next < times.size() && times[next] <= reached) {
    if (!Write(application, NameAt(times[next++]), error)) return false;
  }
  return true;
}

bool CPanePictures::WriteLast(const runtime::CApplication& application, std::string* error) const {
  return fileName.empty() || Write(application, fileName, error);
}

}  // namespace workbench
