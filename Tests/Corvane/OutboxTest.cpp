#include "Corvane/clients/Outbox.h"

#include "Platform/FileDescriptor.h"
#include "support/Test.h"

namespace corvane {
namespace {

TEST(Outbox, HoldsBackWhatItsClientIsTooSlowFor) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends.data()), 0);
    const platform::FileDescriptor socket(ends[0]);
    platform::FileDescriptor client(ends[1]);
    std::uint8_t byte = 0;
    const auto read = [&] { return recv(client.get(), &byte, 1, MSG_TRUNC) > 0; };
    Outbox outbox(socket.get());
    for (int round = 0; round < 2; ++round) {
        std::vector<std::uint8_t> packet(1024 - 48);  // what holding it back costs is a part of the largest sum
        while (outbox.send(packet) == Outbox::Sent::Ok) {
            ++packet[0];
        }
        EXPECT_EQ(outbox.bytes(), Outbox::kMaxBytes);
        EXPECT_EQ(outbox.flush(), Outbox::Sent::Ok) << "there is no room yet";
        std::uint8_t next = 0;
        for (; read(); ++next) {
            ASSERT_EQ(byte, next);
            ASSERT_EQ(outbox.flush(), Outbox::Sent::Ok);
        }
        EXPECT_EQ(next, packet[0]);
        EXPECT_TRUE(outbox.isEmpty());
        EXPECT_EQ(outbox.bytes(), 0U);
    }
    const std::vector<std::uint8_t> large(2 * Outbox::kMaxBytes);
    while (outbox.isEmpty()) {
        EXPECT_EQ(outbox.send(large), Outbox::Sent::Ok) << "one packet is always taken";
    }
    client = {};
    EXPECT_EQ(outbox.flush(), Outbox::Sent::Lost);
    EXPECT_EQ(Outbox(socket.get()).send(large), Outbox::Sent::Lost);
}

}  // namespace
}  // namespace corvane
