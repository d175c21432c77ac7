// Runs a command and prints "wall user system peak": seconds, and KiB of memory. The command's
// standard output is dropped. A process takes over the peak of the one that starts it, so a program
// as small as this must do that.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        return EXIT_FAILURE;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);

    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    int status = 0;
    rusage usage{};
    if (posix_spawnp(&child, argv[1], &actions, nullptr, argv + 1, environ) != 0 ||
        wait4(child, &status, 0, &usage) != child) {
        return EXIT_FAILURE;
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    std::printf("%.6f %.6f %.6f %ld\n", wall.count(), seconds(usage.ru_utime),
                seconds(usage.ru_stime), usage.ru_maxrss);
    return status == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
