#include "validation/child.h"

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
#include <new>
#include <optional>
#include <stdexcept>

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
  std::string While() const { return text[0] == 0 ? "" : std::string(" while ") + text; }

 private:
  char* text;
};

void Limit(int resource, rlim_t most) {
  rlimit limit = {};
  if (getrlimit(resource, &limit) != 0) return;
  limit.rlim_cur = std::min(most, limit.rlim_max);
  setrlimit(resource, &limit);
}

void SetLimits() {
  // The waiting process may end first, by a signal.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  Limit(RLIMIT_CORE, 0);
  Limit(RLIMIT_FSIZE, kFileLimit);
  Limit(RLIMIT_AS, kMemoryLimit);
}

// By the digit with which an answer begins.
constexpr EOutcome kOutcomes[] = {EOutcome::kPassed, EOutcome::kWarning, EOutcome::kSkipped, EOutcome::kFailed};

void WriteAll(int descriptor, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
    if (written <= 0 && errno != EINTR) return;
    if (written > 0) done += static_cast<std::size_t>(written);
  }
}

// What the child does. Its answer is the outcome's digit, then the text.
int Work(int descriptor, const std::string& folder, char* note, const TWork& work) {
  SetLimits();
  // What the plug-in prints keeps out of the report.
  dup2(STDERR_FILENO, STDOUT_FILENO);
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
  WriteAll(descriptor, answer);
  return 0;
}

// What the child writes until it closes the pipe; false when it takes too long.
bool ReadAnswer(int descriptor, TClock::time_point deadline, std::string* answer) {
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - TClock::now()).count();
    if (left <= 0) return false;
    pollfd waited = {descriptor, POLLIN, 0};
    if (poll(&waited, 1, static_cast<int>(std::min<long long>(left, 1'000'000))) <= 0) continue;
    char buffer[4096];
    const ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return true;
    answer->append(buffer, static_cast<std::size_t>(count));
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

// A message may quote any bytes: UTF-8 in one line without control characters.
std::string Printable(const std::string& text) {
  std::string printable = runtime::Utf8(runtime::Utf16(text));
  for (char& c : printable) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  return printable;
}

}  // namespace

TEnd RunApart(double patience, const TWork& work) {
  CNote note;
  const processes::CTemporaryFolder folder("validate");
  const TClock::time_point start = TClock::now();
  const auto deadline = start + std::chrono::duration_cast<TClock::duration>(std::chrono::duration<double>(patience));
  processes::CChild child([&](int descriptor) { return Work(descriptor, folder.Path(), note.Text(), work); });
  TEnd end;
  std::string answer;
  const bool answered = ReadAnswer(child.Answer(), deadline, &answer);
  const std::optional<int> status = answered ? child.WaitUntil(deadline) : std::nullopt;
  if (!status) child.Kill();
  end.seconds = std::chrono::duration<double>(TClock::now() - start).count();
  if (!status) {
    end.outcome = EOutcome::kFailed;
    end.message = "took longer than " + Patience(patience) + note.While();
  } else if (WIFSIGNALED(*status)) {
    end.message = SignalName(WTERMSIG(*status)) + note.While();
  } else if (WEXITSTATUS(*status) != 0 || answer.empty()) {
    end.message = "ended the process with exit status " + std::to_string(WEXITSTATUS(*status)) + note.While();
  } else {
    end.outcome = kOutcomes[answer[0] - '0'];
    (end.outcome == EOutcome::kPassed ? end.answer : end.message) = answer.substr(1);
  }
  end.message = Printable(end.message);
  return end;
}

}  // namespace validation
