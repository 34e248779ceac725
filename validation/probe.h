// What a running case has in hand: the plug-in, a folder of its own, and the
// ways to end. A case that returns has passed.
#ifndef LOOPBOX_VALIDATION_PROBE_H
#define LOOPBOX_VALIDATION_PROBE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "runtime/instruments/driver.h"
#include "runtime/runtime.h"
#include "validation/validation.h"

namespace validation {

constexpr std::uint32_t kCapacity = 255;  // of the texts that cases ask for

// Ends a case.
struct TVerdict {
  EOutcome outcome;
  std::string message;
};

class CProbe {
 public:
  // `note` is where the process that waits reads what the case was doing.
  CProbe(std::string plugin, std::string className, const TEntries& entries, std::string folder, char* note);

  // Loads the plug-in at the first call.
  runtime::CPlugin& Plugin();
  const runtime::TExports& Exports() { return runtime::StateOf(Plugin()).exports; }
  const std::string& ClassName() const { return className; }
  const TEntries& Entries() const { return entries; }  // empty without a reference
  std::string Path(const std::string& name) const { return folder + "/" + name; }

  // What is about to be done, for the message of a crash.
  void Doing(const std::string& what);
  [[noreturn]] void Fail(const std::string& message) const;
  [[noreturn]] void Skip(const std::string& reason) const;
  void Expect(bool holds, const std::string& message) const {
    if (!holds) Fail(message);
  }
  void Warn(const std::string& message);
  const std::string& Warnings() const { return warnings; }

 private:
  std::string path;
  std::string className;
  const TEntries& entries;
  std::string folder;
  char* note;
  std::string warnings;
  std::unique_ptr<runtime::CPlugin> plugin;
};

constexpr std::size_t kNoteSize = 512;

// Fails unless what the host's memory service holds is the same at the end of
// a scope as at its start; `Check` ends it.
class CBalance {
 public:
  CBalance();
  void Check(const CProbe& probe, const std::string& after) const;

 private:
  std::size_t blocks;
  std::size_t bytes;
};

// A text buffer with sentinels behind its terminator's place.
class CGuardedText {
 public:
  explicit CGuardedText(std::uint32_t capacity);
  char16_t* Buffer() { return words.data(); }
  bool Untouched() const;
  // Fails when something stands behind the capacity, or nothing ends the text.
  std::u16string Text(const CProbe& probe, const std::string& what) const;

 private:
  std::uint32_t capacity;
  std::vector<char16_t> words;
};

// Writes a text into a buffer of that capacity; false: there is none.
using TTextWriter = std::function<bool(std::uint32_t capacity, char16_t* buffer)>;
// The text at full capacity, then at 0, 1, and those about its length: always
// its beginning, ended, and nothing behind. A null buffer receives nothing.
void CheckCapacities(CProbe& probe, const std::string& what, const TTextWriter& write);

}  // namespace validation

#endif
