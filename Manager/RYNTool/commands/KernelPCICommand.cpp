#include "commands/TraceGroup.h"

namespace {

using output::Stream;

constexpr TraceProperty kProperties[] = {
    // word, name, label, unit, get suffix, help text, failures on
    {"enabled", "Enabled", "Enabled", "", " status", "[true|false] enable or disable kernelpci trace", Stream::Error},
    {"history", "History", "History", " MB", "", "history (MB) of kernelpci trace to capture", Stream::Output},
    {"buffercount", "BufferCount", "Buffer-count", "", "", "number of buffers to use for kernelpci trace", Stream::Output},
};

constexpr TraceStatus::Line kStatusLines[] = {{"Enabled", "Enabled: ", "", 0}, {"History", "History: ", " MB", 1}};
constexpr TraceStatus kStatus = {"status of kernelpci trace", "kernelpci trace", Stream::Output, 2, kStatusLines};

/// "kernelpci": settings of the kernel PCI trace.
using KernelPCICommand = TraceGroup<ryn::kTraceKernelPCI, kProperties, kStatus>;

}  // namespace

NodeFactory* const createKernelPCICommand = create<KernelPCICommand>;
