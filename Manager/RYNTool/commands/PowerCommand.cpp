#include "commands/Groups.h"
#include "platform/CoreFoundation/CoreFoundation.h"

namespace {

const char* textOf(CFStringRef string) {
    return CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
}

/// "power": power logs of the baseband, and power notifications as if the application processor had sent them.
struct PowerCommand : RYNCommandBase {
    using RYNCommandBase::RYNCommandBase;

    void registerCommands() override {
        registerLeaf<&PowerCommand::enable>("enable", "[npa|f3] enable power log collection from baseband");
        registerLeaf<&PowerCommand::disable>("disable", "[npa|f3] disable power log collection from baseband");
        registerLeaf<&PowerCommand::dump>("dump", "[npa|f3] dump power log from baseband");
        registerLeaf<&PowerCommand::simulate>("simulate", "[0x...] simulate AP power events");
    }

    bool enable(const Group&, const Words& words) { return requestLog(textOf(kActionEnable), words); }
    bool disable(const Group&, const Words& words) { return requestLog(textOf(kActionDisable), words); }
    bool dump(const Group&, const Words& words) { return requestLog(textOf(kActionDumpLog), words); }

    bool requestLog(const char* action, const Words& words) const {
        const bool isNPA = words == Words{"npa"};
        if (!isNPA && words != Words{"f3"}) {
            return fail({"Invalid power log option. Pass [npa|f3]"});
        }
        const char* const log = textOf(isNPA ? kNPAPowerLog : kF3PowerLog);
        const Answer answer = perform(textOf(kCommandLogCollection), xpc::dictionary({
                                                                         {textOf(kKeyLogCollectionAction), xpc::text(action)},
                                                                         {ryn::kKeyTracePropertyName, xpc::text(log)},
                                                                     }));
        output::printLine({"Sent command to ", action, " ", log});
        return answer.succeeded();
    }

    bool simulate(const Group&, const Words& words) {
        if (words.empty()) {
            return fail({"Invalid power command usage"}, output::Stream::Output);
        }
        const auto notification = static_cast<std::uint32_t>(numberOf(words.front(), 16));
        const Answer answer = perform(ryn::kCommandSimulatePowerNotification,
                                      xpc::dictionary({{ryn::kKeyPowerNotificationMessage, xpc::number(notification)}}));
        // It stays so for whatever is printed later.
        output::useHexadecimal();
        const std::string shown = "Simulated power notification 0x" + output::number(notification);
        if (answer.succeeded()) {
            output::printLine({shown, " accepted"});
        } else {
            output::print({shown});  // this line of standard output stays without its end
            output::printError({" rejected"});
        }
        return answer.succeeded();
    }
};

}  // namespace

NodeFactory* const createPowerCommand = create<PowerCommand>;
