#include "plant/modbus/requests.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "plant/modbus/packing.h"

namespace plant {
namespace {

std::vector<TRequest> Joined(const std::vector<TRegisters>& points, int gap, int mostRegisters, int mostBits) {
  std::vector<std::size_t> order(points.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&points](std::size_t left, std::size_t right) {
    return std::pair(points[left].table, points[left].address) < std::pair(points[right].table, points[right].address);
  });
  std::vector<TRequest> requests;
  for (const std::size_t index : order) {
    const TRegisters& point = points[index];
    const int end = point.address + WordsOf(point.type);
    const int most = IsBits(point.table) ? mostBits : mostRegisters;
    TRequest* last = requests.empty() ? nullptr : &requests.back();
    if (last == nullptr || last->table != point.table || point.address > last->address + last->count + gap ||
        end - last->address > most) {
      last = &requests.emplace_back(TRequest{point.table, point.address, 0, {}});
    }
    last->count = std::max(last->count, end - last->address);
    last->points.push_back(index);
  }
  return requests;
}

}  // namespace

bool IsBits(ETable table) { return table == ETable::kCoil || table == ETable::kDiscrete; }

std::string PlaceOf(const TRegisters& point) {
  const char* const tables[] = {"coil", "discrete", "input", "holding"};
  return std::string(tables[static_cast<int>(point.table)]) + "[" + std::to_string(point.address) + "]";
}

std::vector<TRequest> ReadRequests(const std::vector<TRegisters>& points, int gap) {
  return Joined(points, gap, kMostRegistersRead, kMostBitsRead);
}

std::vector<TRequest> WriteRequests(const std::vector<TRegisters>& points) {
  return Joined(points, 0, kMostRegistersWritten, kMostBitsWritten);
}

}  // namespace plant
