#include "plugin/registry.h"

#include "boolean/boolean_regulator.h"
#include "pid/pid_regulator.h"
#include "regulator/allocation.h"
#include "step/step_regulator.h"

namespace loopbox {

namespace {

template <typename TClass>
hx_vinst::CInstrument* MakeClass() {
  // The host releases the block of an instrument at the instrument's address.
  return Make<TClass>();
}

constexpr TInstrumentClass kClasses[] = {
    {Text<13>(u"pid_regulator"), Text<49>(u"Regulátor analogové veličiny se spojitým výstupem"), 0x02010102,
     kPidSmallImage, kPidLargeImage, MakeClass<CPidRegulator>},
    {Text<17>(u"boolean_regulator"), Text<63>(u"Regulátor analogové veličiny s diskrétním dvoustavovým výstupem"),
     0x02010202, kBooleanSmallImage, kBooleanLargeImage, MakeClass<CBooleanRegulator>},
    {Text<14>(u"step_regulator"), Text<65>(u"Regulátor analogové veličiny s diskrétním inkrementálním výstupem"),
     0x02010202, kStepSmallImage, kStepLargeImage, MakeClass<CStepRegulator>},
};

}  // namespace

std::span<const TInstrumentClass> Classes() { return kClasses; }

}  // namespace loopbox
