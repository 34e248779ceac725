// An application's text with what was proposed for one of its regulators.
#ifndef LOOPBOX_WORKBENCH_RUN_PROPOSED_TEXT_H
#define LOOPBOX_WORKBENCH_RUN_PROPOSED_TEXT_H

#include <optional>
#include <string>

#include "runtime/runtime.h"

namespace workbench {

struct TProposedEntries {
  std::string law;
  double r0 = 0.0;
  double tI = 0.0;               // s
  double tD = 0.0;               // s
  std::optional<double> lag;     // of tD; none: it stays as every regulator begins with it
  std::optional<double> period;  // s; none: it stays
};

// The bytes of the application's own text, which it was read from, with law and parameters
// in the place of the instrument's; an adaptive one becomes one that isn't. All else is
// kept byte for byte. None, with what is wrong, where the definition doesn't stand in
// that text as it is.
std::optional<std::string> ProposedText(const runtime::CApplication& application,
                                        const runtime::CInstrumentHandle& instrument, const std::string& path,
                                        const TProposedEntries& entries, std::string* error);

}  // namespace workbench

#endif
