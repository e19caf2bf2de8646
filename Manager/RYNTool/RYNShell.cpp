#include "commands/Groups.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "platform/console/StandardStreams.h"
#include "platform/dispatch/Queue.h"
#include "platform/ryn/client.h"
#include "platform/vsk/SorvexUtil.h"
#include "shell/CommandShell.h"
#include "shell/Output.h"

#include <pthread.h>

#include <cstdlib>
#include <memory>
#include <string_view>

// For __assert_fail in every build.
#undef NDEBUG
#include <cassert>

namespace {

/// The shell of this tool: opens the manager's client and builds the command tree on it.
class RYNShell : public CommandShell {
    std::shared_ptr<CommandBase> createRootCommand(const Words& /*words*/) override {
        const dispatch::Queue queue("ryntool.queue");
        const auto manager = ryn::client::CreateManager("ryntool", queue.get());
        if (const char* const debug = std::getenv("RYNTOOL_DEBUG"); debug != nullptr && std::string_view(debug) == "1") {
            ryn::client::SetFailureHandler(manager, [](const std::string& sentence) {
                output::printError({"Reason: ", sentence});
            });
        }
        return createRYNCommand("ryntool", {}, manager, queue.get());
    }
};

/// The worker: runs the shell and ends the process with its verdict.
void* runShell(void* argument) {
    const Words words = *static_cast<const Words*>(argument);
    const auto shell = std::make_shared<RYNShell>();
    std::exit(shell->run(words) ? 0 : 1);
}

}  // namespace

int main(int argumentCount, char* arguments[]) {
    platform::openStandardStreams();
    Words words(arguments, arguments + argumentCount);
    if (!vsk::isProcessRunning("Pellcore")) {
        output::printLine({"Pellcore process is not running. Please run/load Pellcore and try again."});
        return -1;
    }
    pthread_t worker{};
    const int ret = pthread_create(&worker, nullptr, runShell, &words);
    if (ret != 0) {
        // One text in every version, so that crash reports of this failure group together: the line is not where it stands now.
        __assert_fail("ret == 0", "Manager/RYNTool/RYNShell", 89, "main");
    }
    CFRunLoopRun();
}
