#pragma once

#include <pthread.h>

#include <memory>

namespace vsk {

/// Serialises the creation of `Instance`. The mutex is initialised statically, so it works before any constructor has run.
template <typename Instance>
class PthreadMutexGuardPolicy {
public:
    PthreadMutexGuardPolicy() { pthread_mutex_lock(&mutex_); }
    PthreadMutexGuardPolicy(const PthreadMutexGuardPolicy&) = delete;
    PthreadMutexGuardPolicy& operator=(const PthreadMutexGuardPolicy&) = delete;
    ~PthreadMutexGuardPolicy() { pthread_mutex_unlock(&mutex_); }

private:
    static inline pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

/// The one `Interface` of the process: a `Concrete` that is created on first use and lives until the process exits, or as long
/// as somebody holds it.
template <typename Interface, typename Concrete, typename GuardPolicy>
class Singleton {
public:
    static std::shared_ptr<Interface> instance() {
        const GuardPolicy guard;
        if (!slot_) {
            slot_ = std::shared_ptr<Concrete>(new Concrete);  // its constructor may be for this class only
        }
        return slot_;
    }

protected:
    Singleton() = default;
    ~Singleton() = default;

private:
    static inline std::shared_ptr<Interface> slot_;
};

}  // namespace vsk
