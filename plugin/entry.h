// The entry points of the library: all that a host sees of it before it has an
// instrument. They may be called in any order and any number of times.
//
// Texts are UTF-16 and pass as (length or capacity, pointer) as in
// host/runlib.h; booleans are 1 for success. Image pointers lead to the
// library's own data (format: plugin/icon.h) and stay valid while it is loaded.
#ifndef LOOPBOX_PLUGIN_ENTRY_H
#define LOOPBOX_PLUGIN_ENTRY_H

#include <cstdint>

#include "host/hx_main.h"

#pragma GCC visibility push(default)

extern "C" {

std::uint32_t Version();

// When the library was built for another interface of the host: 0, and the
// message says so.
std::uint8_t Check(std::uint32_t capacity, char16_t* message, std::uint32_t unused1, std::uint32_t unused2,
                   std::uint32_t unused3, std::uint32_t hostInterface);

void GetDLLInfo(std::uint32_t capacity, char16_t* name, const std::uint8_t** smallImage,
                const std::uint8_t** largeImage, std::uint8_t* flag);

// The classes by index from 0. Past the last one: 0.
std::uint8_t GetInstrumentName(std::uint32_t index, std::uint32_t capacity, char16_t* name);

// For an unknown class: 0, and nothing is written.
std::uint8_t GetInstrumentInfo(std::uint32_t length, const char16_t* name, const std::uint8_t** smallImage,
                               const std::uint8_t** largeImage, std::uint32_t* infoWord, std::uint32_t capacity,
                               char16_t* description);

// A new instrument, which belongs to the host: it ends with Done, and the host
// releases the block. For an unknown class, or without memory: null.
hx_vinst::CInstrument* MakeInstrument(std::uint32_t length, const char16_t* name);

}  // extern "C"

// Module initialisers. The first call of each initialises the modules that it
// depends on, later ones only count.
namespace loopbox {
void Init_();
}
namespace loopbox0 {
void Init_();
}
// NOLINTNEXTLINE(readability-identifier-naming): hosts find the module by this name.
namespace loopbox_ {
void Init_();
}

#pragma GCC visibility pop

#endif
