// Entry point of qrvexec: reports the version, checks the arguments, starts
// the parallel job and hands over to the run driver. It is also the one place
// where every failure of the run ends: whatever is thrown comes here, is
// reported as an ill termination, and ends this process alone with status 99
// (the other processes are not told, and MPI is not finalised).
#include <mpi.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "nelo-common/kvora_reports.h"
#include "qrvexec/kvora_control.h"
#include "qrvexec/kvora_pcontrol.h"
#include "qrvexec/kvora_runvalues.h"
#include "util/kvora_trace.h"

namespace {
const char *const kVersion = "2.0.6";
// The directory of the per-process diagnostic name; nothing opens it.
const char *const kDiagnosticDirectory = "/tmp/";
}  // namespace

int main(int argc, char **argv) {
#if defined(__GLIBC__)
    // The node tables and messages of a pass are built anew every pass, some
    // megabytes each: their memory stays with the process, instead of going
    // back to the system and being faulted in page by page on the next pass.
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
#endif
    // Failed assertions go to the trace file too when its level asks for it.
    kvoraTraceInstallHook();
    reportLog(0, std::string("qrvexec version is ") + kVersion);
    try {
        if (argc != 4) {
            std::printf("Main: usage: qrvexec <param-file> <input-file (loader output) <model-output-file-name>\n");
            std::fflush(stdout);
            reportErrorAndExit(2201, "main: wrong number of parameters", 1);
        }
        kvoraParamFileName = argv[1];
        kvoraInputFileName = argv[2];
        kvoraModelOutputFileName = argv[3];
        kvoraSetValidationFileName(nullptr);

        kvoraPControl = new KVORAPControl();
        kvoraPControl->initialise(argc, argv);

        std::snprintf(kvoraDiagnosticFileName, sizeof(kvoraDiagnosticFileName), "%s%ld.out", kDiagnosticDirectory,
                      static_cast<long>(kvoraPControl->ivRank));

        KVORAControl *control = new KVORAControl();
        control->execute();
        delete control;
        MPI_Finalize();
        reportLog(0, "qrvexec Terminated Successfully");
        std::fflush(stdout);
    } catch (...) {
        reportLog(0, "Ill termination of qrvexec");
        std::exit(99);
    }
    return 0;
}
