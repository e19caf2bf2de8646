#include "commands/Groups.h"

namespace {

constexpr TraceProperty kProperties[] = {
    {"keepscratch", "KeepScratchLogs", "KeepScratchLogs", "", "", "[true|false] keep or discard scratch logs"},
};

/// "trace": collects trace logs and reads or writes any property of any trace.
struct TraceCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        registerLeaf<&TraceCommand::dump>("dump", "[<reason-string>] dump trace logs");
        registerLeaf<&TraceCommand::set>("set", "<trace> <property> <value> set trace property");
        registerLeaf<&TraceCommand::get>("get", "<trace> <property> get trace property");
        registerProperties<ryn::kTraceRYN>(kProperties);
        registerChildren();
    }

    /// Prints the outcome when it has come; returns true.
    bool dump(const Group& group, const Words& words) {
        if (words.size() > 1) {
            return failWithHelp();
        }
        ryn::client::CollectTraceLogs(manager(), "[ryntool] " + (words.empty() ? "User triggered" : words.front()),
                                      [entered = dispatch::EnteredGroup(group)](int result, const xpc::Object&) {
                                          output::printLine({"Dump: ", verdict(result)});
                                      });
        return true;
    }

    bool set(const Group&, const Words& words) {
        if (words.size() < 3) {
            return failWithHelp();
        }
        if (setTraceProperty(manager(), words[0], words[1], words[2], 0) != 0) {
            return fail({"Setting ", words[0], " ", words[1], " = ", words[2], " failed"}, output::Stream::Output);
        }
        return succeed({words[0], ": ", words[1], " = ", words[2]});
    }

    bool get(const Group&, const Words& words) {
        if (words.size() < 2) {
            return failWithHelp();
        }
        std::string value = ryn::kUnknown;
        if (getTraceProperty(manager(), words[0], words[1], value, 0) != 0) {
            return fail({"Getting ", words[0], " ", words[1], " failed"}, output::Stream::Output);
        }
        return succeed({words[0], ": ", words[1], " = ", value});
    }
};

}  // namespace

NodeFactory* const createTraceCommand = create<TraceCommand>;
