// The instrument classes that the library offers.
#ifndef LOOPBOX_PLUGIN_REGISTRY_H
#define LOOPBOX_PLUGIN_REGISTRY_H

#include <cstdint>
#include <span>

#include "host/hx_main.h"
#include "plugin/images.h"
#include "regulator/text.h"

namespace loopbox {

struct TInstrumentClass {
  TText name;
  TText description;
  std::uint32_t infoWord;  // for the host
  EImage smallImage;
  EImage largeImage;
  hx_vinst::CInstrument* (*make)();  // null when there is no memory
};

std::span<const TInstrumentClass> Classes();

}  // namespace loopbox

#endif
