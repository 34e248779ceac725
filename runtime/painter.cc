// Which history buffers are drawn, and how limit labels are measured.
#include "runtime/painter.h"

#include "host/gaugekit.h"

namespace {
std::uint32_t changes = 1;
}

namespace runtime {
std::uint32_t PainterChanges() { return changes; }
}  // namespace runtime

namespace gaugekit {

void CBufferPainter::DeallocateStructure() {
  curveCount = 0;
  created = 0;
  ++changes;
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
  ++changes;
}

void CLimitLabel::Update() { width = vgr::GetTextW(&vgr::SystemN9, 255, text); }

}  // namespace gaugekit
