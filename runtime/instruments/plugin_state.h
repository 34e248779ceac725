// What the runtime holds of a loaded plug-in: its exports, as it calls them.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_PLUGIN_STATE_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_PLUGIN_STATE_H

#include <string>
#include <vector>

#include "host/hx_main.h"
#include "runtime/runtime.h"

namespace runtime {

// The six exports of a plug-in. Texts as everywhere at the boundary; the
// objects and images belong to the plug-in until stated otherwise.
struct TExports {
  std::uint32_t (*version)();
  std::uint8_t (*check)(std::uint32_t messageCapacity, char16_t* message, std::uint32_t unused1, std::uint32_t unused2,
                        std::uint32_t unused3, std::uint32_t interfaceNumber);
  void (*getDllInfo)(std::uint32_t nameCapacity, char16_t* name, const std::uint8_t** smallImage,
                     const std::uint8_t** largeImage, std::uint8_t* flag);
  std::uint8_t (*getInstrumentName)(std::uint32_t index, std::uint32_t nameCapacity, char16_t* name);
  std::uint8_t (*getInstrumentInfo)(std::uint32_t nameLength, const char16_t* name, const std::uint8_t** smallImage,
                                    const std::uint8_t** largeImage, std::uint32_t* infoWord,
                                    std::uint32_t descriptionCapacity, char16_t* description);
  // A new object that the host owns from then on: it ends with Done, and the
  // host releases its block.
  hx_vinst::CInstrument* (*makeInstrument)(std::uint32_t nameLength, const char16_t* name);
};

struct TPluginState {
  void* library = nullptr;
  TExports exports = {};
  std::string path;
  std::string name;
  std::uint32_t version = 0;
  const std::uint8_t* smallImage = nullptr;
  const std::uint8_t* largeImage = nullptr;
  std::vector<TClass> classes;
};

}  // namespace runtime

#endif
