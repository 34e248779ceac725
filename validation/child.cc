#include "validation/child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <system_error>

#include "processes/child.h"
#include "processes/temporary_folder.h"
#include "runtime/text/wide_text.h"

namespace validation {

namespace {

#ifdef LOOPBOX_SANITIZE  // whose own tables need more
constexpr rlim_t kMemoryLimit = RLIM_INFINITY;
#else
constexpr rlim_t kMemoryLimit = rlim_t{2} << 30;
#endif

constexpr rlim_t kFileLimit = rlim_t{64} << 20;

using TClock = std::chrono::steady_clock;

// A page that both processes see.
class CNote {
 public:
  CNote() {
    void* page = mmap(nullptr, kNoteSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) throw std::runtime_error("no memory to share with a case");
    text = static_cast<char*>(page);
  }
  CNote(const CNote&) = delete;
  CNote& operator=(const CNote&) = delete;
  ~CNote() { munmap(text, kNoteSize); }

  char* Text() { return text; }
  // The case may have written anything, also over the end.
  std::string While() const { return text[0] == 0 ? "" : " while " + std::string(text, strnlen(text, kNoteSize)); }

 private:
  char* text;
};

void Limit(int resource, rlim_t most) {
  rlimit limit = {};
  if (getrlimit(resource, &limit) != 0) return;
  limit.rlim_cur = std::min(most, limit.rlim_max);
  setrlimit(resource, &limit);
}

// While one lives, whatever a case's processes leave behind becomes a child of
// this process, and ends with it.
class COrphanage {
 public:
  COrphanage() : before(Children()) { prctl(PR_SET_CHILD_SUBREAPER, 1); }
  COrphanage(const COrphanage&) = delete;
  COrphanage& operator=(const COrphanage&) = delete;
  ~COrphanage() {
    // What goes on making processes faster than they end has this many rounds.
    for (int round = 0; round < kMostRounds && EndSome(); ++round) {
    }
    prctl(PR_SET_CHILD_SUBREAPER, 0);
  }

 private:
  static constexpr int kMostRounds = 1000;

  static std::set<pid_t> Children() {
    std::set<pid_t> children;
    std::error_code error;
    for (std::filesystem::directory_iterator task("/proc/self/task", error), end; !error && task != end;
         task.increment(error)) {
      std::ifstream file(task->path() / "children");
      for (pid_t child = 0; file >> child;) children.insert(child);
    }
    return children;
  }

  // What these leave comes next. False when there was none.
  bool EndSome() const {
    bool found = false;
    for (const pid_t child : Children()) {
      if (before.contains(child)) continue;
      if (kill(child, SIGKILL) != 0) continue;  // it took rights of its own
      while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
      }
      found = true;
    }
    return found;
  }

  std::set<pid_t> before;
};

// A group of its own; nothing of what the waiting process made of its signals.
void SetApart() {
  setpgid(0, 0);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) signal(number, SIG_DFL);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  dup2(nothing, STDIN_FILENO);
  close(nothing);
  // What the plug-in prints keeps out of the report.
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

void SetLimits() {
  // The waiting process may end first, by a signal.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  Limit(RLIMIT_CORE, 0);
  Limit(RLIMIT_FSIZE, kFileLimit);
  Limit(RLIMIT_AS, kMemoryLimit);
}

// An answer is the digit of its outcome, a text, and the end.
constexpr char kAnswerEnd = '\0';
constexpr std::size_t kLongestAnswer = 1 << 20;
constexpr std::size_t kLongestMessage = 4096;

constexpr EOutcome kOutcomes[] = {EOutcome::kPassed, EOutcome::kWarning, EOutcome::kSkipped, EOutcome::kFailed};

void WriteAll(int descriptor, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
    if (written <= 0 && errno != EINTR) return;
    if (written > 0) done += static_cast<std::size_t>(written);
  }
}

// What the child does.
int Work(int descriptor, const std::string& folder, char* note, const TWork& work) {
  SetLimits();
  SetApart();
  std::string answer;
  const auto said = [&answer](EOutcome outcome, const std::string& message) {
    const auto place = std::find(std::begin(kOutcomes), std::end(kOutcomes), outcome);
    answer = static_cast<char>('0' + (place - std::begin(kOutcomes))) + message;
  };
  try {
    said(EOutcome::kPassed, work(folder, note));
  } catch (const TVerdict& verdict) {
    said(verdict.outcome, verdict.message);
  } catch (const std::bad_alloc&) {
    said(EOutcome::kFailed, "took more than the memory allowed");
  } catch (const std::exception& error) {
    said(EOutcome::kFailed, std::string("an exception came out: ") + error.what());
  }
  WriteAll(descriptor, answer + kAnswerEnd);
  return 0;
}

