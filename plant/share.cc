#include "plant/share.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "plant/modbus/requests.h"

namespace plant {

TMessage MessageOf(const std::string& text) {
  TMessage message{};
  std::size_t size = std::min(text.size(), sizeof(message.text) - 1);
  // A character of UTF-8 goes on with bytes of 0x80 to 0xBF.
  while (size < text.size() && size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  std::copy_n(text.begin(), size, message.text);
  return message;
}

std::size_t CShare::Bytes(const TConnection& connection) {
  return live::CNewest<TReading>::Bytes(connection.inputs.size()) +
         live::CNewest<TWanted>::Bytes(connection.outputs.size()) + live::CRing<TMessage, 32>::Bytes() +
         live::PlaceBytes(sizeof(TLinkState)) + live::PlaceBytes(connection.outputs.size() * sizeof(double));
}

CShare::CShare(live::CSharedBlock& block, const TConnection& connection)
    : readings(block, connection.inputs.size()),
      outputs(block, connection.outputs.size()),
      messages(block),
      state(block.Place<TLinkState>()),
      readBack(block.Place<double>(connection.outputs.size())) {
  outputs.Write(std::vector<TWanted>(connection.outputs.size()));
  std::fill_n(readBack, connection.outputs.size(), std::numeric_limits<double>::quiet_NaN());
}

double SafeBound(const TConnection& connection) {
  std::vector<TRegisters> places;
  for (const TOutput& output : connection.outputs) {
    if (output.safe) places.push_back(output.point.registers);
  }
  const std::size_t requests = connection.kind == TConnection::kModbus ? WriteRequests(places).size() : 1;
  // What is under way, connecting, writing, reading back; a pause, and anew.
  return connection.firstRetry + connection.timeout * (4.0 + 2.0 * static_cast<double>(requests));
}

bool HasSafe(const TConnection& connection) {
  return std::any_of(connection.outputs.begin(), connection.outputs.end(),
                     [](const TOutput& output) { return output.safe.has_value(); });
}

}  // namespace plant
