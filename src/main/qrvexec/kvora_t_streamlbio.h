// The ASCII dump of a whole object on a standard stream, as the model report
// writes it and as a test or a person's tool reads it back: the object's
// type name first, then the object as an owned object. A reader of a dump
// needs the run's field names to resolve the references that the object
// makes to fields, so it takes the field name map to carry.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>

#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_ownptr.h"

class KVORAFieldNameMap;

// Writes the dump of `object` in writing mode 0 (no line end after it).
void kvoraWriteAsciiObjectDump(std::ostream &out, const KVORAObject &object, KVORA_ENV env);

// Reads a dump written by kvoraWriteAsciiObjectDump into `owner` (an object
// of the same type is read in place). `fieldNameMap` may be null when the
// object refers to no fields.
void kvoraReadAsciiObjectDump(std::istream &in, KVORAOwnPtr<KVORAObject> &owner, KVORAFieldNameMap *fieldNameMap,
                              KVORA_ENV env);
