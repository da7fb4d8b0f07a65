// The model report file: the XML report that the master writes at the end of
// a run, and after each iteration when PrintModelDuringTraining is set. The
// driver's report writer is a free function over the run's values, so that
// the loops and the tests can call it without a whole driver object.
#pragma once

#include <cstdint>
#include <string>

#include "util/kvora_array.h"
#include "util/kvora_env.h"

class KVORAFieldNameMap;
class KVORAModel;

// The report's file name: `name` for the final report (iteration -1), or with
// "_intermediate_<iteration>" put before the last "." of the whole name, or
// appended when there is none.
std::string kvoraModelReportFileName(const char *name, int32_t iteration);

// Whether a model identifier's report is XML (1) or the ASCII object dump (0,
// identifiers 2 and 7, which the driver never produces).
int32_t kvoraModelReportUsesXML(int32_t modelId);

// Writes the report of `model` for `iteration` to the model output file name
// of the run (or `outputFileName` when not null). Reports 2301 or 2302 and
// ends the run when the file cannot be written.
void kvoraWriteModelReport(int32_t iteration, KVORAModel &model, KVORAFieldNameMap *fieldNameMap, int32_t useXML,
                           const KVORAArray<int32_t> &validationRowNums,
                           const KVORAArray<double> &validationActualVals,
                           const KVORAArray<double> &validationPredictedVals, KVORA_ENV env,
                           const char *outputFileName = nullptr);
