// The initialisers of the host's modules.
#ifndef LOOPBOX_RUNTIME_PLATFORM_MODULE_INIT_H
#define LOOPBOX_RUNTIME_PLATFORM_MODULE_INIT_H

#include <cstdint>
#include <string_view>

namespace runtime {

// How often the initialiser of a module ("view", "gaugekit_", …) was called;
// 0 for a module that does not exist.
std::uint32_t ModuleInitCount(std::string_view module);

}  // namespace runtime

#endif
