#include <gtest/gtest.h>

#include <string>

#include "tests/support/FakeUnit.hpp"
#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/UDPClient.hpp"
#include "vantoconnect/transport/UDPServer.hpp"
#include "vantoconnect/transport/yudpsocket.h"

namespace vantoconnect {
namespace {

using testing::FakeUnit;

TEST(UDPRoundTrip, ADatagramArrivesWithItsSender) {
    const std::int32_t port = FakeUnit::unusedPort();
    UDPServer server("127.0.0.1", port);
    UDPClient client("127.0.0.1", port);
    ASSERT_TRUE(client.send(UBytes{0x00, 0x7F, 0x80, 0xFF}).isSuccess());
    ASSERT_TRUE(client.send(std::string("hi\0there", 8)).isSuccess());
    auto [bytes, sender, senderPort] = server.recv(64);
    EXPECT_EQ(bytes, (UBytes{0x00, 0x7F, 0x80, 0xFF}));
    EXPECT_EQ(sender, "127.0.0.1");
    EXPECT_EQ(std::get<0>(server.recv(64)), (UBytes{'h', 'i'}));
    client.close();
    client.close();
    EXPECT_EQ(client.send(UBytes{1}).error(), std::error_code(SocketError::connectionClosed));
    server.close();
    server.close();
}

TEST(UDPServerBinding, BroadcastAndEmptyAddressesBindEveryInterface) {
    for (const std::string address : {"255.255.255.255", ""}) {
        const std::int32_t port = FakeUnit::unusedPort();
        UDPServer server(address, port);
        ASSERT_TRUE(server.fd().has_value()) << address;
        UDPClient client("127.0.0.1", port);
        ASSERT_TRUE(client.send(UBytes{42}).isSuccess());
        EXPECT_EQ(std::get<0>(server.recv(8)), (UBytes{42})) << address;
        client.close();
        server.close();
    }
    const int absent = yudpsocket_server(nullptr, 0);
    EXPECT_GE(absent, 0);
    yudpsocket_close(absent);

    // Without reuse-address on either socket a taken port cannot be bound twice.
    const std::int32_t port = FakeUnit::unusedPort();
    UDPServer first("", port);
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
}

}  // namespace
}  // namespace vantoconnect
