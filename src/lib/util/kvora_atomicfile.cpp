// Write-then-rename for result files; see the header for why.
#include "util/kvora_atomicfile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

std::string kvoraAtomicTempName(const std::string &finalName) {
    return finalName + ".tmp" + std::to_string(static_cast<long long>(::getpid()));
}

KVORAAtomicFile::KVORAAtomicFile(const std::string &finalName)
    : ivFinalName(finalName), ivTempName(kvoraAtomicTempName(finalName)) {}

KVORAAtomicFile::~KVORAAtomicFile() { discard(); }

bool KVORAAtomicFile::open() {
    discard();
    if (ivFinalName.empty()) return false;
    struct stat info;
    if (::stat(ivFinalName.c_str(), &info) == 0 &&
        (S_ISDIR(info.st_mode) || ::access(ivFinalName.c_str(), W_OK) != 0))
        return false;
    ivStream.clear();
    ivStream.open(ivTempName, std::ios::out | std::ios::trunc | std::ios::binary);
    ivOpen = ivStream.is_open();
    return ivOpen;
}

bool KVORAAtomicFile::commit() {
    if (!ivOpen) return false;
    ivStream.flush();
    ivStream.close();
    const bool written = !ivStream.fail();
    if (!written || std::rename(ivTempName.c_str(), ivFinalName.c_str()) != 0) {
        std::remove(ivTempName.c_str());
        ivOpen = false;
        return false;
    }
    ivOpen = false;
    return true;
}

void KVORAAtomicFile::discard() {
    if (!ivOpen) return;
    ivStream.close();
    std::remove(ivTempName.c_str());
    ivOpen = false;
}
