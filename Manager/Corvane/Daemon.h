#pragma once

#include "Corvane/Options.h"
#include "Corvane/clients/Server.h"
#include "Corvane/loop/Loop.h"
#include "Corvane/requests/Dispatcher.h"
#include "Corvane/requests/RecordedRequests.h"
#include "Corvane/requests/Services.h"
#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/ListeningSocket.h"

#include <memory>
#include <string>

namespace corvane {

/// The whole daemon, put together and run.
class Daemon {
public:
    explicit Daemon(Options options) : options_(std::move(options)) {}

    /// Serves until SIGTERM or SIGINT. A refusal says why it could not start.
    Result<void> run();

private:
    Result<void> prepareLoop();
    Result<void> listen();
    Result<void> openSettings();
    /// Begins a recording, and reads the one that is to be replayed.
    Result<void> openRecordings();
    /// For readers of the live stream, beside the manager's own socket and with its rights.
    Result<ListeningSocket> listenForStream(const std::string& path) const;
    void serve(platform::FileDescriptor socket);

    Options options_;
    std::size_t mostClients_ = 1024;
    PeerPolicy policy_;
    std::unique_ptr<Loop> loop_;
    ListeningSocket listeningSocket_;
    std::unique_ptr<SettingsStore> store_;
    RecordedRequests recorded_;  ///< to be replayed
};

}  // namespace corvane
