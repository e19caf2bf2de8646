#pragma once

#include <systemd/sd-event.h>

#include <memory>

namespace corvane {

struct EventLoopDeleter {
    void operator()(sd_event* loop) const { sd_event_unref(loop); }
};
/// The one loop of the daemon's one thread.
using EventLoop = std::unique_ptr<sd_event, EventLoopDeleter>;

struct EventSourceDeleter {
    void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};
/// What the loop waits for, until this is destroyed.
using EventSource = std::unique_ptr<sd_event_source, EventSourceDeleter>;

/// Raised by whoever may have given the loop something new to wait for while it was not looking.
struct LoopUse {
    bool raised = false;
};

}  // namespace corvane
