// Failure path of the graph library: the text is built in a string stream
// and handed to the base exception, which reports it with the source place
// and ends the process with status 1. Graphs sit below the environment and
// nothing above could recover, so the run ends on the spot.
#pragma once

#include <sstream>

#include "base/BASE_MlException.h"

#define GL_FAIL(textExpr)                                                         \
    do {                                                                          \
        std::ostringstream glFailText_;                                           \
        glFailText_ << textExpr;                                                  \
        BASE_MlException(glFailText_.str(), __FILE__, __LINE__).exitOnFailure();  \
    } while (0)
