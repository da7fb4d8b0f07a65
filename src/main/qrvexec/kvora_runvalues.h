// Process-wide run values: the three file names of the command line, the
// validation file name, the parallel job object, and the time accounting of
// the phases. Set once by the entry point or the driver before the first
// message, read from everywhere afterwards.
#pragma once

#include <cstdint>

class KVORAPControl;

extern const char *kvoraParamFileName;        // argv[1]
extern const char *kvoraInputFileName;        // argv[2]
extern const char *kvoraModelOutputFileName;  // argv[3]
// Null until the driver sets it from a non-empty ValidationFile parameter.
extern char *kvoraValidationFileName;
// Created by the entry point, never freed before the end of the process.
extern KVORAPControl *kvoraPControl;
// The per-process diagnostic file name; kept for whoever debugs a run.
extern char kvoraDiagnosticFileName[256];

// Stores a private copy (length plus one bytes) of the validation file name,
// or clears it when `name` is null.
void kvoraSetValidationFileName(const char *name);

// With `enabled` 1, reports "Time spent [%lfs] doing %s " at log level 2 with
// the time since the last call; always makes the present reading the new
// baseline. The milliseconds are divided by 1000000.0, as the reports have it.
void reportElapsed(int32_t enabled, const char *phaseName);

// The millisecond clock of the time accounting: wraps at 32 bits.
uint32_t kvoraMilliseconds();
