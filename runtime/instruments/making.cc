#include "runtime/instruments/making.h"

#include <new>
#include <utility>

#include "host/gaugekit.h"
#include "runtime/instruments/driver.h"
#include "runtime/instruments/meters.h"
#include "runtime/platform/block_pool.h"
#include "runtime/platform/memory.h"
#include "runtime/runtime.h"
#include "runtime/text/wide_text.h"

namespace runtime {

namespace {

constexpr std::uint32_t kMaximumEntries = 1000;  // an instrument that never says no is cut off

hx_vinst::CInstrument* MakeMeter() {
  void* block = nullptr;
  runlib::MemAllocate(&block, sizeof(gaugekit::CMeter));
  return block == nullptr ? nullptr : new (block) gaugekit::CMeter();
}

hx_vinst::CInstrument* Construct(TApplicationState& application, const std::string& className, std::string* error) {
  if (className == kMeterClass) return MakeMeter();
  const TPluginState& plugin = StateOf(application.plugin);
  for (const TClass& known : plugin.classes) {
    if (known.name != className) continue;
    const std::u16string name = Utf16(className);
    hx_vinst::CInstrument* object =
        plugin.exports.makeInstrument(static_cast<std::uint32_t>(name.size()), name.c_str());
    if (object == nullptr) *error = "the plug-in made no instrument of class '" + className + "'";
    return object;
  }
  *error = "unknown class '" + className + "'; there are";
  for (const TClass& known : plugin.classes) *error += " " + known.name + ",";
  *error += " meter";
  return nullptr;
}

// Whether a block is one of a child's, which the host made.
bool IsOfChild(const hx_vinst::CInstrument& object, const void* block) {
  for (const view::CView* child = object.firstChild; child != nullptr; child = child->next) {
    const bool isBuffer =
        child->kind == view::kMeter && static_cast<const gaugekit::CMeter*>(child)->historyBuffer == block;
    if (child == block || isBuffer) return true;
  }
  return false;
}

}  // namespace

hx_vinst::CInstrument* MakeObject(TApplicationState& application, const std::string& className,
                                  const std::string& instrumentName, std::string* error) {
  const std::uint64_t failuresBefore = MemoryStatistics().failures;
  const std::string outOfMemory = "out of memory while making the instrument '" + instrumentName + "'";
  const CBlockLog given;
  hx_vinst::CInstrument* object = Construct(application, className, error);
  if (object == nullptr) {
    if (MemoryStatistics().failures != failuresBefore) *error = outOfMemory;
    return nullptr;
  }
  object->ctx = &application.ctx;
  object->host = new hx_vinst::THostPart();
  object->host->name = Utf16(instrumentName);
  object->name = object->host->name.c_str();
  object->InitInstrument();
  object->host->madeWidth = object->winWidth;
  object->host->madeHeight = object->winHeight;
  if (MemoryStatistics().failures != failuresBefore) {
    *error = outOfMemory;
    ReleaseObject(object);
    return nullptr;
  }
  for (const CBlockLog::TGivenBlock& block : given.Blocks()) {
    if (block.size >= kLeastPooled && !IsOfChild(*object, block.start)) object->host->blocks.push_back(block.start);
  }
  return object;
}

TTimed TimedOf(hx_vinst::CInstrument& object) {
  constexpr std::size_t kLine = 64;     // bytes
  constexpr std::size_t kOwnLines = 8;  // of the object itself
  constexpr std::size_t kLines = 4;     // of another block
  TTimed timed = {&object, {}};
  std::size_t count = 0;
  const auto add = [&](const void* start, std::size_t lines) {
    for (std::size_t i = 0; i < lines && count < TTimed::kLines; ++i) {
      timed.lines[count++] = static_cast<const char*>(start) + i * kLine;
    }
  };
  for (const gaugekit::CMeter& meter : MetersOf(object)) add(&meter.meterValue, 1);
  for (const void* block : object.host->blocks) add(block, block == &object ? kOwnLines : kLines);
  while (count < TTimed::kLines) add(&object, 1);
  return timed;
}

void ReleaseObject(hx_vinst::CInstrument* object) {
  object->Done();
  object->name = u"";
  delete object->host;
  object->host = nullptr;
  void* block = object;
  runlib::MemDeallocate(&block);
}

std::vector<TNamed> EventsOf(hx_vinst::CInstrument& object) {
  std::vector<TNamed> events;
  char16_t name[kTextCapacity + 1];
  char16_t description[kTextCapacity + 1];
  for (std::uint32_t i = 0; i < kMaximumEntries; ++i) {
    if (!object.GetProcedureDescription(i, kTextCapacity, name, kTextCapacity, description)) break;
    events.push_back({Utf8(name), Utf8(description)});
  }
  return events;
}

std::vector<TNamed> ProceduresOf(hx_vinst::CInstrument& object) {
  std::vector<TNamed> procedures;
  char16_t name[kTextCapacity + 1];
  char16_t description[kTextCapacity + 1];
  // Identifiers may have gaps.
  for (std::uint32_t identifier = 0; identifier < kMaximumEntries; ++identifier) {
    if (!object.GetNameOfId(identifier, kTextCapacity, name)) continue;
    if (!object.GetDescriptionOfId(identifier, kTextCapacity, description)) description[0] = 0;
    procedures.push_back({Utf8(name), Utf8(description)});
  }
  return procedures;
}

std::vector<TNamed> Described(std::vector<TNamed> items) {
  for (TNamed& item : items) item.description = Translated(std::move(item.description));
  return items;
}

std::string LettersOf(const std::string& procedure) {
  const std::size_t underscores = procedure.find("__");
  return underscores == std::string::npos ? std::string() : procedure.substr(underscores + 2);
}

}  // namespace runtime

namespace hx_main {

// Handle 1 is the meter's, the only class that instruments make for themselves.
std::uint32_t CInstrumentManager::GetClassHandle(std::uint32_t length, const char16_t* className) {
  return runlib::WStrCompare(5, u"meter", length, className) == 0 ? 1 : 0;
}

hx_vinst::CInstrument* CInstrumentManager::MakeInstrument(std::uint32_t handle, TContext* ctx, std::uint32_t* word) {
  *word = 0;
  hx_vinst::CInstrument* instrument = handle == 1 ? runtime::MakeMeter() : nullptr;
  if (instrument == nullptr) return nullptr;
  instrument->ctx = ctx;
  instrument->InitInstrument();
  return instrument;
}

namespace {
CInstrumentManager manager;
}
CInstrumentManager* PInstrumentManager = &manager;

}  // namespace hx_main
