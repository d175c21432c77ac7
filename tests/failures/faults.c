/* Preloaded into a run under test: chosen calls of the C library fail, or find a file changed.
 *
 * FAULT_CALL   what is counted: open, read, write, seek, memory or thread; with "short", reads and
 *              writes move few bytes at a time
 * FAULT_FIRST, FAULT_LAST  numbers of the first and the last call that fail, from 1
 * FAULT_ERRNO  the reason given
 * FAULT_FILE, FAULT_SIZE   with them no call fails, but before it the file is given that size
 * FAULT_CALLS  a file that receives the number of calls, if the process ends by itself
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

static const char* counted; /* NULL until the program itself is about to start */
static atomic_long nCalls;

static long number(const char* name) {
    const char* text = getenv(name);
    return text ? atol(text) : 0;
}

__attribute__((constructor)) static void start(void) {
    counted = getenv("FAULT_CALL");
}

__attribute__((destructor)) static void report(void) {
    counted = NULL;
    FILE* calls = fopen(getenv("FAULT_CALLS"), "w");
    fprintf(calls, "%ld", nCalls);
    fclose(calls);
}

static int fails(const char* call) {
    if (!counted || strcmp(call, counted) != 0) {
        return 0;
    }
    const long call_number = atomic_fetch_add(&nCalls, 1) + 1;
    if (call_number < number("FAULT_FIRST") || call_number > number("FAULT_LAST")) {
        return 0;
    }
    if (getenv("FAULT_FILE")) {
        return truncate(getenv("FAULT_FILE"), number("FAULT_SIZE"));
    }
    errno = (int)number("FAULT_ERRNO");
    return 1;
}

static size_t few(size_t bytes) {
    return bytes > 5 && counted && strcmp(counted, "short") == 0 ? 5 : bytes;
}

/* Defines `name` as a call that may fail with `failure`, or goes on to the C library's own. */
#define CALL(kind, failure, result, name, parameters, arguments) \
    result name parameters {                                     \
        static result(*next) parameters;                         \
        if (!next) {                                             \
            *(void**)&next = dlsym(RTLD_NEXT, #name);            \
        }                                                        \
        return fails(kind) ? failure : next arguments;           \
    }

CALL("open", -1, int, open, (const char* path, int flags, unsigned mode), (path, flags, mode))
CALL("open", NULL, FILE*, fopen64, (const char* path, const char* mode), (path, mode))
CALL("read", -1, ssize_t, read, (int fd, void* to, size_t bytes), (fd, to, few(bytes)))
CALL("read", -1, ssize_t, pread, (int fd, void* to, size_t bytes, off_t offset),
     (fd, to, few(bytes), offset))
CALL("write", -1, ssize_t, pwrite, (int fd, const void* from, size_t bytes, off_t offset),
     (fd, from, few(bytes), offset))
CALL("seek", -1, off_t, lseek64, (int fd, off_t offset, int whence), (fd, offset, whence))
CALL("memory", MAP_FAILED, void*, mmap,
     (void* at, size_t bytes, int protection, int flags, int fd, off_t offset),
     (at, bytes, protection, flags, fd, offset))
CALL("thread", errno, int, pthread_create,
     (pthread_t * thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument),
     (thread, attributes, run, argument))

/* dlsym may allocate, so these go to the C library by name. */
#define ALLOCATE(name, parameters, arguments)                    \
    void* __libc_##name parameters;                              \
    void* name parameters {                                      \
        return fails("memory") ? NULL : __libc_##name arguments; \
    }

ALLOCATE(malloc, (size_t bytes), (bytes))
ALLOCATE(calloc, (size_t count, size_t bytes), (count, bytes))
ALLOCATE(realloc, (void* memory, size_t bytes), (memory, bytes))