constexpr int kSlice = 50;  // milliseconds until an end of the child or of the wait is seen

enum class EReading { kEnded, kLate, kEndless };

// What the child writes until it closes the pipe or ends; processes of its own may
// hold the pipe for longer.
EReading Receive(processes::CChild& child, TClock::time_point deadline, const TInterrupted& interrupted,
                 std::string* answer) {
  for (bool ended = false;;) {
    if (interrupted != nullptr && interrupted()) throw TInterruption();
    pollfd waited = {child.Answer(), POLLIN, 0};
    const int ready = poll(&waited, 1, ended ? 0 : kSlice);
    if (ready > 0) {
      char buffer[4096];
      const ssize_t count = read(child.Answer(), buffer, sizeof buffer);
      if (count == 0) return EReading::kEnded;
      if (count > 0) answer->append(buffer, static_cast<std::size_t>(count));
      if (answer->size() > kLongestAnswer) return EReading::kEndless;
    } else if (ended) {
      return EReading::kEnded;
    } else {
      ended = child.WaitUntil(TClock::now()).has_value();
    }
    if (TClock::now() >= deadline) return EReading::kLate;
  }
}

std::optional<int> WaitFor(processes::CChild& child, TClock::time_point deadline, const TInterrupted& interrupted) {
  for (;;) {
    const auto next = TClock::now() + std::chrono::milliseconds(kSlice);
    if (next >= deadline) return child.WaitUntil(deadline);
    if (const std::optional<int> status = child.WaitUntil(next)) return status;
    if (interrupted != nullptr && interrupted()) throw TInterruption();
  }
}

std::string SignalName(int number) {
  const char* name = sigabbrev_np(number);
  const char* meaning = sigdescr_np(number);
  if (name == nullptr) return "signal " + std::to_string(number);
  return "SIG" + std::string(name) + (meaning == nullptr ? "" : " (" + std::string(meaning) + ")");
}

std::string Patience(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%g s", seconds);
  return text;
}

}  // namespace

std::string Printable(const std::string& bytes) {
  std::string printable = runtime::Utf8(runtime::Utf16(bytes.substr(0, kLongestMessage)));
  for (char& c : printable) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  return printable;
}

bool ReadAnswer(const std::string& bytes, TEnd* end) {
  if (bytes.size() < 2 || bytes.find(kAnswerEnd) != bytes.size() - 1) return false;
  const auto number = static_cast<std::size_t>(bytes[0] - '0');
  if (number >= std::size(kOutcomes)) return false;
  end->outcome = kOutcomes[number];
  (end->outcome == EOutcome::kPassed ? end->answer : end->message) = bytes.substr(1, bytes.size() - 2);
  return true;
}

TEnd RunApart(double patience, const TWork& work, const TInterrupted& interrupted) {
  CNote note;
  const processes::CTemporaryFolder folder("validate");
  const COrphanage orphanage;
  const TClock::time_point start = TClock::now();
  const auto deadline = start + std::chrono::duration_cast<TClock::duration>(std::chrono::duration<double>(patience));
  processes::CChild child([&](int descriptor) { return Work(descriptor, folder.Path(), note.Text(), work); });
  setpgid(child.Id(), child.Id());
  TEnd end;
  std::string answer;
  const EReading reading = Receive(child, deadline, interrupted, &answer);
  const std::optional<int> status = reading == EReading::kEnded ? WaitFor(child, deadline, interrupted) : std::nullopt;
  if (!status) {
    kill(-child.Id(), SIGKILL);
    child.Kill();
  }
  end.seconds = std::chrono::duration<double>(TClock::now() - start).count();
  if (!status) {
    end.outcome = EOutcome::kFailed;
    end.message =
        (reading == EReading::kEndless ? "answered without an end" : "took longer than " + Patience(patience)) +
        note.While();
  } else if (WIFSIGNALED(*status)) {
    end.message = SignalName(WTERMSIG(*status)) + note.While();
  } else if (WEXITSTATUS(*status) != 0 || !ReadAnswer(answer, &end)) {
    end.message = "ended the process with exit status " + std::to_string(WEXITSTATUS(*status)) + note.While();
  }
  end.message = Printable(end.message);
  return end;
}

}  // namespace validation
