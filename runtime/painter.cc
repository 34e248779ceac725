// Which history buffers are drawn, and how limit labels are measured.
#include "runtime/painter.h"

#include "host/gaugekit.h"

using runtime::painterChanges;

namespace runtime {
std::uint32_t painterChanges = 1;
}  // namespace runtime

namespace gaugekit {

void CBufferPainter::DeallocateStructure() {
  curveCount = 0;
  created = 0;
  ++painterChanges;
}

void CBufferPainter::SetRange(double from, double to, double low, double high) {
  rangeFrom = from;
  rangeTo = to;
  lowLimit = low;
  highLimit = high;
}

void CBufferPainter::RegisterBuffer(const double* buffer, std::uint32_t count, std::uint32_t color) {
  if (curveCount < kMaximumCurves) curves[curveCount++] = {buffer, count, color};
}

void CBufferPainter::CreateStructure() {
  created = 1;
  ++painterChanges;
}

void CLimitLabel::Update() { width = vgr::GetTextW(&vgr::SystemN9, 255, text); }

}  // namespace gaugekit
