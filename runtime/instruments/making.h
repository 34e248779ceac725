// Making instruments of a class, ending them, and asking what they offer.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_MAKING_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_MAKING_H

#include <string>
#include <string_view>
#include <vector>

#include "host/hx_main.h"
#include "runtime/instruments/application_state.h"

namespace runtime {

// A new initialised instrument of the plug-in or a meter, named, with a host
// part; null with a message when the class is unknown, the plug-in makes
// null, or memory ran out on the way.
hx_vinst::CInstrument* MakeObject(TApplicationState& application, const std::string& className,
                                  const std::string& instrumentName, std::string* error);
constexpr std::string_view kMeterClass = "meter";  // the host's own
// What a definition of it may say, the system keywords and colours aside.
std::vector<TClassWord> WordsOfMeter();
// What acting in every period touches, as far as the host can know: the values
// of its meters, the start of its object and of its other larger blocks.
TTimed TimedOf(hx_vinst::CInstrument& object);
// Done, the host part and the object's block.
void ReleaseObject(hx_vinst::CInstrument* object);

std::vector<TNamed> EventsOf(hx_vinst::CInstrument& object);
std::vector<TNamed> ProceduresOf(hx_vinst::CInstrument& object);
// The same with their descriptions for people: in the language that was chosen.
std::vector<TNamed> Described(std::vector<TNamed> items);
// The letters after the two underscores of a procedure's identifier name.
std::string LettersOf(const std::string& procedure);

}  // namespace runtime

#endif
