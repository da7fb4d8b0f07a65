// The kernel's set-up from its keys: the kernel function of the chosen type
// and the object's settings. Only the Friends kernel passes the key reader,
// though the set-up can make every kernel function of the family.
#include "simple_algorithm/kvora_kernel_data.h"

#include <cstring>

#include "control/kvora_XML_tag.h"
#include "simple_algorithm/kvora_kernel_functions_cosine.h"
#include "simple_algorithm/kvora_kernel_functions_friends.h"
#include "simple_algorithm/kvora_kernel_functions_information.h"
#include "simple_algorithm/kvora_kernel_functions_poly.h"
#include "simple_algorithm/kvora_kernel_functions_precomputed.h"
#include "simple_algorithm/kvora_kernel_functions_rbf.h"
#include "simple_algorithm/kvora_kernel_functions_sigmoid.h"
#include "util/kvora_debug.h"

namespace {

const KVORAXMLTag *findKey(const KVORAXMLTag &parameters, const char *key, KVORA_ENV env)
{
    // The lookups read the tree only.
    KVORAXMLTag &tree = const_cast<KVORAXMLTag &>(parameters);
    if (!tree.findTagByLongName(key, env)) return nullptr;
    return &tree.getTagByLongName(key, env);
}

bool equals(const KV2AscString &text, const char *word)
{
    return std::strcmp(text.c_str(), word) == 0;
}

}  // namespace

void KVORAKernelData::open(const KVORAXMLTag &tag, KVORA_ENV env)
{
    const KVORAXMLTag *own = findKey(tag, "KernelParams", env);
    KVORAKernelDataParameters parameters;
    parameters.readParameters(own != nullptr ? *own : tag, env);

    KVORAKernelFunction *made = nullptr;
    const KV2AscString &type = parameters.kernelType;
    if (equals(type, "Poly"))
        made = new KVORAKernelFunctionPoly(parameters.degree, parameters.multiplier, parameters.bias, env);
    else if (equals(type, "RBF"))
        made = new KVORAKernelFunctionRBF(parameters.gamma, env);
    else if (equals(type, "Sigmoid"))
        made = new KVORAKernelFunctionSigmoid(parameters.multiplier, parameters.bias, env);
    else if (equals(type, "Cosine"))
        made = new KVORAKernelFunctionCosine();
    else if (equals(type, "Precomputed"))
        made = new KVORAKernelFunctionPrecomputed();
    else if (equals(type, "Friends"))
        made = new KVORAKernelFunctionFriends(parameters.indicesData, parameters.emptyMarker,
                                              parameters.normalizingFactor, env);
    else if (equals(type, "Information"))
        made = new KVORAKernelFunctionInformation(parameters.numberOfBins, env);
    else
        KVORA_NEVER_HERE();
    kvoraMemAccount(made->getObjectSize(), env);
    ivKernelFunctionPtr.reset(made, env);

    initKernelData(parameters, env);
}

void KVORAKernelData::initKernelData(const KVORAKernelDataParameters &parameters, KVORA_ENV env)
{
    releaseMatrices(env);
    ivKernelMode = KernelMode;
    ivIsSparseKernel = parameters.isSparseKernel;
    ivSparsityLevel = parameters.sparsityLevel;
    ivIsSparseData = static_cast<int32_t>(parameters.isSparseData);
    ivOutputFileName = parameters.outputFileName;
    ivFilterSimilarities = parameters.filterSimilarities;
    ivNumberOfComputeIterations = parameters.numberOfComputeIterations;
    ivCurComputeIteration = 1;
    ivKernelVerbosityLvl = parameters.verbosity;
}
