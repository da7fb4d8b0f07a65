// The scores of one candidate model, as the model base compares them after a
// scan to pick the best candidate. A plain value: the scores vector of the
// environment holds them by value and is refilled after every scan.
#pragma once

#include <cstdint>

struct KVORAModelScores {
    static const int32_t cvNumKinds = 8;

    int32_t ivKind = 0;           // what kind of score object this is
    double ivSampleWeight = 0.0;  // weight of the samples the scores rest on
    double ivValues[cvNumKinds] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};  // by kind, from 1

    // The value of a score kind from 1; 0.0 outside the kinds.
    double getValue(int32_t kind) const {
        return kind >= 1 && kind <= cvNumKinds ? ivValues[kind - 1] : 0.0;
    }
    void setValue(int32_t kind, double value) {
        if (kind >= 1 && kind <= cvNumKinds) ivValues[kind - 1] = value;
    }
};
