#include "workbench/run/service_notice.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "workbench/run/pacing.h"

namespace workbench {
namespace {

constexpr std::int64_t kNoticesInSpan = 4;

}  // namespace

CServiceNotice::CServiceNotice() {
  const char* const name = std::getenv("NOTIFY_SOCKET");
  if (name == nullptr || (name[0] != '/' && name[0] != '@')) return;
  address = name;
  if (address.size() >= sizeof(sockaddr_un::sun_path)) return;
  socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const char* const microseconds = std::getenv("WATCHDOG_USEC");
  const char* const whose = std::getenv("WATCHDOG_PID");
  const bool isOurs = whose == nullptr || std::strtoll(whose, nullptr, 10) == getpid();
  if (microseconds != nullptr && isOurs) span = std::strtoll(microseconds, nullptr, 10) * 1000 / kNoticesInSpan;
}

CServiceNotice::~CServiceNotice() {
  if (socket >= 0) close(socket);
}

void CServiceNotice::Send(const char* text) const {
  if (socket < 0) return;
  sockaddr_un to{};
  to.sun_family = AF_UNIX;
  std::memcpy(to.sun_path, address.data(), address.size());
  if (to.sun_path[0] == '@') to.sun_path[0] = 0;  // of the abstract namespace
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
  sendto(socket, text, std::strlen(text), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to), length);
}

void CServiceNotice::Ready(double period) {
  const auto shortest = static_cast<std::int64_t>(1e9 * period);
  if (span > 0 && span < shortest) {
    span = shortest;
    Send(("WATCHDOG_USEC=" + std::to_string(span * kNoticesInSpan / 1000)).c_str());
  }
  Send("READY=1");
}

void CServiceNotice::Alive() {
  if (socket < 0 || span <= 0) return;
  const std::int64_t now = SystemClock().Now();
  if (now < nextAt) return;
  nextAt = now + span;
  Send("WATCHDOG=1");
}

}  // namespace workbench
