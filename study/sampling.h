// The cases of a study: for each a seed and a value for every input. A case depends on
// the definition and its own number alone, so that any part of a study can be made
// anywhere, in constant memory.
//
// Each input j of case i gets a probability u in (0, 1), whose quantile is its value:
//   random           u is drawn for each
//   latin_hypercube  of N runs one falls into each of N equal strata, u = (p_j(i) + r) / N,
//                    with a permutation p_j of its own and r drawn (McKay, Beckman and
//                    Conover, 1979)
//   grid             a list is taken whole, and all others have as many levels as fit into
//                    the runs, in the middles of equal strata; every combination is a case
#ifndef LOOPBOX_STUDY_SAMPLING_H
#define LOOPBOX_STUDY_SAMPLING_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "study/definition.h"

namespace study {

// Why there can't be so many runs; empty: there can.
std::string ProblemOfRuns(const TDefinition& definition);

// The shortest decimal that reads back as the same double.
std::string NumberText(double number);

// The normal distribution's value below which it lies with that probability, 0 < u < 1;
// its relative error is about 1e-16 (Wichura: AS 241, the percentage points of the normal
// distribution, 1988).
double NormalQuantile(double u);

class CSampling {
 public:
  // The definition outlives it, and has no problem.
  explicit CSampling(const TDefinition& definition);

  std::uint64_t Count() const { return count; }
  std::uint64_t SeedOf(std::uint64_t number) const;  // below 2^53
  double ProbabilityOf(std::uint64_t number, std::size_t input) const;
  std::vector<std::string> ValuesOf(std::uint64_t number) const;

 private:
  std::uint64_t Permuted(std::uint64_t number, std::size_t input) const;

  const TDefinition& definition;
  std::uint64_t count;
  std::vector<std::uint64_t> levels;  // by input, of a grid
};

}  // namespace study

#endif
