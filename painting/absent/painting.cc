// The operations of painting/painting.h in a build without Cairo.
#include "painting/painting.h"

#include "painting/live_panes.h"
#include "painting/plot.h"

namespace painting {

bool IsBuiltIn(std::string* error) {
  *error = "pictures are not built in: this program was built without Cairo";
  return false;
}

void UseFontMetrics() {}

bool Picture(const runtime::CApplication&, EFormat, std::string*, std::string* error) { return IsBuiltIn(error); }

bool CPlot::HasRoomFor(std::initializer_list<double>) const { return true; }

bool CPlot::Picture(EFormat, std::string*, std::string* error) const { return IsBuiltIn(error); }

struct CLivePanes::TPlace {};

CLivePanes::CLivePanes(runtime::CApplication& theApplication) : application(theApplication) {}
CLivePanes::~CLivePanes() = default;
void CLivePanes::Keep(std::span<double>) const {}
void CLivePanes::Show(std::span<const double>) {}
std::optional<TPictureSize> CLivePanes::SizeOf(std::size_t) const { return std::nullopt; }

bool CLivePanes::InstrumentPicture(std::size_t, EFormat, TPictureSize, std::string*, std::string* error) const {
  return IsBuiltIn(error);
}

bool IconPicture(const std::uint8_t*, std::string*, std::string* error) { return IsBuiltIn(error); }

}  // namespace painting
