// The free string library: character access, trimming, substrings, number
// conversion by the standard stream formats, comma-separated lists, and
// scanToken, the one tokeniser that the parameter-file reader and the long
// tag names are built on. Free functions rather than string members, so that
// the string class itself stays below the environment and the arrays.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"
#include "util/kvora_xray.h"
#include "util/kvora_env.h"

// The byte at `index` (checked as the string's own indexing checks).
char kvoraCharAt(const KV2AscString &text, int32_t index);

// Removes blanks and tabs from both ends, in place; the capacity stays.
void kvoraTrim(KV2AscString &text, KVORA_ENV env);

// `result` becomes the bytes from `first` up to, not including, `last`;
// both are clamped to the text, and an empty or reversed range gives "".
void kvoraSubstring(const KV2AscString &text, KV2AscString &result, int32_t first, int32_t last, KVORA_ENV env);

// Conversions by the stream extraction operators: what cannot be parsed
// gives what the stream leaves, 0 for text that holds no number.
int32_t kvoraStringToLong(const KV2AscString &text);
double kvoraStringToReal(const KV2AscString &text);

// Conversions by the default stream insertion format (six significant
// digits for reals).
void kvoraRealToString(double value, KV2AscString &result, KVORA_ENV env);
void kvoraLongToString(int32_t value, KV2AscString &result, KVORA_ENV env);

// Comma-separated lists: the count is the number of commas plus one, the
// result is sized to it and filled from index 1. Answers the count.
int32_t kvoraSplitLongs(const KV2AscString &text, KVORAXaRay<int32_t, 1> &result, KVORA_ENV env);
int32_t kvoraSplitReals(const KV2AscString &text, KVORAXaRay<double, 1> &result, KVORA_ENV env);

// Takes characters from `position` up to the end of `text` or, without
// consuming it, the first character found in `delimiters` (an empty list
// never stops). Mode 0 drops blanks and tabs everywhere, mode 1 keeps them,
// mode 2 drops them while the incoming `token` is empty and otherwise ends at
// the first one. The collected text, trimmed, goes to `token`. With
// `mustBeNonEmpty` 1 the result is true for a non-empty token, with 0 for an
// empty one; on false `position` goes back to where it was.
bool scanToken(const KV2AscString &text, int32_t &position, int32_t mode, KV2AscString &token,
               const char *delimiters, int32_t mustBeNonEmpty, KVORA_ENV env);
