#include "HostileServer.h"

#include "support/Process.h"
#include "support/ScriptedManager.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace torture {

namespace wire = ryn::wire;

namespace {

HostileServer::Phase phaseOf(const wire::Packet& packet) {
    return std::holds_alternative<wire::Hello>(packet)    ? HostileServer::Phase::Hello
           : std::holds_alternative<wire::Events>(packet) ? HostileServer::Phase::Events
                                                          : HostileServer::Phase::Request;
}

/// What is owed must arrive behind whatever was sent before it.
void sendPatiently(int descriptor, const HostileServer::Bytes& packet) {
    pollfd wait{descriptor, POLLOUT, 0};
    poll(&wait, 1, static_cast<int>(std::chrono::milliseconds(support::kPatience).count()));
    send(descriptor, packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

}  // namespace

HostileServer::Bytes HostileServer::encoded(const wire::Packet& packet) {
    Bytes bytes;
    wire::encode(packet, bytes);
    return bytes;
}

bool HostileServer::Conversation::send(const Bytes& packet) const {
    return ::send(descriptor, packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
}

HostileServer::HostileServer(const std::string& path, Phase phase, Misbehaviour misbehaviour)
    : phase_(phase),
      misbehaviour_(std::move(misbehaviour)),
      listener_(support::listenOn(path)),
      wake_(eventfd(0, EFD_CLOEXEC)),
      thread_([this] { serve(); }) {}

HostileServer::~HostileServer() {
    eventfd_write(wake_, 1);
    thread_.join();
    close(listener_);
    close(wake_);
}

bool HostileServer::waitFor(int descriptor) const {
    pollfd waits[] = {{descriptor, POLLIN, 0}, {wake_, POLLIN, 0}};
    return poll(waits, 2, -1) > 0 && waits[1].revents == 0;
}

void HostileServer::serve() {
    while (waitFor(listener_)) {
        const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        converse(descriptor);
        close(descriptor);
    }
}

void HostileServer::converse(int descriptor) {
    Conversation with{descriptor};
    bool done = false;
    const auto reach = [&](Phase phase) {
        if (phase != phase_ || done) {
            return Then::GoOn;
        }
        done = true;
        const Then then = misbehaviour_(with);
        if (!hasMisbehaved_) {
            hasMisbehaved_ = true;
            misbehaved_.set_value();
        }
        return then;
    };
    if (reach(Phase::Connect) == Then::Drop) {
        return;
    }
    Bytes buffer(wire::kMaxPacketSize);
    while (waitFor(descriptor)) {
        const ssize_t length = recv(descriptor, buffer.data(), buffer.size(), 0);
        const auto packet = wire::decode({buffer.data(), static_cast<std::size_t>(length > 0 ? length : 0)});
        if (!packet) {
            return;
        }
        const auto* request = std::get_if<wire::Request>(&*packet);
        with.id = request != nullptr ? request->id : with.id;
        if (reach(phaseOf(*packet)) == Then::Drop) {
            return;
        }
        if (request != nullptr) {
            sendPatiently(descriptor, encoded(wire::Reply{request->id, 0,
                                                          support::dictionary({{"KeyTracePropertyValue", support::text("1")}})}));
            if (reach(Phase::Reply) == Then::Drop) {
                return;
            }
        }
    }
}

}  // namespace torture
