#include "Corvane/clients/Server.h"
#include "Corvane/requests/Statistics.h"
#include "Corvane/support/MemoryReserve.h"

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <vector>

// What becomes of the memory of clients: that of those that have ended, and that of others when there is no more.

namespace corvane {
namespace {

/// So much memory that clients have freed is returned to the system, in one go and soon after.
constexpr std::size_t kWorthReturning = std::size_t{1} << 18U;
constexpr std::chrono::seconds kTrimPause{1};
/// What a client takes besides the packets that are held back for it: itself, its session, their allocations.
constexpr std::size_t kBytesOfClient = 2048;

}  // namespace

void Server::removeEnded() {
    std::swap(ended_, removed_);
    for (Client* client : removed_) {
        freedBytes_ += kBytesOfClient + client->outbox.bytes();
        std::vector<std::function<void()>> abandonments;
        loop_.withinMemory([&] { abandonments = client->session->takeAbandonments(); });
        remove(*client);
        for (const auto& abandon : abandonments) {
            loop_.withinMemory(abandon);
        }
    }
    removed_.clear();
    memory::reserve();
    if (freedBytes_ >= kWorthReturning && !trimTimer_.isSet()) {
        trimTimer_.set(kTrimPause, [this] { returnMemory(); });
    }
}

void Server::returnMemory() {
    // The allocator keeps what lies between other blocks: after a flood that would be most of it.
    malloc_trim(0);
    freedBytes_ = 0;
}

void Server::remove(Client& client) {
    figures_.connected -= 1;
    figures_.watchingEvents -= client.session->wantsEvents() ? 1 : 0;
    client.user.clients -= 1;
    const std::size_t index = client.index;
    std::swap(clients_[index], clients_.back());
    clients_[index]->index = index;
    clients_.pop_back();
}

void Server::endUnanswered(Client& client) {
    loop_.withinMemory([&] { end(client, "could not be answered: there is no memory for it"); });
}

void Server::relieve() {
    returnMemory();
    memory::reserve();
    if (!memory::isShort() || clients_.empty()) {
        return;
    }
    const auto bytesOf = [](const auto& client) {
        return client->ended ? 0 : client->outbox.bytes() + client->session->outstandingBytes();
    };
    end(**std::ranges::max_element(clients_, {}, bytesOf), "takes memory that there is not");
}

}  // namespace corvane
