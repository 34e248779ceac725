#include "processes/child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

namespace processes {

CChild::CChild(const std::function<int(int answer)>& work) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe: " + std::string(std::strerror(errno)));
  std::fflush(nullptr);  // lest the child writes it too
  id = fork();
  if (id == 0) {
    close(ends[0]);
    _exit(work(ends[1]));
  }
  const int error = errno;
  close(ends[1]);
  answer = ends[0];
  if (id < 0) {
    close(answer);
    throw std::runtime_error("no process: " + std::string(std::strerror(error)));
  }
}

CChild::~CChild() {
  if (!status) Kill();
  close(answer);
}

int CChild::Wait() {
  if (!status) {
    int found = 0;
    while (waitpid(id, &found, 0) < 0 && errno == EINTR) {
    }
    status = found;
  }
  return *status;
}

std::optional<int> CChild::WaitUntil(TDeadline deadline) {
  int found = 0;
  while (!status && waitpid(id, &found, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    usleep(200);
  }
  if (!status) status = found;
  return status;
}

void CChild::Kill() {
  if (status) return;  // its number may be another's by now
  kill(id, SIGKILL);
  Wait();
}

}  // namespace processes
