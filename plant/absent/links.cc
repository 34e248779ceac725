// The links to a plant where they were not built in.
#include "plant/links.h"

namespace plant {

struct CLinks::TState {
  std::vector<TReading> readings;
};

CLinks::CLinks(std::unique_ptr<TState> theState) : state(std::move(theState)) {}
CLinks::~CLinks() = default;

std::unique_ptr<CLinks> CLinks::Start(const TConnections&, double, bool, std::string* error) {
  *error = "this build of the program has no links to a plant: it lacks libmodbus and libmosquitto";
  return nullptr;
}

const std::vector<TReading>& CLinks::Read() { return state->readings; }
bool CLinks::IsReady() const { return false; }
bool CLinks::IsReady(std::size_t) const { return false; }
std::optional<double> CLinks::ReadBack(std::size_t) const { return std::nullopt; }
void CLinks::Beat() {}
void CLinks::Write(const std::vector<TWanted>&) {}
bool CLinks::TakeMessage(std::string*) { return false; }
bool CLinks::IsAlive() const { return false; }
TLinkCounts CLinks::CountsOf(std::size_t) const { return {}; }
bool CLinks::Finish(std::string*) { return true; }

}  // namespace plant
