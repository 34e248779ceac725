// The summary of a run as JSON: `--summary`, schema 1. docs/metrics.md describes it.
#ifndef LOOPBOX_WORKBENCH_RUN_SUMMARY_FILE_H
#define LOOPBOX_WORKBENCH_RUN_SUMMARY_FILE_H

#include "json/json.h"
#include "runtime/runtime.h"
#include "workbench/run/provenance.h"
#include "workbench/run/regulator_watch.h"

namespace workbench {

constexpr int kSummarySchema = 1;

json::CValue SummaryValue(const runtime::CApplication& application, const CRegulatorWatch& watch,
                          const TProvenance& provenance);

}  // namespace workbench

#endif
