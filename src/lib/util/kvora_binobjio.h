// The binary object format, the wire format between processes: the writer and
// reader over blob streams, and the variable-length integer encodings that
// make small numbers and keywords one byte. No header, no version, no
// checksum: both ends are the same program on the same architecture.
//
// Unsigned: groups of 7 bits, lowest first; the last byte has bit 7 set.
// Signed: negative values become their one's complement with a sign; the
// first byte holds the low 6 bits and the sign (bit 6), further groups of 7
// bits follow; the last byte has bit 7 set. A keyword with numbers is minus
// its global number; a keyword without numbers is its name's length, then
// the name.
#pragma once

#include <cstdint>

#include "util/kvora_binobjreader.h"
#include "util/kvora_binobjwriter.h"

// Longest encoding of a 64-bit value in either form.
constexpr int32_t kvoraMaxVarIntBytes = 10;

// Encode into `out`; answer the number of bytes.
int32_t kvoraEncodeSigned(int64_t value, uint8_t *out);
int32_t kvoraEncodeUnsigned(uint64_t value, uint8_t *out);
