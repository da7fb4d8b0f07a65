// The base library's log file.
#include "base/BASE_Log.h"

#include "base/BASE_MlException.h"
#include "base/BASE_MlExceptionUser.h"

std::ofstream *Log::cvStream = nullptr;

void Log::Open(const std::string &name) {
    if (cvStream != nullptr) throw BASE_MlException("Log file already open", __FILE__, __LINE__);
    std::ofstream *stream = new std::ofstream(name.c_str());
    if (!stream->is_open()) {
        delete stream;
        throw BASE_MlExceptionUser("Log file: '" + name + "' could not be opened", __FILE__, __LINE__);
    }
    cvStream = stream;
}

std::ostream &Log::GetStream() {
    if (cvStream == nullptr)
        throw BASE_MlException("called Log::GetStream when stream is not opened", __FILE__, __LINE__);
    return *cvStream;
}

bool Log::IsOpen() { return cvStream != nullptr; }

void Log::Close() {
    delete cvStream;
    cvStream = nullptr;
}
