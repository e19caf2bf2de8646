#include "platform/dispatch/dispatch.h"

#include <atomic>

namespace {

enum State : dispatch_once_t { kNotRun, kRunning, kDone };

}  // namespace

void dispatch_once(dispatch_once_t* predicate, const dispatch_block_t& block) {
    const std::atomic_ref<dispatch_once_t> state(*predicate);
    dispatch_once_t seen = kNotRun;
    if (state.compare_exchange_strong(seen, kRunning)) {
        block();
        state.store(kDone);
        state.notify_all();
    } else if (seen == kRunning) {
        state.wait(kRunning);
    }
}
