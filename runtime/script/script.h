// The script of an application, in Lua: event procedures and scheduled calls.
//
// A script sees `data`, the instruments by their names, `at`, `every`, `time`,
// `save`, `print` and Lua's base, math, string and table libraries, without
// anything that reaches files, processes or compiled chunks. Each call into
// it is bounded in instructions and the whole in memory.
#ifndef LOOPBOX_RUNTIME_SCRIPT_SCRIPT_H
#define LOOPBOX_RUNTIME_SCRIPT_SCRIPT_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "host/hx_main.h"
#include "runtime/instruments/event_host.h"

namespace runtime {

struct TApplicationState;
struct TScriptState;

class CScript final : public CEventHost {
 public:
  // All instruments of the application are made by then.
  explicit CScript(TApplicationState& application);
  ~CScript() override;

  // Runs a block of the application's text once. Throws TTextError, for what
  // Lua refuses and for an error while it runs, at its line. Event procedures
  // that the block defines are entered in the instruments' host parts.
  void RunBlock(std::uint32_t begin, std::uint32_t end);
  // The instruments have been read: no more event procedures.
  void Close();
  void RunDue(double time, bool wereLeftOut) override;
  // The message names the line.
  bool CallEvent(std::uint32_t handler, hx_expr::TValueArray* arguments, std::string* error) override;

  // Whether a script has a global of that name, so that no instrument may.
  static bool IsGlobal(std::string_view name);

 private:
  std::unique_ptr<TScriptState> state;
};

}  // namespace runtime

#endif
