#include "config/RYNProperties.h"

#include "config/Capabilities.h"

bool RYNProperties::hostServer() {
    const auto product = Capabilities::create()->product;
    return product != 2 && product != 3;
}

bool RYNProperties::isReadable() {
    return instance()->adapter().isReadable();
}

bool RYNProperties::setTraceRYNEnabled(bool enabled) {
    return instance()->adapter().set<bool>(enabled, kTraceRYNEnabled.key, true);
}

bool RYNProperties::traceRYNEnabled() {
    return instance()->read(kTraceRYNEnabled.key, kTraceRYNEnabled.builtIn());
}

bool RYNProperties::setTraceRYNHistory(unsigned long megabytes) {
    return instance()->adapter().set<unsigned long>(megabytes, kTraceRYNHistory.key, true);
}

std::uint32_t RYNProperties::traceRYNHistory() {
    return instance()->read(kTraceRYNHistory.key, kTraceRYNHistory.builtIn);
}

bool RYNProperties::storedBlockBasebandResets() {
    return instance()->read(kBlockBasebandResets.key, kBlockBasebandResets.builtIn);
}

bool RYNProperties::storeBlockBasebandResets(bool block) {
    return instance()->adapter().set<bool>(block, kBlockBasebandResets.key, true);
}
