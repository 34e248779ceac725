// The report of tuning: one page of HTML that needs nothing else.
#ifndef LOOPBOX_WORKBENCH_REPORT_TUNE_REPORT_H
#define LOOPBOX_WORKBENCH_REPORT_TUNE_REPORT_H

#include <string>
#include <vector>

#include "tuning/certificate.h"
#include "workbench/run/loop_record.h"
#include "workbench/run/tune_result.h"

namespace workbench {

// The records with what the model makes of them, the answers to steps of the wish and the
// load over all models, beside what acts now, the loop's frequency response, and what
// other bounds on the sensitivity cost. False with a message that names the file.
bool WriteTuneReport(const std::string& fileName, const TTuneResult& result, const std::vector<TLoopRecord>& records,
                     const tuning::TTuneOptions& options, std::string* error);

}  // namespace workbench

#endif
