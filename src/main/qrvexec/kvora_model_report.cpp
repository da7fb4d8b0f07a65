// The model report file. The tag tree is built in the order the readers of
// the report expect: input names and date, the model's own output, then the
// validation rows when there are any. Identifiers 2 and 7 get the ASCII
// object dump instead, built in memory so that a failed open leaves no file.
// Both forms go to a temporary name renamed when complete: whole or nothing.
#include "qrvexec/kvora_model_report.h"

#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>

#include "control/kvora_XML_handler.h"
#include "control/kvora_XML_tag.h"
#include "kernel/kvora_model.h"
#include "nelo-common/kvora_reports.h"
#include "qrvexec/kvora_runvalues.h"
#include "qrvexec/kvora_t_asciiobjio_writer.h"
#include "util/kvora_atomicfile.h"
#include "util/kvora_debug.h"

std::string kvoraModelReportFileName(const char *name, int32_t iteration) {
    std::string result = name != nullptr ? name : "";
    if (iteration < 0) return result;
    const std::string suffix = "_intermediate_" + std::to_string(iteration);
    // The last dot of the whole name, even one in a directory.
    const size_t dot = result.rfind('.');
    if (dot == std::string::npos)
        result += suffix;
    else
        result.insert(dot, suffix);
    return result;
}

int32_t kvoraModelReportUsesXML(int32_t modelId) { return modelId == 2 || modelId == 7 ? 0 : 1; }

namespace {

// All values in one text, each preceded by a blank, in a default-format stream.
template <class T>
KV2AscString joinedValues(const KVORAArray<T> &values) {
    std::ostringstream text;
    for (int32_t i = 1; i <= values.getSize(); ++i) text << ' ' << values[i];
    return KV2AscString(text.str().c_str(), static_cast<int32_t>(text.str().size()));
}

KV2AscString localDate() {
    std::time_t now = std::time(nullptr);
    const char *text = std::ctime(&now);
    std::string date = text != nullptr ? text : "";
    while (!date.empty() && (date.back() == '\n' || date.back() == '\r')) date.pop_back();
    return KV2AscString(date.c_str());
}

}  // namespace

void kvoraWriteModelReport(int32_t iteration, KVORAModel &model, KVORAFieldNameMap *fieldNameMap, int32_t useXML,
                           const KVORAArray<int32_t> &validationRowNums,
                           const KVORAArray<double> &validationActualVals,
                           const KVORAArray<double> &validationPredictedVals, KVORA_ENV env,
                           const char *outputFileName) {
    (void)fieldNameMap;  // for the ASCII form
    const std::string name =
        kvoraModelReportFileName(outputFileName != nullptr ? outputFileName : kvoraModelOutputFileName, iteration);
    if (useXML == 0) {
        // The type name through beginObjectType, then the model as an owned
        // object (which names its type again), as the dump has always been.
        std::ostringstream text;
        {
            KVORAAsciiStreamWriter writer(&text, 0);
            writer.beginObjectType(model.getObjectType().getNameString(), env);
            writer.writeOwnedObject(&model, env);
            writer.flush();
        }
        // Written under a temporary name and renamed when complete, so that
        // the report appears whole or not at all.
        KVORAAtomicFile file(name);
        if (!file.open()) reportError(2302, "Could not open output file", name, env, 1);
        file.stream() << text.str() << '\n';
        if (!file.commit()) reportError(2302, "Could not open output file", name, env, 1);
        return;
    }
    KVORAXMLHandler handler(env);
    {
        KVORAXMLTag &report = handler.getRootTag().addTag("QRVReport", env);
        KVORAXMLTag &input = report.addTag("QRVInput", env);
        input.addLeafTag("InputParametersFileName", env)
            .setValue(kvoraParamFileName != nullptr ? kvoraParamFileName : "", env);
        input.addLeafTag("InputDataFileName", env).setValue(kvoraInputFileName != nullptr ? kvoraInputFileName : "",
                                                            env);
        input.addLeafTag("Date", env).setValue(localDate(), env);
    }
    {
        KVORAXMLTag &report = handler.getRootTag().getTagByLongName("QRVReport", env);
        KVORAXMLTag &output = report.addTag("ModelOutput", env);
        model.writeModelXML(output, env);
    }
    if (validationRowNums.getSize() > 0) {
        KVORAXMLTag &report = handler.getRootTag().getTagByLongName("QRVReport", env);
        KVORAXMLTag &results = report.addTag("ValidationResults", env);
        results.addLeafTag("RecordNumber", env).setValue(joinedValues(validationRowNums), env);
        results.addLeafTag("ActualValue", env).setValue(joinedValues(validationActualVals), env);
        results.addLeafTag("PredictedValue", env).setValue(joinedValues(validationPredictedVals), env);
    }
    // The tree goes to a temporary name that is renamed when complete; a
    // failure says what the handler's own file writer says, then 2301.
    KVORAAtomicFile file(name);
    bool written = file.open();
    if (!written)
        std::cout << std::string("Error: Could not open output file ") + name + "\n" << std::flush;
    else
        written = handler.writeTo(file.stream(), env) && file.commit();
    if (!written) {
        file.discard();
        handler.releasePrimitive(env);
        reportError(2301, "Could not write output file", name, env, 1);
    }
    handler.releasePrimitive(env);
}
