// Command-line words; see qrvload_options.h.
#include "qrvload_options.h"

#include <algorithm>
#include <charconv>

#include "qrvload_fail.h"

QrvOptions::QrvOptions(const std::vector<std::string> &args, const std::vector<std::string> &allowedValues,
                       const std::vector<std::string> &allowedFlags) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        if (a.size() > 2 && a.compare(0, 2, "--") == 0) {
            std::string name = a.substr(2), value;
            size_t eq = name.find('=');
            bool inlineValue = eq != std::string::npos;
            if (inlineValue) {
                value = name.substr(eq + 1);
                name = name.substr(0, eq);
            }
            if (std::find(allowedFlags.begin(), allowedFlags.end(), name) != allowedFlags.end() && !inlineValue) {
                flags.push_back(name);
            } else if (std::find(allowedValues.begin(), allowedValues.end(), name) != allowedValues.end()) {
                if (!inlineValue) {
                    if (i + 1 >= args.size()) qrvloadFail(kExitUsage, "option --" + name + " needs a value");
                    value = args[++i];
                }
                if (values.count(name)) qrvloadFail(kExitUsage, "option --" + name + " given twice");
                values[name] = value;
            } else {
                qrvloadFail(kExitUsage, "unknown option " + a + " (see qrvload --help)");
            }
        } else {
            positional.push_back(a);
        }
    }
}

bool QrvOptions::has(const std::string &name) const {
    return values.count(name) || std::find(flags.begin(), flags.end(), name) != flags.end();
}

std::string QrvOptions::get(const std::string &name, const std::string &fallback) const {
    auto it = values.find(name);
    return it == values.end() ? fallback : it->second;
}

uint64_t QrvOptions::count(const std::string &name, uint64_t fallback) const {
    if (!values.count(name)) return fallback;
    const std::string &v = values.at(name);
    uint64_t n = 0;
    auto r = std::from_chars(v.data(), v.data() + v.size(), n);
    if (r.ec != std::errc() || r.ptr != v.data() + v.size() || n == 0)
        qrvloadFail(kExitUsage, "option --" + name + " needs a positive whole number, not \"" + v + "\"");
    return n;
}

uint64_t QrvOptions::size(const std::string &name, uint64_t fallback) const {
    if (!values.count(name)) return fallback;
    std::string v = values.at(name);
    uint64_t shift = 0;
    if (!v.empty()) {
        char s = v.back();
        if (s == 'K' || s == 'k') shift = 10;
        else if (s == 'M' || s == 'm') shift = 20;
        else if (s == 'G' || s == 'g') shift = 30;
        if (shift) v.pop_back();
    }
    uint64_t n = 0;
    auto r = std::from_chars(v.data(), v.data() + v.size(), n);
    if (r.ec != std::errc() || r.ptr != v.data() + v.size() || n == 0 || n > (UINT64_MAX >> 34))
        qrvloadFail(kExitUsage, "option --" + name + " needs a size such as 512M, 64K or 2G, not \"" + values.at(name) + "\"");
    return n << shift;
}

QrvPieceSpec QrvOptions::pieces() const {
    QrvPieceSpec p;
    if (has("pieces") && has("piece-bytes")) qrvloadFail(kExitUsage, "give --pieces or --piece-bytes, not both");
    if (has("pieces")) {
        p.kind = QrvPieceSpec::Count;
        p.amount = count("pieces", 1);
    } else if (has("piece-bytes")) {
        p.kind = QrvPieceSpec::Bytes;
        p.amount = size("piece-bytes", 1);
    }
    return p;
}
