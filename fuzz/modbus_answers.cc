// Any bytes as what a Modbus device answers to one request. They are the whole answer to
// it, a refusal, or none; nothing is written past the words that were asked for.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "fuzz/harness.h"
#include "plant/modbus/line.h"
#include "plant/modbus/requests.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::CBytes bytes(data, size);
  plant::TConnection connection;
  connection.host = "127.0.0.1";
  connection.timeout = 0.001;
  plant::CLine line(connection);
  const auto table = static_cast<plant::ETable>(bytes.Below(4));
  const bool writes = bytes.Below(2) == 1;
  const int most = plant::IsBits(table) ? plant::kMostBitsRead : plant::kMostRegistersRead;
  const int count = 1 + static_cast<int>(bytes.Word() % static_cast<unsigned>(most));
  // Without the header of the first request most answers end there.
  const std::string header = bytes.Below(4) == 0 ? "" : std::string("\0\1\0\0", 4);
  const std::string answer = header + bytes.Rest();
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return 0;
  fuzz::Check(send(ends[1], answer.data(), answer.size(), 0) == static_cast<ssize_t>(answer.size()), "it was sent");
  shutdown(ends[1], SHUT_WR);  // nothing is waited for
  line.Adopt(ends[0]);
  constexpr std::uint16_t kGuard = 0xA55A;
  std::vector<std::uint16_t> words(static_cast<std::size_t>(count) + 2000, kGuard);
  std::string error;
  plant::EAnswer ended = plant::EAnswer::kMissed;
  if (writes && (table == plant::ETable::kCoil || table == plant::ETable::kHolding)) {
    const int written =
        std::min(count, table == plant::ETable::kCoil ? plant::kMostBitsWritten : plant::kMostRegistersWritten);
    ended = line.Write(1, table, 7, std::vector<std::uint16_t>(static_cast<std::size_t>(written), 1), &error);
  } else {
    ended = line.Read(1, table, 7, count, words.data(), &error);
  }
  fuzz::Check((ended == plant::EAnswer::kGood) == error.empty(), "what is no good answer has a message");
  fuzz::Check(std::all_of(words.begin() + count, words.end(), [](std::uint16_t word) { return word == kGuard; }),
              "nothing is written past what was asked for");
  close(ends[1]);
  return 0;
}
