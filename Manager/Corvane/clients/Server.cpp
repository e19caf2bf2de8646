#include "Corvane/clients/Server.h"

#include "Corvane/requests/Recording.h"
#include "Corvane/requests/Statistics.h"
#include "Corvane/support/MemoryReserve.h"

#include <fmt/format.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace corvane {
namespace {

constexpr std::chrono::seconds kListeningPause{1};
constexpr std::chrono::seconds kGreetingLimit{10};
/// One byte more than a packet may have.
constexpr std::size_t kBufferSize = ryn::wire::kMaxPacketSize + 1;

}  // namespace

Server::Server(Loop& loop, platform::FileDescriptor listeningSocket, PeerPolicy policy, Dispatcher& dispatcher,
               ClientFigures& figures, std::size_t mostClients)
    : loop_(loop),
      listeningSocket_(std::move(listeningSocket)),
      door_(policy, mostClients, figures),
      dispatcher_(dispatcher),
      figures_(figures),
      buffer_(std::make_unique_for_overwrite<std::uint8_t[]>(kBufferSize)),
      listeningTimer_(loop),
      trimTimer_(loop) {
    memory::reserve();
    loop_.setRelief([this] { relieve(); });
    resumeListening();
}

Server::Client::Client(platform::FileDescriptor connected, const PeerPolicy::Peer& from, User& of, Server& server)
    : socket(std::move(connected)),
      peer(from),
      user(of),
      outbox(socket.get()),
      session(std::make_shared<Session>(
          server.dispatcher_, Requester{peer.user, peer.process, {}, server.figures_.accepted},
          [this, &server](std::span<const std::uint8_t> packet) { server.send(*this, packet); },
          [this, &server] { server.endUnanswered(*this); })),
      watch(server.loop_, socket.get(), Watch::Order::Fair, [this, &server] { server.serve(*this); }),
      greeting(server.loop_) {}

