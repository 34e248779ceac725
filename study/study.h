// Thousands of runs of one application, each with other values of its inputs. A study
// is planned into a folder, run part by part in child processes or by an engine of the
// user's, and merged.
//
//   std::optional<study::TPlan> plan = study::ReadStudy(site, reading, "robust", &found, &error);
//   study::WritePlan(site, &*plan, "robust.study", &error);
//   study::RunParts(site, *plan, {0, plan->runs - 1}, effort, &error);
//   study::Merge(*plan, &missing, &error);
//   study::StatisticsOf(*plan, &statistics, &error);
#ifndef LOOPBOX_STUDY_STUDY_H
#define LOOPBOX_STUDY_STUDY_H

#include "study/engines.h"
#include "study/measure.h"
#include "study/merge.h"
#include "study/one_case.h"
#include "study/part.h"
#include "study/plan.h"
#include "study/statistics.h"
#include "study/study_reader.h"

#endif
