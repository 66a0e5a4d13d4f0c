// Runs a command, its output to /dev/null, and prints its peak memory (the
// maximum resident set, in KiB) and its run time in seconds.
//
// Usage: bench_peak_memory PROGRAM [ARGUMENT...]
//
// The benchmark measures each contender through this small program: a
// process keeps across exec the larger of its old and its new image's
// peak, so a child started by the benchmark itself would count the
// benchmark's memory as its own.

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_peak_memory PROGRAM [ARGUMENT...]\n");
        return 2;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[1], &actions, nullptr, argv + 1, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0 || pid < 1) {
        std::fprintf(stderr, "bench_peak_memory: cannot start %s\n", argv[1]);
        return 2;
    }
    int status = 0;
    struct rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid)
        return 2;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%ld %.3f\n", usage.ru_maxrss, seconds);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
}
