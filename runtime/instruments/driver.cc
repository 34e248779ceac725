#include "runtime/instruments/driver.h"

#include <memory>
#include <stdexcept>
#include <string>

#include "runtime/platform/clock.h"

namespace runtime {

namespace {

std::int32_t ElementOf(const TApplicationState& application, std::string_view name) {
  const std::int32_t element = application.data.Find(name);
  if (element < 0) throw std::out_of_range("no data element " + std::string(name));
  return element;
}

}  // namespace

TInstrumentState& InstrumentOf(TApplicationState& application, std::string_view name) {
  return application.instruments[application.instrumentByName.at(std::string(name))];
}

bool ReadDefinition(TApplicationState& application, TInstrumentState& instrument, std::uint32_t end,
                    const TDefinitionTexts& texts) {
  TReading& reading = application.reading;
  reading.instrument = &instrument;
  reading.lexer = std::make_unique<CLexer>(application.source);
  reading.lexer->Seek(instrument.begin);
  reading.end = end;
  reading.last = instrument.header;
  reading.ended = false;
  reading.complaint.clear();
  reading.output = -1;
  instrument.isPlaced = false;
  reading.outputIndex = nullptr;
  instrument.output = -1;
  instrument.outputIndex = nullptr;
  instrument.outputItems.clear();
  instrument.receivers.clear();
  instrument.files.clear();
  for (std::string* text : {&instrument.title, &instrument.quantityUnit, &instrument.outputUnit}) text->clear();
  std::string unread;
  CheckFiles(&unread);  // what failed before is none of this reading's
  bool accepted = instrument.object->ReadSelf(texts.errorCapacity, texts.error, texts.tokenCapacity, texts.token) != 0;
  if (COutputHost* const output = instrument.object->host->output.get(); accepted && output != nullptr) {
    output->NoteOutput(reading.output, reading.outputIndex);
    try {
      output->Check();
    } catch (const TTextError& error) {
      Complain(reading, texts.errorCapacity, texts.error, error);
      accepted = false;
    }
  }
  if (accepted) instrument.output = reading.output;
  if (accepted) instrument.outputIndex = reading.outputIndex;
  if (!CheckFiles(&unread)) application.Report(instrument.name, unread);
  reading.instrument = nullptr;
  reading.lexer.reset();
  return accepted;
}

void Act(TApplicationState& application, hx_vinst::CInstrument& instrument, std::uint32_t milliseconds,
         std::uint32_t reason) {
  SetClock(milliseconds);
  ActIn(application.periodsDone + 1, instrument, reason);
  application.activated.clear();
  ++application.periodsDone;
}

double ValueOf(const TApplicationState& application, std::string_view element, std::size_t item) {
  return application.data.AsDouble(ElementOf(application, element), static_cast<std::uint32_t>(item));
}

void SetValue(TApplicationState& application, std::string_view element, double value, std::size_t item) {
  application.data.SetFromDouble(ElementOf(application, element), static_cast<std::uint32_t>(item), value);
}

}  // namespace runtime
