// Numbers as text the way a standard stream with its default flags writes
// them (reals as "%g" with 6 digits, integers in decimal), without the
// stream's locale and sentry work on every number: result files have a line
// per node, hundreds of thousands of them.
#pragma once

#include <charconv>

// Room each writer needs at `out`; the answer is the end of the text.
constexpr int kvoraNumTextRoom = 32;

inline char *kvoraRealText(char *out, double value)
{
    return std::to_chars(out, out + kvoraNumTextRoom, value, std::chars_format::general, 6).ptr;
}

template <class Int>
inline char *kvoraIntText(char *out, Int value)
{
    return std::to_chars(out, out + kvoraNumTextRoom, value).ptr;
}
