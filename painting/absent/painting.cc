// The operations of painting/painting.h in a build without Cairo.
#include "painting/painting.h"

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

bool IconPicture(const std::uint8_t*, std::string*, std::string* error) { return IsBuiltIn(error); }

}  // namespace painting
