#include "Corvane/loop/Loop.h"

#include "Corvane/loop/Watch.h"

#include <sys/epoll.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <utility>

namespace corvane {
namespace {

constexpr int kReadyAtOnce = 128;

Refusal cantMake(int error) {
    return Refusal::limitReached(std::string("can't make an event loop: ") + std::strerror(error));
}

}  // namespace

Result<std::unique_ptr<Loop>> Loop::make() {
    std::unique_ptr<Loop> loop(new Loop);
    sd_event* event = nullptr;
    if (const int result = sd_event_new(&event); result < 0) {
        return cantMake(-result);
    }
    loop->event_.reset(event);
    // sd-event opens its timer's descriptor with the first timer: when there is none left, the daemon must learn that now.
    sd_event_source* timer = nullptr;
    const auto ignore = [](sd_event_source*, std::uint64_t, void*) { return 0; };
    if (const int result = sd_event_add_time(event, &timer, CLOCK_MONOTONIC, UINT64_MAX, 0, ignore, nullptr); result < 0) {
        return cantMake(-result);
    }
    sd_event_source_unref(timer);
    loop->descriptors_ = platform::FileDescriptor(epoll_create1(EPOLL_CLOEXEC));
    epoll_event ready{EPOLLIN, {nullptr}};
    if (!loop->descriptors_ || epoll_ctl(loop->descriptors_.get(), EPOLL_CTL_ADD, sd_event_get_fd(event), &ready) != 0) {
        return cantMake(errno);
    }
    if (const int result = sd_event_set_watchdog(event, 1); result < 0) {
        return cantMake(-result);
    }
    return loop;
}

Result<void> Loop::exitOn(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    const auto exit = [](sd_event_source* source, const signalfd_siginfo*, void*) {
        return sd_event_exit(sd_event_source_get_event(source), 0);
    };
    for (const int signal : signals) {
        if (const int result = sd_event_add_signal(event_.get(), nullptr, signal, exit, nullptr); result < 0) {
            return cantMake(-result);
        }
    }
    return {};
}

bool Loop::turn() {
    rearm_ = false;
    int pending = sd_event_prepare(event_.get());
    if (pending == 0) {
        // sd-event has set its timer and sleeps until its own descriptor is ready or someone has armed something.
        while (!serve() && !rearm_) {
        }
        pending = sd_event_wait(event_.get(), 0);
    }
    if (pending > 0) {
        pending = sd_event_dispatch(event_.get());
    }
    runDeferred();
    return pending >= 0 && sd_event_get_state(event_.get()) != SD_EVENT_FINISHED;
}

bool Loop::serve() {
    std::array<epoll_event, kReadyAtOnce> ready;
    const int count = epoll_wait(descriptors_.get(), ready.data(), kReadyAtOnce, deferred_.empty() ? -1 : 0);
    bool eventIsDue = false;
    for (int index = 0; index < count; ++index) {
        auto* watch = static_cast<Watch*>(ready[static_cast<std::size_t>(index)].data.ptr);
        if (watch == nullptr) {
            eventIsDue = true;
        } else {
            watch->ready_();
        }
    }
    runDeferred();
    return eventIsDue;
}

void Loop::runDeferred() {
    while (!deferred_.empty()) {
        for (const auto& task : std::exchange(deferred_, {})) {
            task();
        }
    }
}

}  // namespace corvane
