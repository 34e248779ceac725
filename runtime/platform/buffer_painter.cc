// Which history buffers are drawn, and how limit labels are measured.
#include "runtime/platform/buffer_painter.h"

#include "host/gaugekit.h"
#include "runtime/platform/capacities.h"

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

char16_t* CLimitLabel::Room() {
  if (text == nullptr) {
    void* block = nullptr;
    runlib::MemAllocate(&block, (runtime::kTextCapacity + 1) * sizeof(char16_t));
    text = static_cast<char16_t*>(block);
  }
  return text;
}

void CLimitLabel::Update() {
  width = text == nullptr ? 0 : vgr::GetTextW(&vgr::SystemN9, runtime::kTextCapacity, text);
}

void CLimitLabel::Done() {
  void* block = text;
  runlib::MemDeallocate(&block);
  text = nullptr;
  width = 0;
}

}  // namespace gaugekit
