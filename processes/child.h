// A child process that runs a function of this program, and the pipe by which it
// answers.
#ifndef LOOPBOX_PROCESSES_CHILD_H
#define LOOPBOX_PROCESSES_CHILD_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>

namespace processes {

class CChild {
 public:
  using TDeadline = std::chrono::steady_clock::time_point;

  // Forks. The child runs `work` with the descriptor that its answer goes to, and
  // exits with what it returns, without the ends of what the parent began. Throws
  // std::runtime_error when there is no pipe or no process to be had.
  explicit CChild(const std::function<int(int answer)>& work);
  CChild(const CChild&) = delete;
  CChild& operator=(const CChild&) = delete;
  ~CChild();  // kills a child that still runs

  pid_t Id() const { return id; }
  // What the child writes; at its end once the child has ended.
  int Answer() const { return answer; }
  // Waits for its end; yields its status, as waitpid tells it.
  int Wait();
  // The same, or null when the child still runs at that time.
  std::optional<int> WaitUntil(TDeadline deadline);
  void Kill();

 private:
  pid_t id = -1;
  int answer = -1;
  std::optional<int> status;  // once it has been waited for
};

}  // namespace processes

#endif
