// Failure path of the array library: the text is built in a string stream and
// handed to the base exception, which reports it with the source place and
// ends the process with status 1. Arrays sit below the environment, so there is
// no report channel to go through and nothing above could recover anyway.
#pragma once

#include <sstream>

#include "base/BASE_MlException.h"

#define MAT_FAIL(textExpr)                                                          \
    do {                                                                            \
        std::ostringstream matFailText_;                                            \
        matFailText_ << textExpr;                                                   \
        BASE_MlException(matFailText_.str(), __FILE__, __LINE__).exitOnFailure();   \
    } while (0)
