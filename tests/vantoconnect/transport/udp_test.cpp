#include <gtest/gtest.h>

#include <string>

#include "tests/support/FakeUnit.hpp"
#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/UDPClient.hpp"
#include "vantoconnect/transport/UDPServer.hpp"
#include "vantoconnect/transport/yudpsocket.h"

namespace vantoconnect {
namespace {

std::int32_t hostOrder(std::int32_t networkPort) {
    const auto p = static_cast<std::uint16_t>(networkPort);
    return static_cast<std::int32_t>(static_cast<std::uint16_t>((p >> 8) | (p << 8)));
}

TEST(UDPRoundTrip, ADatagramArrivesWithItsSender) {
    const std::int32_t port = testing::FakeUnit::unusedPort();
    UDPServer server("127.0.0.1", port);
    ASSERT_TRUE(server.fd().has_value());
    UDPClient client("127.0.0.1", port);
    EXPECT_EQ(client.address(), "127.0.0.1");
    ASSERT_TRUE(client.send(UBytes{0x00, 0x7F, 0x80, 0xFF}).isSuccess());
    ASSERT_TRUE(client.send(std::string("hi\0there", 8)).isSuccess());

    auto [bytes, sender, senderPort] = server.recv(64);
    ASSERT_TRUE(bytes.has_value());
    EXPECT_EQ(*bytes, (UBytes{0x00, 0x7F, 0x80, 0xFF}));
    EXPECT_EQ(sender, "127.0.0.1");
    EXPECT_GT(hostOrder(senderPort), 0);

    auto [text, sender2, port2] = server.recv(64);
    EXPECT_EQ(text, (UBytes{'h', 'i'}));
    client.close();
    client.close();
    EXPECT_EQ(client.send(UBytes{1}).error(), std::error_code(SocketError::connectionClosed));
    server.close();
    server.close();
}

TEST(UDPServerBinding, BroadcastAndEmptyAddressesBindEveryInterface) {
    for (const std::string address : {"255.255.255.255", ""}) {
        const std::int32_t port = testing::FakeUnit::unusedPort();
        UDPServer server(address, port);
        ASSERT_TRUE(server.fd().has_value()) << address;
        // Bound to every interface, so a datagram to loopback arrives.
        UDPClient client("127.0.0.1", port);
        ASSERT_TRUE(client.send(UBytes{42}).isSuccess());
        auto [bytes, sender, senderPort] = server.recv(8);
        EXPECT_EQ(bytes, (UBytes{42})) << address;
        client.close();
        server.close();
    }
    const int absent = yudpsocket_server(nullptr, 0);
    EXPECT_GE(absent, 0);
    yudpsocket_close(absent);
}

TEST(UDPServerBinding, AServerThatCannotBindReceivesNothing) {
    const std::int32_t port = testing::FakeUnit::unusedPort();
    UDPServer first("", port);
    ASSERT_TRUE(first.fd().has_value());
    // Without reuse-address on either socket the port is taken: binding fails.
    UDPServer unbound("", port);
    EXPECT_FALSE(unbound.fd().has_value());
    EXPECT_FALSE(std::get<0>(unbound.recv(8)).has_value());
    first.close();
}

TEST(UDPResolution, UnknownNamesReturnMinusOneAndLeaveTheBufferAlone) {
    char out[16] = "untouched";
    EXPECT_EQ(yudpsocket_get_server_ip("no such host", out), -1);
    EXPECT_STREQ(out, "untouched");
    UDPClient client("no such host", 9);
    EXPECT_EQ(client.address(), "no such host");
    client.close();
}

}  // namespace
}  // namespace vantoconnect
