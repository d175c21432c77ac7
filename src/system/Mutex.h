#pragma once

#include <mutex>

// A mutex that clang's thread-safety analysis knows, as it does not know the standard library's:
// members that it guards are then never used without it.

#if defined(__clang__)
#define THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define THREAD_ANNOTATION(attribute)
#endif

/// Behind a member: it is used only while this mutex is held.
#define GUARDED_BY(mutex) THREAD_ANNOTATION(guarded_by(mutex))
/// Behind a function: it is called only while this mutex is held.
#define REQUIRES(...) THREAD_ANNOTATION(requires_capability(__VA_ARGS__))

class THREAD_ANNOTATION(capability("mutex")) Mutex {
public:
    void lock() THREAD_ANNOTATION(acquire_capability()) { mutex.lock(); }
    void unlock() THREAD_ANNOTATION(release_capability()) { mutex.unlock(); }

private:
    std::mutex mutex;
};

/// Holds a mutex as long as it lives. `std::condition_variable_any` can wait with it.
class THREAD_ANNOTATION(scoped_lockable) Lock {
public:
    explicit Lock(Mutex& mutex_) THREAD_ANNOTATION(acquire_capability(mutex_)) : mutex(&mutex_) {
        mutex->lock();
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() THREAD_ANNOTATION(release_capability()) {
        if (held) {
            mutex->unlock();
        }
    }

    void lock() THREAD_ANNOTATION(acquire_capability()) {
        mutex->lock();
        held = true;
    }
    void unlock() THREAD_ANNOTATION(release_capability()) {
        mutex->unlock();
        held = false;
    }

private:
    Mutex* mutex;
    bool held = true;
};
