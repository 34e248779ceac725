// The link between a run and the process of a unit.
#include "fmu/process.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <optional>

#include "fmu/importing.h"
#include "fmu/loaded_unit.h"
#include "fmu/unit/frames.h"
#include "fmu/unit/number_text.h"
#include "processes/child.h"

namespace fmu {
namespace {

constexpr double kLastPatience = 2.0;  // seconds for an end in order

const TScalar* FindVariable(const TDescription& description, const std::string& name) {
  for (const TScalar& scalar : description.variables) {
    if (scalar.name == name) return &scalar;
  }
  return nullptr;
}

class CUnitLink final : public runtime::CDataLink {
 public:
  CUnitLink(const TUnitProcess& theProcess, std::unique_ptr<CLoadedUnit> theUnit)
      : process(theProcess), unit(std::move(theUnit)) {
    received.descriptor = -1;
  }
  ~CUnitLink() override;

  runtime::EDataLink Kind() const override { return runtime::EDataLink::kProcess; }
  const char* Name() const override { return "the unit of the process"; }
  bool FindVariables(std::string* error);
  bool Open(runtime::CApplication& application, std::string* error) override;
  const std::vector<runtime::TItem>& Written() const override { return written; }
  void BeforeProcess(double) override;
  bool BeforePeriod(double time, std::string* error) override;
  bool AfterPeriod(double, std::string*) override { return true; }

 private:
  bool Start(std::string* error);
  void PutInputs();
  bool Ask(std::string* error);
  bool TakeOutputs(const TFrame& frame, std::string* error);
  std::string HowItEnded();

  const TUnitProcess& process;
  std::unique_ptr<CLoadedUnit> unit;
  runtime::CApplication* application = nullptr;
  TImported imported;
  std::vector<runtime::TItem> written;
  std::optional<processes::CChild> child;
  int channel = -1;
  TFrameBuffer received = {};
  TFrameWriter writer = {};
  double reached = 0.0;  // seconds
};

// An end in order where the process still listens; else by force.
CUnitLink::~CUnitLink() {
  if (channel >= 0) close(channel);
  if (child) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(kLastPatience);
    child->WaitUntil(std::chrono::time_point_cast<processes::CChild::TDeadline::duration>(deadline));
  }
  FreeBuffer(&received);
  FreeWriter(&writer);
}

bool CUnitLink::FindVariables(std::string* error) {
  const TDescription& description = unit->Description();
  const auto find = [&](const std::string& name, bool isInput) -> const TScalar* {
    const TScalar* const found = FindVariable(description, name);
    const std::string causality = found == nullptr ? "" : found->causality.empty() ? "local" : found->causality;
    if (found == nullptr) {
      *error = process.path + ": the unit has no variable " + name;
    } else if (found->type == "String" || (causality == "input" || causality == "parameter") != isInput) {
      *error = process.path + ": the variable " + name + " is no " + (isInput ? "input" : "output");
    } else {
      return found;
    }
    return nullptr;
  };
  for (const TUnitProcess::TInput& input : process.inputs) {
    const TScalar* const found = find(input.name, true);
    if (found == nullptr) return false;
    imported.inputs.push_back(*found);
  }
  for (const TUnitProcess::TOutput& output : process.outputs) {
    const TScalar* const found = find(output.name, false);
    if (found == nullptr) return false;
    imported.outputs.push_back(*found);
    written.push_back(output.item);
  }
  if (description.needsTool) {
    *error = process.path + ": the unit needs another program";
    return false;
  }
  return true;
}

bool CUnitLink::Start(std::string* error) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    *error = process.path + ": no socket: " + std::strerror(errno);
    return false;
  }
  channel = ends[0];
  // However a frame is broken off, nobody waits for ever.
  timeval patience{};
  patience.tv_sec = static_cast<time_t>(process.patience);
  patience.tv_usec = static_cast<suseconds_t>(1e6 * (process.patience - std::floor(process.patience)));
  setsockopt(channel, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  setsockopt(channel, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
  const pid_t run = getpid();
  child.emplace([&](int) {
    close(ends[0]);
    for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(STDERR_FILENO, STDOUT_FILENO);  // a trace may go there
    return getppid() == run ? Import(*unit, imported, ends[1]) : 1;
  });
  close(ends[1]);
  return true;
}

std::string CUnitLink::HowItEnded() {
  const int status = child->Wait();
  if (WIFSIGNALED(status)) return std::string("its process ended by a signal: ") + strsignal(WTERMSIG(status));
  return "its process ended with status " + std::to_string(WEXITSTATUS(status));
}

// The answer to what was put, with the outputs' values.
bool CUnitLink::Ask(std::string* error) {
  TFrame frame;
  const bool isSent = SendFrames(channel, &writer, -1) != 0;
  errno = 0;
  const int found = isSent ? ReceiveFrame(channel, &received, &frame) : 0;
  if (found == 1 && frame.kind == kDone) return TakeOutputs(frame, error);
  const bool hangs = found == 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
  if (hangs || found != 0) child->Kill();
  *error = process.path + ": " +
           (hangs        ? "it doesn't answer within " + NumberText(process.patience) + " s"
            : found == 0 ? HowItEnded()
                         : "it answers what is no answer");
  return false;
}

bool CUnitLink::TakeOutputs(const TFrame& frame, std::string* error) {
  TFrameReader reader = ReaderOf(&frame);
  const std::uint32_t status = TakeCount(&reader);
  TakeNumber(&reader);
  std::string said;
  for (std::uint32_t left = TakeCount(&reader); left > 0 && !reader.isShort; --left) {
    TakeCount(&reader);
    std::size_t size = 0;
    const char* const text = TakeText(&reader, &size);
    said.append(said.empty() ? "" : "; ").append(text, size);
  }
  std::vector<double> values(std::min<std::size_t>(TakeCount(&reader), written.size()));
  for (double& value : values) value = TakeNumber(&reader);
  if (status == kWrong || values.size() != written.size() || !IsTaken(&reader)) {
    *error = process.path + ": " + (said.empty() ? "it answers what is no answer" : said);
    return false;
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!std::isfinite(values[i])) {
      *error = process.path + ": its output " + process.outputs[i].name + " is not finite";
      return false;
    }
    application->SetElementValue(written[i], values[i]);
  }
  return true;
}

void CUnitLink::PutInputs() {
  BeginFrame(&writer, kSet);
  PutCount(&writer, static_cast<std::uint32_t>(process.inputs.size()));
  for (std::uint32_t i = 0; i < process.inputs.size(); ++i) {
    PutCount(&writer, i);
    PutNumber(&writer, process.inputs[i].value.Value());
  }
}

bool CUnitLink::Open(runtime::CApplication& opened, std::string* error) {
  application = &opened;
  if (!Start(error)) return false;
  PutInputs();
  BeginFrame(&writer, kStart);
  return Ask(error);
}

void CUnitLink::BeforeProcess(double) { PutInputs(); }

bool CUnitLink::BeforePeriod(double time, std::string* error) {
  BeginFrame(&writer, kStep);
  PutNumber(&writer, reached);
  PutNumber(&writer, time - reached);
  reached = time;
  return Ask(error);
}

}  // namespace

std::unique_ptr<runtime::CDataLink> LinkOf(const TUnitProcess& process, std::string* error) {
  std::unique_ptr<CLoadedUnit> unit = CLoadedUnit::Open(process.path, error);
  if (unit == nullptr) return nullptr;
  auto link = std::make_unique<CUnitLink>(process, std::move(unit));
  return link->FindVariables(error) ? std::move(link) : nullptr;
}

}  // namespace fmu
