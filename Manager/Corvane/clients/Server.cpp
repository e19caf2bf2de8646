#include "Corvane/clients/Server.h"

#include "Corvane/requests/ErrorReply.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

namespace corvane {

namespace {

constexpr std::chrono::seconds kListeningPause{1};
constexpr std::size_t kBufferSize = ryn::wire::kMaxPacketSize + 1;

}  // namespace

Server::Server(Loop& loop, platform::FileDescriptor listener, PeerPolicy policy, Dispatcher& dispatcher, ClientFigures& figures,
               Limits limits)
    : loop_(loop),
      listener_(std::move(listener)),
      policy_(policy),
      dispatcher_(dispatcher),
      figures_(figures),
      limits_(limits),
      buffer_(std::make_unique_for_overwrite<std::uint8_t[]>(kBufferSize)),
      greetingTimer_(loop),
      listeningTimer_(loop) {
    resumeListening();
}

Server::~Server() = default;

void Server::serve(Connection& connection) {
    if (connection.ended()) {
        return;
    }
    if (connection.interest() == Watch::Interest::Write) {
        connection.flush();
    } else {
        receive(connection);
    }
}

void Server::receive(Connection& connection) {
    const bool greeted = connection.session().greeted();
    connection.receive({buffer_.get(), kBufferSize});
    if (!greeted && connection.session().greeted()) {
        ungreeted_.erase({connection.notes.greetingDeadline, &connection});
    }
}

void Server::accept() {
    platform::FileDescriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!socket) {
        if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
            log::error(std::string("can't accept clients for a moment: ") + std::strerror(errno));
            pauseListening();
        }
        return;
    }
    const PeerPolicy::Peer peer = policy_.judge(socket.get());
    if (const auto admitted = admit(peer); !admitted) {
        turnAway(socket, peer, admitted.refusal());
    } else {
        add(std::move(socket), peer);
    }
}

Result<void> Server::admit(const PeerPolicy::Peer& peer) {
    const std::string user = "User " + std::to_string(peer.user);
    if (!peer.allowed) {
        ++figures_.refusedPeers;
        return Refusal::notAllowed(user + " may not use this manager; add the user to group " + PeerPolicy::kGroupName +
                                   " and log in again.");
    }
    const std::size_t places = peer.trusted ? limits_.clients : limits_.clients - std::min(limits_.reserved, limits_.clients);
    const auto ofUser = clientsOfUser_.find(peer.user);
    const bool userIsOverLimit = !peer.trusted && ofUser != clientsOfUser_.end() && ofUser->second >= limits_.clientsOfUser;
    if (connections_.size() < places && !userIsOverLimit) {
        return {};
    }
    ++figures_.refusedOverLimit;
    return Refusal::limitReached(userIsOverLimit ? user + " has " + std::to_string(limits_.clientsOfUser) +
                                                       " connections to this manager, the most that one user may have."
                                                 : "This manager has " + std::to_string(places) +
                                                       " clients, the most that it serves; try again when one has gone.");
}

void Server::turnAway(const platform::FileDescriptor& socket, const PeerPolicy::Peer& peer, const Refusal& refusal) {
    auto& limited = refusal.code == ResultCode::NotAllowed ? notAllowed_ : overLimit_;
    limited.write(log::Level::Warning, "refused a connection of process " + std::to_string(peer.process) + ", user " +
                                           std::to_string(peer.user) + ": " + refusal.sentence);
    if (ryn::wire::encode(ryn::wire::Reply{ryn::wire::kConnectionId, refusal.result(), errorReply(refusal, {})}, packet_)) {
        ::send(socket.get(), packet_.data(), packet_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    // What is closed with packets unread resets the connection, and its peer sees an error before the reply (unix(7)).
    constexpr int kUsualPackets = 3;
    for (int packets = 0; packets < kUsualPackets && recv(socket.get(), nullptr, 0, MSG_DONTWAIT | MSG_TRUNC) > 0; ++packets) {
    }
}

void Server::add(platform::FileDescriptor socket, const PeerPolicy::Peer& peer) {
    auto owned = std::make_unique<Connection>(std::move(socket), peer, dispatcher_, *this);
    Connection& connection = *owned;
    connection.notes.index = connections_.size();
    connections_.push_back(std::move(owned));
    ++clientsOfUser_[peer.user];
    ++figures_.accepted;
    ++figures_.connected;

    // What a client has to ask comes with its connection, and is answered before anything else is done for it.
    receive(connection);
    if (connection.ended()) {
        return;
    }
    connection.notes.watch.emplace(loop_, connection.descriptor(), [this, &connection] { serve(connection); });
    connection.notes.watch->setInterest(connection.interest());
    if (!connection.session().greeted()) {
        connection.notes.greetingDeadline = Clock::now() + limits_.greeting;
        ungreeted_.emplace(connection.notes.greetingDeadline, &connection);
        armGreetingTimer();
    }
}

void Server::connectionChanged(Connection& connection) {
    if (connection.ended()) {
        if (!connection.notes.removing) {
            connection.notes.removing = true;
            if (ended_.empty()) {
                loop_.defer([this] { removeEnded(); });
            }
            ended_.push_back(&connection);
        }
        return;
    }
    if (connection.notes.watch) {
        connection.notes.watch->setInterest(connection.interest());
    }
}

void Server::watchersChanged(bool more) {
    figures_.watchingEvents += more ? 1 : std::uint64_t{0} - 1;
}

void Server::removeEnded() {
    for (Connection* connection : ended_) {
        remove(*connection);
    }
    ended_.clear();
}

void Server::remove(Connection& connection) {
    ungreeted_.erase({connection.notes.greetingDeadline, &connection});
    figures_.connected -= 1;
    figures_.ended += connection.endedByManager() ? 1 : 0;
    figures_.watchingEvents -= connection.session().wantsEvents() ? 1 : 0;
    const auto ofUser = clientsOfUser_.find(connection.peer().user);
    if (--ofUser->second == 0) {
        clientsOfUser_.erase(ofUser);
    }
    const std::size_t index = connection.notes.index;
    std::swap(connections_[index], connections_.back());
    connections_[index]->notes.index = index;
    connections_.pop_back();
}

void Server::broadcast(const char* event, const xpc::Object& payload) {
    if (figures_.watchingEvents == 0) {
        return;
    }
    if (!ryn::wire::encode(ryn::wire::Event{event, payload}, packet_)) {
        log::error(std::string("an event did not fit a packet: ") + event);
        return;
    }
    for (const auto& connection : connections_) {
        if (connection->session().wantsEvents() && !connection->ended()) {
            connection->send(packet_);
            ++figures_.eventsSent;
        }
    }
}

void Server::armGreetingTimer() {
    if (!greetingTimer_.isSet() && !ungreeted_.empty()) {
        const auto left = ungreeted_.begin()->first - Clock::now();
        greetingTimer_.set(std::chrono::ceil<std::chrono::milliseconds>(left), [this] { endLateGreetings(); });
    }
}

void Server::endLateGreetings() {
    const Clock::time_point now = Clock::now();
    while (!ungreeted_.empty() && ungreeted_.begin()->first <= now) {
        Connection* late = ungreeted_.begin()->second;
        ungreeted_.erase(ungreeted_.begin());
        late->end("sent no hello in time");
    }
    armGreetingTimer();
}

void Server::pauseListening() {
    loop_.defer([this] { listening_.reset(); });
    listeningTimer_.set(kListeningPause, [this] { resumeListening(); });
}

void Server::resumeListening() {
    listening_.emplace(loop_, listener_.get(), [this] { accept(); });
}

}  // namespace corvane
