// The parallel job object: this process's rank and the job's size. Created by
// the entry point and shared through a process-wide pointer; the tree
// operations that move object streams between processes grow on it.
#pragma once

#include <cstdint>

class KVORAPControl {
public:
    KVORAPControl() = default;

    // Rank 0 and size 1, then MPI_Init and the size and rank of the world;
    // rank 0 announces the size on standard output.
    void initialise(int &argc, char **&argv);
    int32_t isMaster() const { return ivRank == 0 ? 1 : 0; }

    int32_t ivRank = 0;
    int32_t ivSize = 1;
};
