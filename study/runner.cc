#include "study/runner.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

#include "processes/child.h"
#include "study/files.h"
#include "study/one_case.h"
#include "study/sampling.h"

namespace study {
namespace {

using TClock = std::chrono::steady_clock;

constexpr int kGlance = 100;  // ms between looks at limits and interruptions

bool WriteAll(int file, const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = write(file, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) done += static_cast<std::size_t>(count);
  }
  return true;
}

// In a child: a row for each case, as soon as it is done.
int Work(CCaseRunner& runner, const TPlan& plan, const TCases& cases, int answer) {
  // The parent ends it, lest an interruption be taken for a crash.
  signal(SIGINT, SIG_IGN);
  CRows rows(CasesName(plan));
  rows.Seek(cases.first);
  TCase one;
  for (std::uint64_t number = cases.first; number <= cases.last; number += cases.step) {
    bool found = rows.Next();
    while (found && rows.Number() < number) found = rows.Next();
    TOutcome outcome;
    if (!found || rows.Number() != number || !CaseOf(rows, plan.definition.inputs.size(), &one)) {
      outcome.failure = "cases.csv has no such row";
    } else {
      try {
        outcome = runner.Run(one);
      } catch (const std::exception& exception) {
        outcome.failure = exception.what();
      }
    }
    if (!WriteAll(answer, RowOf(plan, number, outcome) + "\n")) return 1;
  }
  return 0;
}

std::string EndOf(int status) {
  return WIFSIGNALED(status) ? "crashed by signal " + std::to_string(WTERMSIG(status))
                             : "ended the program with status " + std::to_string(WEXITSTATUS(status));
}

// Cases that are being run.
struct TJob {
  TCases cases;
  std::uint64_t at = 0;  // the first that isn't done
  std::string rows;
  std::string unfinished;  // of a row
  std::unique_ptr<processes::CChild> child;
  TClock::time_point begun;  // the case at work

  bool IsDone() const { return at > cases.last; }
  void Add(const std::string& row) {
    rows += row + "\n";
    at += cases.step;
    begun = TClock::now();
  }
};

class CRunning {
 public:
  CRunning(const TSite& theSite, const TPlan& thePlan, const TEffort& theEffort)
      : site(theSite), plan(thePlan), effort(theEffort) {}

  std::vector<TJob>& Jobs() { return jobs; }
  std::uint64_t Done() const { return done; }

  void Start(TJob& job) {
    job.unfinished.clear();
    job.begun = TClock::now();
    const TCases rest = {job.at, job.cases.last, job.cases.step};
    job.child = std::make_unique<processes::CChild>([this, rest](int answer) {
      CCaseRunner runner(site, plan, effort.readsAnew);
      return Work(runner, plan, rest, answer);
    });
  }

  // Waits a little for rows; what a child hasn't said when it ends is its failure.
  void Listen() {
    std::vector<pollfd> files;
    for (const TJob& job : jobs) files.push_back({job.child->Answer(), POLLIN, 0});
    if (poll(files.data(), files.size(), kGlance) < 0) return;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
      if (files[i].revents != 0) Hear(jobs[i]);
      if (jobs[i].IsDone() || !effort.limit) continue;
      const std::chrono::duration<double> taken = TClock::now() - jobs[i].begun;
      if (taken.count() > *effort.limit) Fail(jobs[i], "not done in " + NumberText(*effort.limit) + " s");
    }
  }

 private:
  void Hear(TJob& job) {
    char some[65536];
    const ssize_t count = read(job.child->Answer(), some, sizeof(some));
    if (count < 0) return;
    job.unfinished.append(some, static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = job.unfinished.find('\n')) != std::string::npos;) {
      job.Add(job.unfinished.substr(0, end));
      job.unfinished.erase(0, end + 1);
      ++done;
    }
    if (count == 0 && !job.IsDone()) Fail(job, EndOf(job.child->Wait()));
  }

  // The case at work is lost; those behind it go on in another child.
  void Fail(TJob& job, const std::string& failure) {
    job.child->Kill();
    job.Add(RowOf(plan, job.at, {{}, failure}));
    ++done;
    if (!job.IsDone()) Start(job);
  }

  const TSite& site;
  const TPlan& plan;
  const TEffort& effort;
  std::vector<TJob> jobs;
  std::uint64_t done = 0;
};

}  // namespace

ERunning RunCases(const TSite& site, const TPlan& plan, const TEffort& effort,
                  const std::function<std::optional<TCases>()>& next,
                  const std::function<bool(const TCases& cases, const std::string& rows, std::string* error)>& take,
                  std::string* error) {
  CRunning running(site, plan, effort);
  std::vector<TJob>& jobs = running.Jobs();
  try {
    for (bool isMore = true;;) {
      while (isMore && jobs.size() < effort.jobs) {
        const std::optional<TCases> cases = next();
        isMore = cases.has_value();
        if (!isMore) break;
        TJob job;
        job.cases = *cases;
        job.at = cases->first;
        running.Start(jobs.emplace_back(std::move(job)));
      }
      if (effort.progress) effort.progress(running.Done());
      if (jobs.empty()) return ERunning::kDone;
      if (effort.interruptionAsked && effort.interruptionAsked()) return ERunning::kInterrupted;
      running.Listen();
      for (std::size_t i = jobs.size(); i-- > 0;) {
        if (!jobs[i].IsDone()) continue;
        if (!take(jobs[i].cases, jobs[i].rows, error)) return ERunning::kFailed;
        jobs.erase(jobs.begin() + static_cast<std::ptrdiff_t>(i));
      }
    }
  } catch (const std::exception& failure) {
    *error = failure.what();
    return ERunning::kFailed;
  }
}

}  // namespace study