void Server::accept() {
    do {
        platform::FileDescriptor socket(accept4(listeningSocket_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket) {
            if (errno != EAGAIN && errno != ECONNABORTED) {
                log::error(std::string("can't accept clients for a moment: ") + std::strerror(errno));
                pauseListening();
            }
            return;
        }
        const PeerPolicy::Peer peer = door_.judge(socket.get());
        const auto user = users_.find(peer.user);
        const std::size_t clientsOfUser = user == users_.end() ? 0 : user->second.clients;
        if (const auto admitted = door_.admit(peer, clients_.size(), clientsOfUser); !admitted) {
            door_.turnAway(socket, peer, admitted.refusal());
        } else {
            add(std::move(socket), peer);
        }
    } while (loop_.isShared() && !loop_.isLate());
}

void Server::add(platform::FileDescriptor socket, const PeerPolicy::Peer& peer) {
    auto owned = std::make_unique<Client>(std::move(socket), peer, users_[peer.user], *this);
    Client& client = *owned;
    client.index = clients_.size();
    for (auto* removals : {&ended_, &removed_}) {
        removals->reserve(clients_.size() + 1);
    }
    clients_.push_back(std::move(owned));
    ++client.user.clients;
    ++figures_.accepted;
    ++figures_.connected;
    // A client mostly sends its first request with its connection: it is answered at once.
    loop_.serveNow(client.watch);
    if (!client.session->greeted()) {
        client.greeting.set(kGreetingLimit, [this, &client] { end(client, "sent no hello in time"); });
    }
}

void Server::pauseListening() {
    loop_.defer([this] { listening_.reset(); });
    listeningTimer_.set(kListeningPause, [this] { resumeListening(); });
}

void Server::resumeListening() {
    listening_.emplace(loop_, listeningSocket_.get(), Watch::Order::Ahead, [this] { accept(); });
}

void Server::serve(Client& client) {
    // Where memory is short, that is mended first: serving a client must not run out of it.
    if (client.ended || memory::isShort()) {
        return;
    }
    const log::RateLimited::Scope limited(recording::isShownInLog() ? nullptr : &client.user.log);
    const bool isServed = loop_.withinMemory([&] {
        if (client.outbox.isEmpty()) {
            receive(client);
        } else {
            take(client, client.outbox.flush());
        }
    });
    if (!isServed) {
        lose(client);
    }
}

void Server::receive(Client& client) {
    // hello, events and the first request come together and cost one turn. What the client sends after that waits for the next.
    constexpr int kPacketsATurn = 3;
    for (int packets = 0; packets < kPacketsATurn && !client.ended; ++packets) {
        // MSG_TRUNC: the packet's own length, also where it was longer than the buffer.
        const ssize_t length = recv(client.socket.get(), buffer_.get(), kBufferSize, MSG_DONTWAIT | MSG_TRUNC);
        if (length < 0 && errno == EAGAIN) {
            return;
        }
        if (length <= 0) {
            lose(client);
            return;
        }
        if (static_cast<std::size_t>(length) > ryn::wire::kMaxPacketSize) {
            end(client, fmt::format("sent a packet of {} bytes", length));
            return;
        }
        const auto progress = receivePacket(client, {buffer_.get(), static_cast<std::size_t>(length)});
        if (!progress) {
            end(client, progress.refusal().sentence);
            return;
        }
        if (*progress == Session::Progress::Served) {
            return;
        }
    }
}

/// Counts who watches events at once, because the next packet may cause one.
Result<Session::Progress> Server::receivePacket(Client& client, std::span<const std::uint8_t> packet) {
    const Session& session = *client.session;
    const bool greeted = session.greeted();
    const bool watched = session.wantsEvents();
    auto progress = client.session->receive(packet);
    if (session.greeted() && !greeted) {
        client.greeting.cancel();
    }
    figures_.watchingEvents += session.wantsEvents() && !watched ? 1 : 0;
    figures_.watchingEvents -= !session.wantsEvents() && watched ? 1 : 0;
    return progress;
}

void Server::send(Client& client, std::span<const std::uint8_t> packet) {
    if (!client.ended) {
        take(client, client.outbox.send(packet));
    }
}

void Server::take(Client& client, Outbox::Sent sent) {
    if (sent == Outbox::Sent::Full) {
        end(client, "does not read what it is sent");
    } else if (sent == Outbox::Sent::Lost) {
        lose(client);
    } else {
        // Nothing more is read while answers wait for the client to read them.
        client.watch.setInterest(client.outbox.isEmpty() ? Watch::Interest::Read : Watch::Interest::Write);
    }
}

void Server::end(Client& client, std::string_view why) {
    if (client.ended) {
        return;
    }
    lose(client);
    if (!client.session->greeted()) {
        Door::dropUnread(client.socket);
    }
    ++figures_.ended;
    client.user.ends.write(log::Level::Warning,
                           fmt::format("ended the connection of '{}' (process {}, user {}): it {}", client.session->clientName(),
                                       client.peer.process, client.peer.user, why));
}

void Server::lose(Client& client) {
    if (client.ended) {
        return;
    }
    client.ended = true;
    if (ended_.empty()) {
        loop_.defer([this] { removeEnded(); });
    }
    ended_.push_back(&client);
}

void Server::broadcast(const char* event, const xpc::Object& payload) {
    const bool isTold = loop_.withinMemory([&] { tell(event, payload); });
    for (const auto& client : clients_) {
        if (!isTold && client->session->wantsEvents()) {
            endUnanswered(*client);
        }
    }
}

void Server::tell(const char* event, const xpc::Object& payload) {
    recording::event({event, payload});
    if (figures_.watchingEvents == 0) {
        return;
    }
    if (!ryn::wire::encode(ryn::wire::Event{event, payload}, packet_)) {
        log::error(std::string("an event did not fit a packet: ") + event);
        return;
    }
    for (const auto& client : clients_) {
        if (client->session->wantsEvents() && !client->ended) {
            if (!loop_.withinMemory([&] { send(*client, packet_); })) {
                lose(*client);
            }
            ++figures_.eventsSent;
        }
    }
}

}  // namespace corvane
