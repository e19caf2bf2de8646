#include "commands/PropertyLeaf.h"

#include "commands/TraceProperty.h"
#include "shell/Output.h"

#include <string>

bool runPropertyLeaf(const PropertyLeaf& leaf, const ryn::client::ManagerPtr& manager, const char* trace, const Words& words) {
    if (leaf.access == Access::ReadOnly && !words.empty()) {
        output::printLine(leaf.failures, {"Denied: Can't modify '", leaf.label, "'"});
        return false;
    }
    if (words.size() > 1) {
        output::printLine(leaf.failures, {"Invalid value(s) passed for '", leaf.label, "'"});
        return false;
    }
    std::string value;
    if (words.empty()) {
        if (getTraceProperty(manager, trace, leaf.property, value, 0) != 0) {
            output::printLine(leaf.failures, {"Failed to get '", leaf.label, "'", leaf.getSuffix});
            return false;
        }
    } else {
        value = words.front();
        if (setTraceProperty(manager, trace, leaf.property, value, 0) != 0) {
            output::printLine(leaf.failures, {"Failed to set '", leaf.label, "' to '", value, "'", leaf.unit});
            return false;
        }
    }
    output::printLine({leaf.label, ": ", value, leaf.unit});
    return true;
}
