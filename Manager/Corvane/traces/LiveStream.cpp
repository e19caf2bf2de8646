#include "Corvane/traces/LiveStream.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

namespace corvane {

namespace {

constexpr std::size_t kMostReaders = 8;
constexpr std::size_t kMostWaiting = 262144;

}  // namespace

LiveStream::LiveStream(Loop& loop, ListeningSocket listener, std::function<bool(int socket)> admits)
    : loop_(loop), admits_(std::move(admits)), listeningSocket_(std::move(listener)) {
    watch_ = std::make_unique<Watch>(loop_, listeningSocket_.get(), Watch::Order::Fair, [this] { accept(); });
}

void LiveStream::accept() {
    platform::FileDescriptor socket(accept4(listeningSocket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket || !admits_(socket.get()) || readers_.size() == kMostReaders) {
        return;
    }
    Reader& reader = *readers_.emplace_back(std::make_unique<Reader>());
    reader.socket = std::move(socket);
    reader.waiting = kPcapng.header;
    reader.watch = std::make_unique<Watch>(loop_, reader.socket.get(), Watch::Order::Fair, [this, &reader] { serve(reader); });
    write(reader);
    onReaders_();
}

/// Drops what a reader sends: only the end of its connection matters.
void LiveStream::serve(Reader& reader) {
    std::array<char, 512> ignored{};
    const ssize_t count = ::recv(reader.socket.get(), ignored.data(), ignored.size(), 0);
    if (count == 0 || (count < 0 && errno != EAGAIN)) {
        pollfd state{reader.socket.get(), 0, 0};
        reader.ended = count < 0 || (::poll(&state, 1, 0) == 1 && (state.revents & (POLLHUP | POLLERR)) != 0);
        reader.silent = !reader.ended;
        tidy();
    } else if (!reader.waiting.empty()) {
        write(reader);
    }
}

void LiveStream::send(TraceTime time, std::string_view packet) {
    for (const auto& reader : readers_) {
        if (reader->waiting.size() > kMostWaiting) {
            ++reader->lost;
            continue;
        }
        kPcapng.append(reader->waiting, time, packet, std::exchange(reader->lost, 0));
        if (!reader->watch || reader->watch->interest() == Watch::Interest::Read) {
            write(*reader);
        }
    }
}

void LiveStream::write(Reader& reader) {
    const ssize_t count = ::send(reader.socket.get(), reader.waiting.data(), reader.waiting.size(), MSG_NOSIGNAL);
    if (count < 0 && errno != EAGAIN) {
        reader.ended = true;
        tidy();
        return;
    }
    reader.waiting.erase(0, count > 0 ? static_cast<std::size_t>(count) : 0);
    const auto interest = reader.waiting.empty() ? Watch::Interest::Read : Watch::Interest::Write;
    if (reader.watch) {
        reader.watch->setInterest(interest);
    }
}

void LiveStream::tidy() {
    loop_.defer([this, alive = std::weak_ptr<bool>(alive_)] {
        if (alive.expired()) {
            return;
        }
        std::erase_if(readers_, [](const auto& reader) { return reader->ended; });
        onReaders_();
        for (const auto& reader : readers_) {
            if (reader->silent) {
                reader->watch.reset();
            }
        }
    });
}

}  // namespace corvane
