#pragma once

#include "Corvane/loop/Watch.h"
#include "Corvane/support/ListeningSocket.h"
#include "Corvane/traces/SegmentFormat.h"
#include "Platform/FileDescriptor.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// Packets as they happen, in pcapng, to everyone who connects to a stream socket.
///
/// A reader that is too slow loses packets, which its stream counts, and costs a limited amount of memory.
class LiveStream {
public:
    /// @param listener a listening stream socket that doesn't block. @param admits judges a connected one.
    LiveStream(Loop& loop, ListeningSocket listener, std::function<bool(int socket)> admits);

    void send(TraceTime time, std::string_view packet);
    /// Called when a reader has come or gone.
    void setOnReaders(std::function<void()> onReaders) { onReaders_ = std::move(onReaders); }
    bool hasReaders() const { return !readers_.empty(); }

private:
    struct Reader {
        platform::FileDescriptor socket;
        std::unique_ptr<Watch> watch;  ///< none of a silent one
        std::string waiting;           ///< bytes that the socket has not taken
        std::uint64_t lost = 0;        ///< packets since the last one that it was sent
        bool silent = false;           ///< it has closed its half of the connection; only writing tells when it is gone
        bool ended = false;
    };

    void accept();
    void serve(Reader& reader);
    void write(Reader& reader);
    /// Removes readers that have ended, once no watch is being served.
    void tidy();

    Loop& loop_;
    std::function<bool(int socket)> admits_;
    std::function<void()> onReaders_;
    std::vector<std::unique_ptr<Reader>> readers_;
    ListeningSocket listeningSocket_;  ///< destroyed before the readers: who sees its connection end can't connect again
    /// Expired once the stream is gone, for the loop's tasks that would touch it.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    std::unique_ptr<Watch> watch_;
};

}  // namespace corvane
