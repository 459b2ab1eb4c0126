// mutex.h: the one kind of lock in the program, with annotations by which clang's thread-safety
// analysis checks who may touch what and in which order locks are taken. Other compilers see a
// plain std::mutex.
#pragma once

#include <mutex>

#if defined(__clang__)
#define VELKANTRIX_ANNOTATE(x) __attribute__((x))
#else
#define VELKANTRIX_ANNOTATE(x)
#endif

#define CAPABILITY(name) VELKANTRIX_ANNOTATE(capability(name))
#define SCOPED_CAPABILITY VELKANTRIX_ANNOTATE(scoped_lockable)
#define GUARDED_BY(lock) VELKANTRIX_ANNOTATE(guarded_by(lock))
#define POINTEE_GUARDED_BY(lock) VELKANTRIX_ANNOTATE(pt_guarded_by(lock))
#define ACQUIRED_BEFORE(...) VELKANTRIX_ANNOTATE(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) VELKANTRIX_ANNOTATE(acquired_after(__VA_ARGS__))
#define REQUIRES(...) VELKANTRIX_ANNOTATE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) VELKANTRIX_ANNOTATE(acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) VELKANTRIX_ANNOTATE(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) VELKANTRIX_ANNOTATE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) VELKANTRIX_ANNOTATE(locks_excluded(__VA_ARGS__))

namespace velkantrix {

class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    // A lock that fails ends the process: nothing that it guards could be trusted any more.
    void lock() noexcept ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }
    bool tryLock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

private:
    std::mutex mutex_;
};

// Holds a Mutex for its own lifetime.
class SCOPED_CAPABILITY Lock {
public:
    explicit Lock(Mutex& mutex) noexcept ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~Lock() RELEASE() { mutex_.unlock(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    Mutex& mutex_;
};

} // namespace velkantrix
