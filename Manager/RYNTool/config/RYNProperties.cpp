#include "config/RYNProperties.h"

#include "config/Capabilities.h"
#include "config/TraceType.h"

#include <cstddef>
#include <variant>

namespace {

enum class Key : std::size_t {
    HostServer,
    RFSFlushInterval,
    RFSFlushTimeout,
    BootBaseband,
    BlockBasebandResets,
    LogScratchPath,
    LogSnapshotPath,
    CoreDumpOnSoftResetTimeout,
    StackshotOnShutdownTimeout,
    TraceRYNEnabled,
    TraceRYNHistory,
};

/// A default that depends on the device is a function.
using Default = std::variant<bool, std::uint32_t, const char*, bool (*)()>;

struct Property {
    Key key;
    const char* name;
    Default builtIn;
};

bool isHostServerProduct() {
    const auto product = Capabilities::create()->product;
    return product != 2 && product != 3;
}

constexpr Property kProperties[] = {
    {Key::HostServer, "HostServer", isHostServerProduct},
    {Key::RFSFlushInterval, "RFSFlushInterval", std::uint32_t{7200}},
    {Key::RFSFlushTimeout, "RFSFlushTimeout", std::uint32_t{0}},
    {Key::BootBaseband, "BootBaseband", true},
    {Key::BlockBasebandResets, "BlockBasebandResets", false},
    {Key::LogScratchPath, "LogScratchPath", ryn::trace::kScratchFolder},
    {Key::LogSnapshotPath, "LogSnapshotPath", ryn::trace::kSnapshotFolder},
    {Key::CoreDumpOnSoftResetTimeout, "CoreDumpOnSoftResetTimeout", std::uint32_t{0}},
    {Key::StackshotOnShutdownTimeout, "StackshotOnShutdownTimeout", std::uint32_t{0}},
    {Key::TraceRYNEnabled, "Trace::RYN::Enabled", ryn::trace::isAllowed},
    {Key::TraceRYNHistory, "Trace::RYN::History", std::uint32_t{5}},
};

constexpr bool isInKeyOrder() {
    std::size_t index = 0;
    for (const auto& property : kProperties) {
        if (property.key != static_cast<Key>(index++)) {
            return false;
        }
    }
    return true;
}
static_assert(isInKeyOrder(), "a property is found by its key's number");

constexpr const Property& property(Key key) {
    return kProperties[static_cast<std::size_t>(key)];
}

const char* name(Key key) {
    return property(key).name;
}

bool defaultFlag(Key key) {
    const auto& builtIn = property(key).builtIn;
    const auto* const ask = std::get_if<bool (*)()>(&builtIn);
    return ask != nullptr ? (*ask)() : std::get<bool>(builtIn);
}

std::uint32_t defaultNumber(Key key) {
    return std::get<std::uint32_t>(property(key).builtIn);
}

std::string defaultText(Key key) {
    return std::get<const char*>(property(key).builtIn);
}

}  // namespace

bool RYNProperties::hostServer() {
    return defaultFlag(Key::HostServer);
}

std::uint32_t RYNProperties::rfsFlushInterval() {
    return defaultNumber(Key::RFSFlushInterval);
}

std::uint32_t RYNProperties::rfsFlushTimeout() {
    return defaultNumber(Key::RFSFlushTimeout);
}

bool RYNProperties::bootBaseband() {
    return defaultFlag(Key::BootBaseband);
}

bool RYNProperties::blockBasebandResets() {
    return defaultFlag(Key::BlockBasebandResets);
}

std::string RYNProperties::logScratchPath() {
    return defaultText(Key::LogScratchPath);
}

std::string RYNProperties::logSnapshotPath() {
    return defaultText(Key::LogSnapshotPath);
}

std::uint32_t RYNProperties::coreDumpOnSoftResetTimeout() {
    return defaultNumber(Key::CoreDumpOnSoftResetTimeout);
}

std::uint32_t RYNProperties::stackshotOnShutdownTimeout() {
    return defaultNumber(Key::StackshotOnShutdownTimeout);
}

bool RYNProperties::setTraceRYNEnabled(bool enabled) {
    return instance()->adapter().set<bool>(enabled, name(Key::TraceRYNEnabled), true);
}

bool RYNProperties::traceRYNEnabled() {
    return instance()->read(name(Key::TraceRYNEnabled), defaultFlag(Key::TraceRYNEnabled));
}

bool RYNProperties::setTraceRYNHistory(unsigned long megabytes) {
    return instance()->adapter().set<unsigned long>(megabytes, name(Key::TraceRYNHistory), true);
}

std::uint32_t RYNProperties::traceRYNHistory() {
    return instance()->read(name(Key::TraceRYNHistory), defaultNumber(Key::TraceRYNHistory));
}

bool RYNProperties::storedBlockBasebandResets() {
    return instance()->read(name(Key::BlockBasebandResets), defaultFlag(Key::BlockBasebandResets));
}

bool RYNProperties::storeBlockBasebandResets(bool block) {
    return instance()->adapter().set<bool>(block, name(Key::BlockBasebandResets), true);
}
