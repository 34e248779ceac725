// Tuning where it was not built in: what begins with a record or a process says so, and
// nothing else is reached.
#include <stdexcept>

#include "tuning/certificate.h"
#include "tuning/pulse_response.h"
#include "tuning/warm_start.h"

namespace tuning {
namespace {

constexpr char kAbsent[] = "this build of the program has no tuning: it lacks libeigen3-dev";

}  // namespace

TProposal Tune(const std::vector<TRecord>&, const TTuneOptions&) { throw std::runtime_error(kAbsent); }
TEstimate Estimate(const std::vector<TRecord>&, const TEstimateOptions&) { throw std::runtime_error(kAbsent); }
std::optional<TSampledModel> FromPulse(const std::vector<double>&, double) { throw std::runtime_error(kAbsent); }

std::string_view LawName(ELaw) { return {}; }
TSampledModel Sample(const TModel&, double) { return {}; }
TSampledLaw Sample(const TController&) { return {}; }
TApparent Apparent(const TModel&) { return {}; }
std::complex<double> LoopGain(const TController&, const TSampledModel&, double) { return {}; }
TMargins Margins(const TController&, const TSampledModel&) { return {}; }
TCost Cost(const TSampledLaw&, const TSampledModel&, double) { return {}; }
TResponse Response(const TController&, const TSampledModel&, double, double, int) { return {}; }
double NoiseGain(const TSampledLaw&, const TSampledModel&) { return 0.0; }
double DesignLoad(const TModel&, double) { return 0.0; }
std::optional<TController> Design(const std::vector<TModel>&, const TDesignOptions&) { return {}; }
std::optional<TWarmStart> WarmStart(const std::vector<TModel>&, const TWarmOptions&) { return {}; }
std::string ParameterFile(const TWarmStart&) { return {}; }
std::string WarmParameters(const TWarmStart&, const std::string&) { return {}; }
std::string WarmScript(const TWarmStart&, const std::string&) { return {}; }

}  // namespace tuning
