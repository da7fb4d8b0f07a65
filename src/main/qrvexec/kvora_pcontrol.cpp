// Start of the parallel job. Return codes of MPI are not looked at: MPI's
// own error handler decides what a failure does.
#include "qrvexec/kvora_pcontrol.h"

#include <mpi.h>

#include <cstdio>

void KVORAPControl::initialise(int &argc, char **&argv) {
    ivRank = 0;
    ivSize = 1;
    MPI_Init(&argc, &argv);
    int size = 1;
    int rank = 0;
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    ivSize = static_cast<int32_t>(size);
    ivRank = static_cast<int32_t>(rank);
    if (ivRank == 0) {
        std::printf("There are %d processors for this job\n", static_cast<int>(ivSize));
        std::fflush(stdout);
    }
}
