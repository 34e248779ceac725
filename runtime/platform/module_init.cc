// The host's modules are constant-initialised, so that their initialisers
// have nothing left to do than to be counted.
#include "runtime/platform/module_init.h"

#include "host/gaugekit.h"
#include "host/hx_main.h"
#include "host/panes.h"

#define LOOPBOX_MODULES(ENTRY) \
  ENTRY(view)                  \
  ENTRY(vgr)                   \
  ENTRY(vcore)                 \
  ENTRY(vwin)                  \
  ENTRY(vcont)                 \
  ENTRY(hx_vinst)              \
  ENTRY(hx_expr)               \
  ENTRY(hx_main)               \
  ENTRY(hx_keyw)               \
  ENTRY(hx_proc)               \
  ENTRY(hx_tool)               \
  ENTRY(gaugekit)              \
  ENTRY(gaugekit_)

namespace {

struct TModule {
  std::string_view name;
  std::uint32_t count;
};

#define LOOPBOX_INDEX(module) kIndex_##module,
enum : std::size_t { LOOPBOX_MODULES(LOOPBOX_INDEX) };
#define LOOPBOX_MODULE(module) {#module, 0},
TModule modules[] = {LOOPBOX_MODULES(LOOPBOX_MODULE)};

}  // namespace

namespace runtime {

std::uint32_t ModuleInitCount(std::string_view module) {
  for (const TModule& candidate : modules) {
    if (candidate.name == module) return candidate.count;
  }
  return 0;
}

}  // namespace runtime

#define LOOPBOX_INITIALISER(module) \
  void module::Init_() { ++modules[kIndex_##module].count; }
LOOPBOX_MODULES(LOOPBOX_INITIALISER)
