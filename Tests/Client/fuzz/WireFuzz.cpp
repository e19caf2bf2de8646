#include "Client/wire/Packet.h"

#include <cstdlib>
#include <string>
#include <type_traits>

namespace {

namespace wire = ryn::wire;

std::string render(const wire::Packet& packet) {
    return std::visit(
        [&packet](const auto& content) {
            using Content = std::decay_t<decltype(content)>;
            const std::string kind = std::to_string(packet.index()) + " ";
            if constexpr (std::is_same_v<Content, wire::Hello>) {
                return kind + std::to_string(content.version) + " " + std::string(content.clientName);
            } else if constexpr (std::is_same_v<Content, wire::Request>) {
                return kind + std::to_string(content.id) + " " + std::string(content.command) + to_string(content.argument);
            } else if constexpr (std::is_same_v<Content, wire::Reply>) {
                return kind + std::to_string(content.id) + " " + std::to_string(content.result) + to_string(content.object);
            } else if constexpr (std::is_same_v<Content, wire::Events>) {
                return kind + std::to_string(static_cast<int>(content.on));
            } else {
                return kind + std::string(content.name) + to_string(content.payload);
            }
        },
        packet);
}

}  // namespace

/// What can be decoded can be encoded, and says the same when it is decoded again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto packet = wire::decode({data, size});
    if (!packet) {
        return 0;
    }
    std::vector<std::uint8_t> encoded;
    if (!wire::encode(*packet, encoded)) {
        std::abort();
    }
    const auto again = wire::decode(encoded);
    if (!again || render(*again) != render(*packet)) {
        std::abort();
    }
    return 0;
}
