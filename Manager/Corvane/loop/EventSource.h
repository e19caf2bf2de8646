#pragma once

#include <systemd/sd-event.h>

#include <memory>

namespace corvane {

struct EventSourceDeleter {
    void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};
/// What sd-event waits for, until this is destroyed.
using EventSource = std::unique_ptr<sd_event_source, EventSourceDeleter>;

}  // namespace corvane
