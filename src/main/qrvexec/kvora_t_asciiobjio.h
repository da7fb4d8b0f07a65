// The ASCII object format: objects dumped as indented text that a person can
// read, and read back by a tokenising reader. The writer serves the model
// report's object dump; the reader exists so that a dump can be checked and
// loaded again. Same keyword structure as the binary format, but keywords
// are written by name and numbers in decimal, so a dump keeps only what the
// text shows (reals at the stream's default precision).
//
// Escapes in strings and characters: a backslash, caret, double quote or
// single quote is preceded by a backslash; a byte below 32 is a caret and the
// byte plus 64 (a line feed is "^J").
#pragma once

#include <cstdint>
#include <ostream>

#include "qrvexec/kvora_t_asciiobjio_reader.h"
#include "qrvexec/kvora_t_asciiobjio_writer.h"

// Writes `length` bytes with the escape rule (no quotes around them).
void kvoraAsciiPutEscaped(std::ostream &out, const char *text, uint32_t length);
