/* Preloaded into a run under test: chosen calls of the C library fail, or find a file changed.
 *
 * FAULT_CALL   what is counted: open, read, write, seek, memory or thread; with "short", all reads
 *              and writes move few bytes
 * FAULT_FIRST  number of the first call that fails, from 1
 * FAULT_LAST   number of the last call that fails
 * FAULT_ERRNO  the reason given
 * FAULT_FILE, FAULT_SIZE  with them no call fails, but before it the file is given that size
 * FAULT_CALLS  a file that receives the number of calls, if the process ends by itself
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

static const char* counted = NULL; /* NULL until the program itself is about to start */
static long first, last, size;
static int reason;
static const char* file;
static atomic_long nCalls;

static long number(const char* name) {
    const char* text = getenv(name);
    return text ? atol(text) : 0;
}

__attribute__((constructor)) static void start(void) {
    first = number("FAULT_FIRST");
    last = number("FAULT_LAST");
    reason = (int)number("FAULT_ERRNO");
    file = getenv("FAULT_FILE");
    size = number("FAULT_SIZE");
    counted = getenv("FAULT_CALL");
}

__attribute__((destructor)) static void report(void) {
    const char* path = getenv("FAULT_CALLS");
    counted = NULL;
    FILE* calls = path ? fopen(path, "w") : NULL;
    if (calls) {
        fprintf(calls, "%ld", nCalls);
        fclose(calls);
    }
}

static int fails(const char* call) {
    if (!counted || strcmp(call, counted) != 0) {
        return 0;
    }
    const long call_number = atomic_fetch_add(&nCalls, 1) + 1;
    if (call_number < first || call_number > last) {
        return 0;
    }
    if (file) {
        return truncate(file, size);
    }
    errno = reason;
    return 1;
}

static size_t shorten(size_t count) {
    return count > 5 && counted && strcmp(counted, "short") == 0 ? 5 : count;
}

/* Looks up the C library's own `name` as `next`. */
#define FIND_NEXT(name)                           \
    if (!next) {                                  \
        *(void**)&next = dlsym(RTLD_NEXT, #name); \
    }

/* Defines `name` as a call that may fail with `failure`, or goes on to the C library's own. */
#define CALL(kind, failure, result, name, parameters, arguments) \
    result name parameters {                                     \
        static result(*next) parameters;                         \
        FIND_NEXT(name)                                          \
        return fails(kind) ? failure : next arguments;           \
    }

#define OPEN(name)                                                             \
    int name(const char* path, int flags, ...) {                               \
        static int (*next)(const char*, int, ...);                             \
        FIND_NEXT(name)                                                        \
        va_list rest;                                                          \
        va_start(rest, flags);                                                 \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0; \
        va_end(rest);                                                          \
        return fails("open") ? -1 : next(path, flags, mode);                   \
    }

#define MOVE(kind, name, memory) \
    CALL(kind, -1, ssize_t, name, (int fd, memory bytes, size_t count), (fd, bytes, shorten(count)))

#define MOVE_AT(kind, name, memory)                                                   \
    CALL(kind, -1, ssize_t, name, (int fd, memory bytes, size_t count, off_t offset), \
         (fd, bytes, shorten(count), offset))

#define SEEK(name) \
    CALL("seek", -1, off_t, name, (int fd, off_t offset, int whence), (fd, offset, whence))

#define MAP(name)                                                                    \
    CALL("memory", MAP_FAILED, void*, name,                                          \
         (void* at, size_t length, int protection, int flags, int fd, off_t offset), \
         (at, length, protection, flags, fd, offset))

OPEN(open)
OPEN(open64)
CALL("open", NULL, FILE*, fopen, (const char* path, const char* mode), (path, mode))
CALL("open", NULL, FILE*, fopen64, (const char* path, const char* mode), (path, mode))
MOVE("read", read, void*)
MOVE_AT("read", pread, void*)
MOVE_AT("read", pread64, void*)
MOVE("write", write, const void*)
MOVE_AT("write", pwrite, const void*)
MOVE_AT("write", pwrite64, const void*)
SEEK(lseek)
SEEK(lseek64)
MAP(mmap)
MAP(mmap64)
CALL("thread", reason, int, pthread_create,
     (pthread_t * thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument),
     (thread, attributes, run, argument))

/* dlsym may allocate, so these go to the C library by name. */
#define ALLOCATE(name, parameters, arguments)                    \
    void* name parameters {                                      \
        return fails("memory") ? NULL : __libc_##name arguments; \
    }

ALLOCATE(malloc, (size_t bytes), (bytes))
ALLOCATE(calloc, (size_t count, size_t bytes), (count, bytes))
ALLOCATE(realloc, (void* memory, size_t bytes), (memory, bytes))
ALLOCATE(memalign, (size_t alignment, size_t bytes), (alignment, bytes))

void* aligned_alloc(size_t alignment, size_t bytes) {
    return memalign(alignment, bytes);
}
