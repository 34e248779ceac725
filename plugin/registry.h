// The instrument classes that the library offers.
#ifndef LOOPBOX_PLUGIN_REGISTRY_H
#define LOOPBOX_PLUGIN_REGISTRY_H

#include <cstdint>

#include "host/hx_main.h"
#include "plugin/images.h"
#include "regulator/text.h"

namespace loopbox {

struct TInstrumentClass {
  TText name;
  TText description;
  std::uint32_t infoWord;  // for the host
  TImage smallImage;
  TImage largeImage;
  hx_vinst::CInstrument* (*make)();  // null when there is no memory
};

constexpr std::uint32_t kClassCount = 3;
extern const TInstrumentClass kClasses[kClassCount];

// Null when there is no such class.
const TInstrumentClass* FindClass(std::uint32_t length, const char16_t* name);

}  // namespace loopbox

#endif
