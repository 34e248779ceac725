#include "validation/probe.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/platform/memory.h"
#include "runtime/text/wide_text.h"

namespace validation {

namespace {

constexpr char16_t kSentinel = u'\uA5A5';
constexpr std::size_t kSentinels = 512;

}  // namespace

CProbe::CProbe(std::string thePath, std::string theClass, const TEntries& theEntries, std::string theFolder,
               char* theNote)
    : path(std::move(thePath)),
      className(std::move(theClass)),
      entries(theEntries),
      folder(std::move(theFolder)),
      note(theNote) {}

runtime::CPlugin& CProbe::Plugin() {
  if (plugin == nullptr) {
    Doing("loading the plug-in");
    std::string error;
    plugin = runtime::CPlugin::Load(path, &error);
    if (plugin == nullptr) Fail(error);
    Doing("");
  }
  return *plugin;
}

void CProbe::Doing(const std::string& what) {
  std::strncpy(note, what.c_str(), kNoteSize - 1);
  note[kNoteSize - 1] = 0;
}

void CProbe::Fail(const std::string& message) const { throw TVerdict{EOutcome::kFailed, message}; }
void CProbe::Skip(const std::string& reason) const { throw TVerdict{EOutcome::kSkipped, reason}; }

void CProbe::Warn(const std::string& message) { warnings += (warnings.empty() ? "" : "; ") + message; }

CBalance::CBalance() : blocks(runtime::MemoryStatistics().blocks), bytes(runtime::MemoryStatistics().bytes) {}

void CBalance::Check(const CProbe& probe, const std::string& after) const {
  const runtime::TMemoryStatistics now = runtime::MemoryStatistics();
  if (now.blocks == blocks && now.bytes == bytes) return;
  probe.Fail("memory is not balanced after " + after + ": " + std::to_string(blocks) + " blocks of " +
             std::to_string(bytes) + " bytes before, " + std::to_string(now.blocks) + " of " +
             std::to_string(now.bytes) + " now");
}

CGuardedText::CGuardedText(std::uint32_t theCapacity)
    : capacity(theCapacity), words(theCapacity + 1 + kSentinels, kSentinel) {}

bool CGuardedText::Untouched() const {
  return std::all_of(words.begin(), words.end(), [](char16_t word) { return word == kSentinel; });
}

std::u16string CGuardedText::Text(const CProbe& probe, const std::string& what) const {
  const auto behind = words.begin() + capacity + 1;
  if (!std::all_of(behind, words.end(), [](char16_t word) { return word == kSentinel; })) {
    probe.Fail(what + " wrote past a buffer of capacity " + std::to_string(capacity));
  }
  const auto end = std::find(words.begin(), behind, u'\0');
  if (end == behind) probe.Fail(what + " left a buffer of capacity " + std::to_string(capacity) + " without an end");
  return {words.begin(), end};
}

void CheckCapacities(CProbe& probe, const std::string& what, const TTextWriter& write) {
  probe.Doing(what);
  CGuardedText whole(kCapacity);
  probe.Expect(write(kCapacity, whole.Buffer()), what + " yields nothing");
  const std::u16string text = whole.Text(probe, what);
  const auto length = static_cast<std::uint32_t>(text.size());
  for (const std::uint32_t capacity : {0u, 1u, length - std::min(length, 1u), length, length + 1}) {
    probe.Doing(what + " into a buffer of capacity " + std::to_string(capacity));
    CGuardedText cut(capacity);
    probe.Expect(write(capacity, cut.Buffer()), what + " yields nothing at capacity " + std::to_string(capacity));
    probe.Expect(cut.Text(probe, what) == text.substr(0, capacity),
                 what + " is not the beginning of its text at capacity " + std::to_string(capacity));
  }
  probe.Doing("");
}

}  // namespace validation
