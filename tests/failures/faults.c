/* Preloaded into a run under test: chosen calls of the C library fail, or find files changed.
 *
 * FAULT_CALL   what is counted: open, read, write, log, seek, close, place, stat, folder, memory
 *              or thread; with "short", reads and writes move few bytes at a time
 * FAULT_PATH   with it, only calls are counted whose path contains this
 * FAULT_FROM   with it, only reads are counted that begin at or behind this place of a file
 * FAULT_FIRST, FAULT_LAST  numbers of the first and the last call that fail, from 1
 * FAULT_ERRNO  the reason given; with 0, reads and writes succeed and move nothing
 * FAULT_SIGNAL  with it no call fails, but the process gets this signal before
 * FAULT_DO     with it no call fails, but a shell runs this before, followed by 0 before the first
 *              of these calls, 1 before the second, and so on
 * FAULT_CALLS  a file that receives the number of calls, if the process ends by itself
 * FAULT_NAMED  if set, there are no files without a name, and no file is renamed only if nothing is
 *              there, as on old kernels and some disks
 * FAULT_MEMINFO  a file that is opened in place of /proc/meminfo
 * FAULT_CORES    the number of cores in the CPU mask
 */
#define _GNU_SOURCE
#include <asm/fcntl.h> /* the C library's declares open otherwise */
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

static const char* counted; /* NULL until the program itself is about to start */
static const char* counted_path;
static const char* action;
static long first, last, place, reason, sent;
static atomic_long nCalls;

static long number(const char* name) {
    const char* text = getenv(name);
    return text ? atol(text) : 0;
}

__attribute__((constructor)) static void start(void) {
    counted_path = getenv("FAULT_PATH");
    action = getenv("FAULT_DO");
    first = number("FAULT_FIRST");
    last = number("FAULT_LAST");
    place = number("FAULT_FROM");
    reason = number("FAULT_ERRNO");
    sent = number("FAULT_SIGNAL");
    unsetenv("LD_PRELOAD"); /* the shell's calls are its own */
    counted = getenv("FAULT_CALL");
}

__attribute__((destructor)) static void report(void) {
    counted = NULL;
    FILE* calls = fopen(getenv("FAULT_CALLS"), "w");
    fprintf(calls, "%ld", nCalls);
    fclose(calls);
}

static int act(long call_number) {
    static pthread_mutex_t one_at_a_time = PTHREAD_MUTEX_INITIALIZER;
    char command[1000];
    snprintf(command, sizeof command, "%s %ld", action, call_number - first);
    pthread_mutex_lock(&one_at_a_time);
    if (system(command) != 0) {
        abort();
    }
    pthread_mutex_unlock(&one_at_a_time);
    return 0;
}

static int fails(const char* call, const char* path) {
    if (!counted || strcmp(call, counted) != 0 ||
        (counted_path && !(path && strstr(path, counted_path)))) {
        return 0;
    }
    const long call_number = atomic_fetch_add(&nCalls, 1) + 1;
    if (call_number < first || call_number > last) {
        return 0;
    }
    if (sent != 0) {
        kill(getpid(), (int)sent);
        return 0;
    }
    errno = (int)reason;
    return action ? act(call_number) : 1;
}

/* What is open as this, as long as this thread asks for nothing else. */
static const char* path_of(int fd) {
    static _Thread_local char path[1000];
    char link[40];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t length = counted_path ? readlink(link, path, sizeof path - 1) : 0;
    path[length < 0 ? 0 : length] = 0;
    return path;
}

static size_t few(size_t bytes) {
    return bytes > 5 && counted && strcmp(counted, "short") == 0 ? 5 : bytes;
}

static const char* place_of(const char* path) {
    if (strcmp(path, "/proc/self/mountinfo") == 0) {
        return "/dev/null"; /* the machine's limits are not part of the test */
    }
    const char* meminfo = getenv("FAULT_MEMINFO");
    return meminfo && strcmp(path, "/proc/meminfo") == 0 ? meminfo : path;
}

static int allowed(int flags) {
    return getenv("FAULT_NAMED") ? flags & ~__O_TMPFILE : flags;
}

