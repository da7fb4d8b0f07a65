// Command-line words of the sub-commands: positional names and "--name value"
// options, with sizes written as 512M, 64K, 2G or plain bytes.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "qrvload_dataset.h"

struct QrvOptions {
    std::vector<std::string> positional;
    std::map<std::string, std::string> values;
    std::vector<std::string> flags;

    // allowedValues: options that take a value; allowedFlags: those that don't.
    QrvOptions(const std::vector<std::string> &args, const std::vector<std::string> &allowedValues,
               const std::vector<std::string> &allowedFlags);
    bool has(const std::string &name) const;
    std::string get(const std::string &name, const std::string &fallback = "") const;
    uint64_t size(const std::string &name, uint64_t fallback) const;
    uint64_t count(const std::string &name, uint64_t fallback) const;
    QrvPieceSpec pieces() const;
};
