// The entry of every benchmark program: the library's `main` starts the
// system and calls this `xmain`, which runs the benchmarks named on the
// command line (--benchmark_filter and the other options of the benchmark
// library) and ends through `xexit`, so the usual shutdown and leak report run.
#include "core/xmain.h"

#include <benchmark/benchmark.h>

int xmain(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        xexit(1);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    xexit(0);
}
