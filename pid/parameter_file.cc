// The parameter file keeps what identification learnt over the end of a run: 60
// bytes, every number little-endian: the law's code (32 bits), then as doubles
// theta 0 to 4, the forgetting coefficient and rho.
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>

#include "pid/pid_regulator.h"

namespace loopbox {

namespace {

constexpr std::size_t kLawSize = 4;
constexpr std::size_t kRealSize = 8;
constexpr std::size_t kRealCount = kThetaLength + 2;
constexpr std::size_t kFileSize = kLawSize + kRealCount * kRealSize;
static_assert(kFileSize == 60);

constexpr std::uint32_t kForWriting = 0;
constexpr std::uint32_t kForReading = 1;

void Encode(std::uint64_t word, std::size_t size, std::uint8_t* bytes) {
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(word >> (8 * i));
}

std::uint64_t Decode(std::size_t size, const std::uint8_t* bytes) {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < size; ++i) word |= std::uint64_t{bytes[i]} << (8 * i);
  return word;
}

// The doubles of the file, in its order.
std::array<double*, kRealCount> FileReals(TPidState& s, TIdentState& ident) {
  return {&s.theta[0], &s.theta[1], &s.theta[2], &s.theta[3], &s.theta[4], &s.forgetCoefficient, &ident.rho};
}

}  // namespace

void CPidRegulator::ReceiveEvent(vcore::TEvent* event) {
  CRealRegulator::ReceiveEvent(event);
  const bool keep = event->words[0] == vcore::kEventKeep &&
                    (event->words[1] == vcore::kKeepAtEnd || event->words[1] == vcore::kKeepOnRequest);
  if (keep) SaveParameterFile();
}

void CPidRegulator::SaveParameterFile() {
  if (settings.fileName[0] == 0 || ctx == nullptr || !IsComplete()) return;
  char16_t path[runlib::kPathCapacity + 1] = {};
  char16_t directory[runlib::kPathCapacity + 1] = {};
  char16_t file[runlib::kPathCapacity + 1] = {};
  runlib::ExpandFileName(ctx->files, runlib::kPathCapacity, settings.fileName, runlib::kPathCapacity, path);
  runlib::SplitFileName(ctx->files, runlib::kPathCapacity, path, runlib::kPathCapacity, directory,
                        runlib::kPathCapacity, file);
  if (!runlib::PathExists(runlib::kPathCapacity, directory)) {
    runlib::CreateDirectoryPath(runlib::kPathCapacity, directory);
  }
  const std::uint32_t handle = runlib::FileCreate(ctx->files, runlib::kPathCapacity, settings.fileName, kForWriting);
  if (handle == runlib::kNoHandle) return;

  state->ThetaFromModel();
  std::uint8_t bytes[kFileSize];
  Encode(settings.regulatorType, kLawSize, bytes);
  std::uint8_t* place = bytes + kLawSize;
  for (const double* real : FileReals(*state, *identState)) {
    Encode(std::bit_cast<std::uint64_t>(*real), kRealSize, place);
    place += kRealSize;
  }
  runlib::FileWrite(handle, kFileSize, bytes, kFileSize);
  runlib::FileClose(handle);
}

void CPidRegulator::LoadParameterFile() {
  if (settings.fileName[0] == 0 || ctx == nullptr || !IsComplete()) return;
  char16_t path[runlib::kPathCapacity + 1] = {};
  runlib::ExpandFileName(ctx->files, runlib::kPathCapacity, settings.fileName, runlib::kPathCapacity, path);
  if (!runlib::PathExists(runlib::kPathCapacity, path)) return;
  const std::uint32_t handle = runlib::FileOpen(ctx, runlib::kPathCapacity, settings.fileName, kForReading);
  if (runlib::FileError(handle) != 0) {
    runlib::FileClose(handle);
    return;
  }
  std::uint8_t bytes[kFileSize + 1];  // with one more byte a file that is too long is noticed
  const std::uint32_t count = runlib::FileRead(handle, sizeof(bytes), bytes, sizeof(bytes));
  runlib::FileClose(handle);

  bool sound = count == kFileSize;
  if (sound && Decode(kLawSize, bytes) != settings.regulatorType) return;
  double reals[kRealCount] = {};
  for (std::size_t i = 0; i < kRealCount && sound; ++i) {
    reals[i] = std::bit_cast<double>(Decode(kRealSize, bytes + kLawSize + i * kRealSize));
    sound = std::isfinite(reals[i]);
  }
  // The weight of the forgetting formula is a positive one.
  sound = sound && reals[kRealCount - 1] > 0.0;
  if (!sound) {
    ReportError(Text<25>(u"Soubor parametrů odmítnut"));
    return;
  }
  const auto targets = FileReals(*state, *identState);
  for (std::size_t i = 0; i < kRealCount; ++i) *targets[i] = reals[i];
  state->ModelFromTheta();
}

}  // namespace loopbox
