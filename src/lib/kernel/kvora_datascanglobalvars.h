// The per-environment table of live data-scan objects by serial number. A
// result that comes back from a worker carries only the serial number of the
// master's object; this table is how the master finds that object again. It
// is run-wide state of one process and never travels in a stream.
#pragma once

#include <cstdint>

#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_xash.h"
#include "util/kvora_xray.h"

class KVORADataScan;

// The serial number table. Its removal goes straight to the slot that the
// lookup found: releasing each of many fields must not scan the whole table.
struct KVORASerialNumberTable : public KVORAObjectIndexXAshTable<int32_t> {
    // Removes the live entry at `slot`; answers its object index.
    int32_t removeSlot(int32_t slot) {
        KVORAXAshTableEntry &entry = ivHashTable[slot];
        const int32_t index = entry.ivIndex;
        kvoraXaRayCellReInit(&ivObjects[index]);
        entry.ivIndex = -index;
        --ivUsedCount;
        return index;
    }
};

class KVORADataScanGlobalVars : public KVORAObject {
    KVORA_OBJECT_DECL(KVORADataScanGlobalVars)
public:
    KVORADataScanGlobalVars();

    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // The environment's object, made on first use.
    static KVORADataScanGlobalVars *get(KVORA_ENV env);
    // Hash of a serial number: the system's 32-bit mix, with wrap-around.
    static uint32_t hashSerialNumber(int32_t serialNumber) {
        return 3519870697u - static_cast<uint32_t>(serialNumber) * 1354167659u;
    }

    // Gives the object the next serial number and enters it in the table.
    int32_t enter(KVORADataScan *object, KVORA_ENV env);
    // Takes the serial number out of the table, if it is there.
    void remove(int32_t serialNumber, KVORA_ENV env);
    // The live object of a serial number, or null.
    KVORADataScan *find(int32_t serialNumber) const;

    int32_t serialNumCounter;
    KVORASerialNumberTable ivSerialTable;
    KVORAXaRay<KVORADataScan *, 1> ivObjects;  // parallel to the table's object indexes
};
