#include "Corvane/clients/Server.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

namespace corvane {

namespace {

constexpr int kEventsALookRound = 128;
constexpr std::chrono::seconds kListeningPause{1};
constexpr std::size_t kBufferSize = ryn::wire::kMaxPacketSize + 1;

std::uint64_t microseconds(std::chrono::steady_clock::duration duration) {
    const auto count = std::chrono::ceil<std::chrono::microseconds>(duration).count();
    return count < 0 ? 0 : static_cast<std::uint64_t>(count);
}

std::string describe(const PeerPolicy::Peer& peer) {
    return "a connection of process " + std::to_string(peer.process) + ", user " + std::to_string(peer.user);
}

std::uint32_t epollEvents(Connection::Interest interest) {
    return interest == Connection::Interest::Read ? EPOLLIN : EPOLLOUT;
}

}  // namespace

Server::Server(sd_event& loop, LoopUse& loopUse, platform::FileDescriptor listener, PeerPolicy policy, Dispatcher& dispatcher,
               ClientFigures& figures, Limits limits)
    : loop_(loop),
      loopUse_(loopUse),
      listener_(std::move(listener)),
      sockets_(epoll_create1(EPOLL_CLOEXEC)),
      policy_(policy),
      dispatcher_(dispatcher),
      figures_(figures),
      limits_(limits),
      buffer_(std::make_unique_for_overwrite<std::uint8_t[]>(kBufferSize)) {
    resumeListening();
    epoll_event event{EPOLLIN, {&loop_}};
    epoll_ctl(sockets_.get(), EPOLL_CTL_ADD, sd_event_get_fd(&loop_), &event);
    const auto onEnded = [](sd_event_source*, void* server) {
        static_cast<Server*>(server)->removeEnded();
        return 0;
    };
    sd_event_source* reaper = nullptr;
    sd_event_add_defer(&loop_, &reaper, onEnded, this);
    sd_event_source_set_enabled(reaper, SD_EVENT_OFF);
    reaper_.reset(reaper);
}

Server::~Server() = default;

bool Server::turn() {
    loopUse_.raised = false;
    int pending = sd_event_prepare(&loop_);
    if (pending == 0) {
        // The loop has armed its timers and sleeps; it must look again after anything that may have changed them.
        while (!serveSockets() && !loopUse_.raised) {
        }
        pending = sd_event_wait(&loop_, 0);
    }
    if (pending > 0) {
        pending = sd_event_dispatch(&loop_);
    }
    return pending >= 0 && sd_event_get_state(&loop_) != SD_EVENT_FINISHED;
}

bool Server::serveSockets() {
    std::array<epoll_event, kEventsALookRound> events;
    const int count = epoll_wait(sockets_.get(), events.data(), kEventsALookRound, -1);
    bool loopIsDue = false;
    serving_ = true;
    for (int index = 0; index < count; ++index) {
        const epoll_event& event = events[static_cast<std::size_t>(index)];
        if (event.data.ptr == nullptr) {
            accept();
        } else if (event.data.ptr == &loop_) {
            loopIsDue = true;
        } else {
            serve(*static_cast<Connection*>(event.data.ptr), event.events);
        }
    }
    serving_ = false;
    removeEnded();
    return loopIsDue;
}

void Server::serve(Connection& connection, std::uint32_t events) {
    if (connection.ended()) {
        return;
    }
    if (connection.interest() == Connection::Interest::Write) {
        connection.flush();
    } else if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
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
    if (admit(peer)) {
        add(std::move(socket), peer);
    }
}

bool Server::admit(const PeerPolicy::Peer& peer) {
    if (!peer.allowed) {
        ++figures_.refusedPeers;
        refusedPeers_.write(log::Level::Warning,
                            "refused " + describe(peer) + ": add the user to group " + PeerPolicy::kGroupName);
        return false;
    }
    const bool userIsOverLimit = !peer.trusted && clientsOfUser_[peer.user] >= limits_.clientsOfUser;
    if (connections_.size() < limits_.clients && !userIsOverLimit) {
        return true;
    }
    ++figures_.refusedOverLimit;
    refusedOverLimit_.write(
        log::Level::Warning,
        "refused " + describe(peer) + ": there are " +
            (userIsOverLimit ? std::to_string(limits_.clientsOfUser) + " of this user, the most that one may have"
                             : std::to_string(limits_.clients) + " clients, the most there may be"));
    return false;
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
    epoll_event event{epollEvents(connection.notes.watched), {&connection}};
    epoll_ctl(sockets_.get(), EPOLL_CTL_ADD, connection.descriptor(), &event);
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
            ended_.push_back(&connection);
            if (!serving_) {
                sd_event_source_set_enabled(reaper_.get(), SD_EVENT_ONESHOT);
            }
        }
        return;
    }
    if (connection.interest() != connection.notes.watched) {
        connection.notes.watched = connection.interest();
        epoll_event event{epollEvents(connection.notes.watched), {&connection}};
        epoll_ctl(sockets_.get(), EPOLL_CTL_MOD, connection.descriptor(), &event);
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
    if (!ryn::wire::encode(ryn::wire::Event{event, payload}, eventPacket_)) {
        log::error(std::string("an event did not fit a packet: ") + event);
        return;
    }
    for (const auto& connection : connections_) {
        if (connection->session().wantsEvents() && !connection->ended()) {
            connection->send(eventPacket_);
            ++figures_.eventsSent;
        }
    }
}

void Server::armGreetingTimer() {
    if (greetingTimer_ || ungreeted_.empty()) {
        return;
    }
    const auto onTime = [](sd_event_source*, std::uint64_t, void* server) {
        static_cast<Server*>(server)->endLateGreetings();
        return 0;
    };
    sd_event_source* timer = nullptr;
    sd_event_add_time_relative(&loop_, &timer, CLOCK_MONOTONIC, microseconds(ungreeted_.begin()->first - Clock::now()), 0, onTime,
                               this);
    greetingTimer_.reset(timer);
    loopUse_.raised = true;
}

void Server::endLateGreetings() {
    const Clock::time_point now = Clock::now();
    while (!ungreeted_.empty() && ungreeted_.begin()->first <= now) {
        Connection* late = ungreeted_.begin()->second;
        ungreeted_.erase(ungreeted_.begin());
        late->end("sent no hello in time");
    }
    greetingTimer_.reset();
    armGreetingTimer();
}

void Server::pauseListening() {
    epoll_ctl(sockets_.get(), EPOLL_CTL_DEL, listener_.get(), nullptr);
    const auto onTime = [](sd_event_source*, std::uint64_t, void* server) {
        static_cast<Server*>(server)->resumeListening();
        return 0;
    };
    sd_event_source* timer = nullptr;
    sd_event_add_time_relative(&loop_, &timer, CLOCK_MONOTONIC, microseconds(kListeningPause), 0, onTime, this);
    listeningTimer_.reset(timer);
    loopUse_.raised = true;
}

void Server::resumeListening() {
    listeningTimer_.reset();
    epoll_event event{EPOLLIN, {nullptr}};
    epoll_ctl(sockets_.get(), EPOLL_CTL_ADD, listener_.get(), &event);
}

}  // namespace corvane
