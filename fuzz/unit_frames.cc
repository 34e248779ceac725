// Any bytes as the frames between an importer and an instance of a unit: as requests to
// the instance's process (first byte even), and as its answers to the library that the
// importer loaded.
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>

#include "fmu/unit/controller.h"
#include "fmu/unit/instance.h"
#include "fuzz/harness.h"

namespace {

constexpr double kLongestStep = 20.0;  // seconds, lest a request takes for ever

const std::string& UnitFolder() {
  static const tests::CFolder folder;
  static bool isMade = false;
  if (!isMade) {
    fmu::TUnitFile unit;
    unit.guid = "{g}";
    unit.name = "unit";
    unit.plugin = "loopbox.so";
    using fmu::ECausality;
    unit.variables = {{ECausality::kInput, "x"},
                      {ECausality::kOutput, "u"},
                      {ECausality::kParameter, "n"},
                      {ECausality::kInput, "on"}};
    folder.Write(fmu::kUnitFile, fmu::TextOf(unit));
    folder.Write(fmu::kApplicationFile,
                 "data x : real; u : real; n : integer; on : boolean; end_data;\n"
                 "application unit period = 0.1; duration = 1; end_application;\n"
                 "instrument pid_regulator reg expression = x; wish_value = n; output = u; condition = on;\n"
                 "end_instrument;\n");
    std::filesystem::create_symlink(tests::BuildPath("loopbox.so"), folder.Path("loopbox.so"));
    isMade = true;
  }
  return folder.Path();
}

// An answer is a frame with finite values.
void CheckAnswer(TFrameWriter* writer) {
  TFrame frame;
  fuzz::Check(ParseFrame(writer->bytes, writer->size, &frame) == static_cast<long>(writer->size),
              "an answer is a frame");
  TFrameReader reader = ReaderOf(&frame);
  TakeCount(&reader);
  fuzz::Check(std::isfinite(TakeNumber(&reader)), "the time that was reached is finite");
  for (std::uint32_t left = TakeCount(&reader); left > 0; --left) {
    std::size_t size = 0;
    TakeCount(&reader);
    TakeText(&reader, &size);
  }
  for (std::uint32_t left = TakeCount(&reader); left > 0; --left) {
    fuzz::Check(std::isfinite(TakeNumber(&reader)), "a value is finite");
  }
  fuzz::Check(IsTaken(&reader) != 0, "an answer is whole");
  writer->size = writer->frame = 0;
}

void Request(const std::string& bytes) {
  std::string error;
  const auto controller = fmu::CController::Load(UnitFolder(), &error);
  fuzz::Check(controller != nullptr, "the unit is read");
  TFrameWriter writer = {};
  TFrame frame;
  const auto* at = reinterpret_cast<const std::uint8_t*>(bytes.data());
  std::size_t left = bytes.size();
  for (long taken = 0; (taken = ParseFrame(at, left, &frame)) > 0; left -= static_cast<std::size_t>(taken)) {
    double step[2] = {};
    if (frame.kind == kStep && frame.size == sizeof(step)) std::memcpy(step, frame.bytes, sizeof(step));
    if (step[0] + step[1] > kLongestStep) break;
    bool isAnswered = false;
    if (!controller->Do(frame, &writer, &isAnswered)) break;
    if (isAnswered) CheckAnswer(&writer);
    at += taken;
  }
  FreeWriter(&writer);
}

void Answer(const std::string& bytes) {
  int ends[2];
  fuzz::Check(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "there is a socket");
  fuzz::Check(send(ends[1], bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()), "it takes all");
  shutdown(ends[1], SHUT_WR);
  char guid[] = "{g}";
  TInstance instance = {};
  instance.guid = guid;
  instance.channel = ends[0];
  instance.received.descriptor = -1;
  for (int turn = 0; turn < 20 && instance.stage != kDead; ++turn) {
    double values[3] = {};
    BeginFrame(&instance.writer, kFinish);
    const bool isOfOutputs = turn % 2 == 0;
    Ask(&instance, isOfOutputs ? 0 : 3, isOfOutputs ? nullptr : values);
    fuzz::Check(instance.outputCount <= instance.count && instance.count <= kMostVariables, "outputs are variables");
  }
  FreeBuffer(&instance.received);
  FreeWriter(&instance.writer);
  std::free(instance.variables);
  std::free(instance.outputs);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::CBytes bytes(data, size);
  const bool isRequest = bytes.Byte() % 2 == 0;
  const std::string rest = bytes.Rest();
  if (rest.size() > 20'000) return 0;
  if (isRequest) {
    Request(rest);
  } else {
    Answer(rest);
  }
  return 0;
}
