// Preloaded into vexolan-mpi: the first rank writes "run reduction bytes" into the file that
// VEXOLAN_CLOCK names: the seconds between a barrier behind MPI's start and one before its end, the
// seconds of them in MPI_Reduce, and the bytes that it has reduced.

#include <mpi.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

Clock::time_point started;
double reducing = 0;
double reduced_bytes = 0;

void write_times(double run) {
    if (const char* const path = std::getenv("VEXOLAN_CLOCK")) {
        if (std::FILE* const file = std::fopen(path, "w")) {
            std::fprintf(file, "%.6f %.6f %.0f\n", run, reducing, reduced_bytes);
            std::fclose(file);
        }
    }
}

}  // namespace

extern "C" int MPI_Init_thread(int* argc, char*** argv, int required, int* provided) {
    const int result = PMPI_Init_thread(argc, argv, required, provided);
    PMPI_Barrier(MPI_COMM_WORLD);
    started = Clock::now();
    return result;
}

extern "C" int MPI_Reduce(const void* own, void* all, int count, MPI_Datatype type,
                          MPI_Op operation, int root, MPI_Comm ranks) {
    const auto start = Clock::now();
    const int result = PMPI_Reduce(own, all, count, type, operation, root, ranks);
    reducing += seconds_since(start);
    int size = 0;
    PMPI_Type_size(type, &size);
    reduced_bytes += static_cast<double>(count) * size;
    return result;
}

extern "C" int MPI_Finalize() {
    PMPI_Barrier(MPI_COMM_WORLD);
    const double run = seconds_since(started);
    int rank = 0;
    PMPI_Comm_rank(MPI_COMM_WORLD, &rank);
    if (rank == 0) {
        write_times(run);
    }
    return PMPI_Finalize();
}
