#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/support/FakeUnit.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/TCPClient.hpp"
#include "vantoconnect/transport/TCPServer.hpp"

namespace vantoconnect {
namespace {

using testing::FakeUnit;

TEST(SocketErrorText, IsThePlatformDefaultDescriptionWithTheCasePosition) {
    const SocketError cases[] = {SocketError::queryFailed, SocketError::connectionClosed,
                                 SocketError::connectionTimeout, SocketError::unknownError};
    const std::string prefix =
        "The operation couldn\u2019t be completed. (vantoconnect.SocketError error ";
    for (std::size_t n = 0; n < 4; ++n) {
        EXPECT_EQ(localizedDescription(cases[n]), prefix + std::to_string(n) + ".)");
        EXPECT_EQ(std::error_code(cases[n]).message(), localizedDescription(cases[n]));
    }
    EXPECT_STREQ(std::error_code(cases[0]).category().name(), "vantoconnect.SocketError");
}

TEST(TCPConnect, CarriesBytesBothWaysAndStringsStopAtTheFirstZeroByte) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::bytes({0x00, 0x80, 0xFF}));
    TCPClient client("127.0.0.1", unit.port());
    ASSERT_TRUE(client.connect(5).isSuccess());
    EXPECT_TRUE(client.send(UBytes{0x02, 0x10, 0xFE}).isSuccess());
    EXPECT_EQ(client.read(1024, 5), (UBytes{0x00, 0x80, 0xFF}));
    EXPECT_FALSE(client.read(16, 1).has_value());  // nothing more: the time-out is absence
    EXPECT_THROW(client.read(std::int64_t{1} << 32), FatalError);
    EXPECT_THROW(client.read(-1), FatalError);

    EXPECT_TRUE(client.send(std::string("ab\0cd", 5)).isSuccess());
    EXPECT_TRUE(client.send(UBytes{}).isSuccess());
    ASSERT_TRUE(unit.waitForBytes(5));
    client.close();
    EXPECT_FALSE(client.fd().has_value());
    ASSERT_TRUE(unit.waitForClosed(0));
    EXPECT_EQ(unit.received(0), (UBytes{0x02, 0x10, 0xFE, 'a', 'b'}));
}

TEST(TCPConnect, RefusedUnresolvableAndUnansweredFailWithTheirErrors) {
    TCPClient refused("127.0.0.1", FakeUnit::unusedPort());
    EXPECT_EQ(refused.connect(5).error(), std::error_code(SocketError::unknownError));
    EXPECT_FALSE(refused.fd().has_value());
    for (const std::string name : {"", "no such host"}) {
        TCPClient client(name, 8080);
        EXPECT_EQ(client.connect(5).error(), std::error_code(SocketError::queryFailed)) << name;
        EXPECT_FALSE(client.fd().has_value());
    }
    testing::UnansweredListener listener;
    TCPClient client("127.0.0.1", listener.port());
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(client.connect(1).error(), std::error_code(SocketError::connectionTimeout));
    const auto took = std::chrono::steady_clock::now() - started;
    EXPECT_GE(took, std::chrono::milliseconds(900));
    EXPECT_LT(took, std::chrono::seconds(4));
    EXPECT_FALSE(client.fd().has_value());
}

TEST(TCPClosing, UnconnectedOrClosedByThePeerNothingPassesAndCloseTwiceIsHarmless) {
    TCPClient unconnected("127.0.0.1", 1);
    EXPECT_EQ(unconnected.send(UBytes{1}).error(), std::error_code(SocketError::connectionClosed));
    EXPECT_EQ(unconnected.send(std::string("x")).error(),
              std::error_code(SocketError::connectionClosed));
    EXPECT_FALSE(unconnected.read(16).has_value());

    FakeUnit unit;
    unit.script(FakeUnit::Reply::close());
    TCPClient client("127.0.0.1", unit.port());
    ASSERT_TRUE(client.connect(5).isSuccess());
    ASSERT_TRUE(client.send(UBytes{0x01}).isSuccess());
    ASSERT_TRUE(unit.waitForClosed(0));
    EXPECT_FALSE(client.read(1024).has_value());
    client.close();
    client.close();
}

TEST(TCPServerRole, AcceptsALoopbackClientAndReportsItsAddress) {
    const std::int32_t port = FakeUnit::unusedPort();
    TCPServer server("127.0.0.1", port);
    EXPECT_FALSE(server.accept());  // not listening yet
    ASSERT_TRUE(server.listen().isSuccess());
    TCPClient client("127.0.0.1", port);
    ASSERT_TRUE(client.connect(5).isSuccess());
    const auto peer = server.accept();
    ASSERT_TRUE(peer);
    EXPECT_EQ(peer->address(), "127.0.0.1");
    ASSERT_TRUE(client.send(UBytes{7, 8}).isSuccess());
    EXPECT_EQ(peer->read(16, 5), (UBytes{7, 8}));
    peer->close();
    client.close();
    server.close();
    server.close();
    EXPECT_FALSE(server.accept());
}

}  // namespace
}  // namespace vantoconnect
