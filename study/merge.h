// The parts of a study joined, and some of its cases run again.
#ifndef LOOPBOX_STUDY_MERGE_H
#define LOOPBOX_STUDY_MERGE_H

#include <cstdint>
#include <string>
#include <vector>

#include "study/part.h"
#include "study/runner.h"

namespace study {

// Writes results.csv and failures.csv of what is there, and says which cases aren't.
// False with a message: a part that has not the cases of its name.
bool Merge(const TPlan& plan, std::vector<TRange>* missing, std::string* error);

inline constexpr std::uint64_t kOneInRunAgain = 100;

// Runs every hundredth case of the results again, read anew, and says which gave other bits.
ERunning RunAgain(const TSite& site, const TPlan& plan, const TEffort& effort, std::vector<TRange>* different,
                  std::string* error);

}  // namespace study

#endif
