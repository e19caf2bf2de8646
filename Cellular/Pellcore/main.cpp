#include "Pellcore/CellularService.h"
#include "Pellcore/Log.h"
#include "Pellcore/Options.h"
#include "Platform/vsk/ProcessPresence.h"
#include "platform/CoreFoundation/CoreFoundation.h"
#include "platform/console/StandardStreams.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>

namespace {

/// The signals that end the service; blocked, so that threads started from here on leave them to the main thread.
sigset_t blockEndSignals() {
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    platform::openStandardStreams();
    if (const auto exit = pellcore::parseOptions({arguments + 1, arguments + argumentCount})) {
        std::fputs(exit->text.c_str(), exit->status == 0 ? stdout : stderr);
        return exit->status;
    }
    std::signal(SIGPIPE, SIG_IGN);  // a log that nobody reads any more
    const sigset_t signals = blockEndSignals();
    const vsk::ProcessAnnouncement announcement("Pellcore");
    std::thread(CFRunLoopRun).detach();

    const auto service = std::make_shared<pellcore::CellularService>();
    service->start();
    int signal = 0;
    sigwait(&signals, &signal);
    pellcore::log(std::string("ended by ") + strsignal(signal));
    return 0;
}
