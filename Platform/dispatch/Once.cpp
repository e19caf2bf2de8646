#include "platform/dispatch/dispatch.h"

#include <atomic>

namespace {

enum State : dispatch_once_t { kNotRun, kRunning, kDone };

}  // namespace

void dispatch_once(dispatch_once_t* predicate, const dispatch_block_t& block) {
    const std::atomic_ref<dispatch_once_t> state(*predicate);
    dispatch_once_t seen = state.load(std::memory_order_acquire);
    if (seen == kDone) [[likely]] {
        return;
    }
    if (seen == kNotRun && state.compare_exchange_strong(seen, kRunning, std::memory_order_acquire)) {
        block();
        state.store(kDone, std::memory_order_release);
        state.notify_all();
        return;
    }
    while (state.load(std::memory_order_acquire) != kDone) {
        state.wait(kRunning, std::memory_order_acquire);
    }
}