static unsigned known(unsigned flags) {
    return flags && getenv("FAULT_NAMED") ? ~0U : flags;
}

/* Defines `name` as a call that may fail with `failure`, or goes on to the C library's own. */
#define CALL(kind, path, failure, result, name, parameters, arguments) \
    result name parameters {                                           \
        static result(*next) parameters;                               \
        if (!next) {                                                   \
            *(void**)&next = dlsym(RTLD_NEXT, #name);                  \
        }                                                              \
        return fails(kind, path) ? failure : next arguments;           \
    }

#define MOVED (errno ? -1 : 0)

CALL("open", path, -1, int, open, (const char* path, int flags, unsigned mode), (path, allowed(flags), mode))
CALL("open", path, -1, int, openat, (int folder, const char* path, int flags, unsigned mode),
     (folder, path, allowed(flags), mode))
CALL("open", path, NULL, FILE*, fopen64, (const char* path, const char* mode),
     (place_of(path), mode))
CALL("read", path_of(fd), MOVED, ssize_t, read, (int fd, void* to, size_t bytes),
     (fd, to, few(bytes)))
CALL("read", offset < place ? NULL : path_of(fd), MOVED, ssize_t, pread,
     (int fd, void* to, size_t bytes, off_t offset),
     (fd, to, few(bytes), offset))
CALL("write", NULL, MOVED, ssize_t, pwrite, (int fd, const void* from, size_t bytes, off_t offset),
     (fd, from, few(bytes), offset))
CALL("log", NULL, MOVED, ssize_t, write, (int fd, const void* from, size_t bytes),
     (fd, from, few(bytes)))
CALL("seek", path_of(fd), -1, off_t, lseek, (int fd, off_t offset, int whence),
     (fd, offset, whence))
CALL("close", NULL, (next(fd), errno = (int)reason, -1), int, close, (int fd), (fd))
CALL("place", NULL, -1, int, fchown, (int fd, uid_t user, gid_t group), (fd, user, group))
CALL("place", NULL, -1, int, fchmod, (int fd, mode_t mode), (fd, mode))
CALL("place", NULL, -1, int, linkat,
     (int from_folder, const char* from, int folder, const char* path, int flags),
     (from_folder, from, folder, path, flags))
CALL("place", NULL, -1, int, renameat2,
     (int from_folder, const char* from, int folder, const char* path, unsigned flags),
     (from_folder, from, folder, path, known(flags)))
CALL("stat", path, -1, int, stat, (const char* path, struct stat* status), (path, status))
CALL("folder", NULL, NULL, DIR*, fdopendir, (int fd), (fd))
CALL("folder", NULL, NULL, struct dirent*, readdir, (DIR * folder), (folder))
CALL("memory", NULL, MAP_FAILED, void*, mmap,
     (void* at, size_t bytes, int protection, int flags, int fd, off_t offset),
     (at, bytes, protection, flags, fd, offset))
CALL("thread", NULL, errno, int, pthread_create,
     (pthread_t * thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument),
     (thread, attributes, run, argument))

/* dlsym may allocate, so these go to the C library by name. */
#define ALLOCATE(name, parameters, arguments)                          \
    void* __libc_##name parameters;                                    \
    void* name parameters {                                            \
        return fails("memory", NULL) ? NULL : __libc_##name arguments; \
    }

ALLOCATE(malloc, (size_t bytes), (bytes))
ALLOCATE(calloc, (size_t count, size_t bytes), (count, bytes))
ALLOCATE(realloc, (void* memory, size_t bytes), (memory, bytes))

int sched_getaffinity(pid_t process, size_t bytes, cpu_set_t* mask) {
    const char* cores = getenv("FAULT_CORES");
    if (!cores) {
        int (*next)(pid_t, size_t, cpu_set_t*) = NULL;
        *(void**)&next = dlsym(RTLD_NEXT, "sched_getaffinity");
        return next(process, bytes, mask);
    }
    CPU_ZERO_S(bytes, mask);
    for (long i = 0; i < atol(cores); ++i) {
        CPU_SET_S((size_t)i, bytes, mask);
    }
    return 0;
}
