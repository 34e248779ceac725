// Instruments made and ended.
#include <malloc.h>

#include <algorithm>

#include "runtime/instruments/making.h"
#include "runtime/platform/memory.h"
#include "runtime/text/wide_text.h"
#include "validation/cases.h"
#include "validation/testbed.h"

namespace validation {

namespace {

constexpr int kTimes = 1000;
constexpr int kWarmUp = 20;
constexpr std::size_t kForgivenGrowth = 64 << 10;  // bytes of the whole heap, for the C library's own

hx_vinst::CInstrument* MakeInitialised(CProbe& probe, runtime::TApplicationState& application) {
  std::string error;
  hx_vinst::CInstrument* object = runtime::MakeObject(application, probe.ClassName(), "subject", &error);
  if (object == nullptr) probe.Fail(error);
  return object;
}

// Bytes that are in use, of the plug-in's own allocations too.
std::size_t Heap() { return mallinfo2().uordblks; }

void Thousand(CProbe& probe) {
  runtime::TApplicationState application(probe.Plugin());
  probe.Doing("making and ending an instrument");
  std::size_t heap = 0;
  const CBalance balance;
  for (int i = 0; i < kTimes; ++i) {
    if (i == kWarmUp) heap = Heap();
    runtime::ReleaseObject(MakeInitialised(probe, application));
    balance.Check(probe, "an instrument was made and ended");
  }
  const std::size_t growth = Heap() - std::min(heap, Heap());
  probe.Expect(growth <= kForgivenGrowth, std::to_string(kTimes) + " instruments made and ended leave " +
                                              std::to_string(growth) +
                                              " bytes in use outside the host's memory service");
}

void Uninitialised(CProbe& probe) {
  runtime::TApplicationState application(probe.Plugin());
  const std::u16string name = runtime::Utf16(probe.ClassName());
  const CBalance balance;
  for (int i = 0; i < 2; ++i) {
    hx_vinst::CInstrument* object =
        probe.Exports().makeInstrument(static_cast<std::uint32_t>(name.size()), name.c_str());
    probe.Expect(object != nullptr, "MakeInstrument yields nothing");
    if (i == 1) object->ctx = &application.ctx;
    probe.Doing("Done without InitInstrument");
    object->Done();
    void* block = object;
    runlib::MemDeallocate(&block);
    balance.Check(probe, "Done without InitInstrument");
  }
}

void WithoutMemory(CProbe& probe) {
  runtime::TApplicationState application(probe.Plugin());
  const CBalance balance;
  for (int successes = 0;; ++successes) {
    probe.Doing("making an instrument with memory for " + std::to_string(successes) + " blocks");
    probe.Expect(successes < kTimes, "making an instrument takes more than " + std::to_string(kTimes) + " blocks");
    runtime::FailAllocationAfter(successes);
    const std::uint64_t failures = runtime::MemoryStatistics().failures;
    std::string error;
    hx_vinst::CInstrument* object = runtime::MakeObject(application, probe.ClassName(), "subject", &error);
    const bool failed = runtime::MemoryStatistics().failures != failures;
    runtime::FailAllocationAfter(-1);
    if (object != nullptr) runtime::ReleaseObject(object);
    balance.Check(probe, "making an instrument without enough memory");
    if (!failed) break;
  }
}

void Undefined(CProbe& probe) {
  runtime::TApplicationState application(probe.Plugin());
  const CBalance balance;
  hx_vinst::CInstrument* object = MakeInitialised(probe, application);
  probe.Doing("asking an instrument without a definition whether it needs timing");
  probe.Expect(!object->NeedsTiming(), "an instrument without a definition needs timing");
  for (const std::uint32_t reason : {hx_vinst::kActionTimer, hx_vinst::kActionReceiver, 0x10u, 0u, 0xFFFFFFFFu}) {
    probe.Doing("Action with " + std::to_string(reason) + " before a definition");
    object->Action(reason);
  }
  probe.Doing("Blink, SettingsChanged, FinishRead and events before a definition");
  object->Blink(1);
  object->Blink(0);
  object->SettingsChanged();
  object->FinishRead({0, 0, 10, 10});
  vcore::TEvent event = {{vcore::kEventKeep, vcore::kKeepAtEnd, 0, 0}};
  object->ReceiveEvent(&event);
  probe.Doing("calling procedures before a definition");
  for (const runtime::TNamed& procedure : runtime::ProceduresOf(*object)) {
    const std::u16string name = runtime::Utf16(procedure.name);
    std::vector<hx_expr::TValue> values(runtime::LettersOf(procedure.name).size());
    for (hx_expr::TValue& value : values) hx_tool::SetValueLongReal(&value, 1.0);
    hx_expr::TValueArray arguments = {static_cast<std::uint32_t>(values.size()), values.data()};
    const std::uint32_t identifier = object->GetIdOfName(static_cast<std::uint32_t>(name.size()), name.c_str(), 0);
    CGuardedText error(kCapacity);
    object->Invoke(identifier, &arguments, kCapacity, error.Buffer());
  }
  probe.Doing("ending an instrument that had no definition");
  runtime::ReleaseObject(object);
  balance.Check(probe, "an instrument that had no definition");
}

constexpr TCase kLifetimeCases[] = {
    {"lifetime/thousand", EScope::kClass,
     "An instrument can be made, initialised and ended a thousand times, and nothing is left.", Thousand},
    {"lifetime/uninitialised", EScope::kClass, "Done ends an instrument that was never initialised.", Uninitialised},
    {"lifetime/without-memory", EScope::kClass,
     "Memory may run out at each allocation of making an instrument; nothing is left.", WithoutMemory},
    {"lifetime/undefined", EScope::kClass,
     "An initialised instrument without a definition answers every call and needs no timing.", Undefined},
};

}  // namespace

std::span<const TCase> LifetimeCases() { return kLifetimeCases; }

}  // namespace validation
