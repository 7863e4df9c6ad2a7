#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "tests/support/FakeUnit.hpp"
#include "tests/vantoconnect/transport/LowDescriptorsTaken.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/transport/SocketError.hpp"
#include "vantoconnect/transport/TCPClient.hpp"
#include "vantoconnect/transport/TCPServer.hpp"

namespace vantoconnect {
namespace {

using testing::FakeUnit;

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

// select() watches descriptors below 1024 only. A connect that gets a larger descriptor fails
// as connectionClosed even though the peer listens, reaches nobody and gives the descriptor
// back; with one low descriptor free again the same connect succeeds.
TEST(TCPConnect, DescriptorsFrom1024UpFailAsConnectionClosedAndAreClosedAgain) {
    if (!testing::LowDescriptorsTaken::allow(1100)) {
        GTEST_SKIP() << "the process may not hold 1100 descriptors";
    }
    FakeUnit unit;
    TCPClient client("127.0.0.1", unit.port());
    {
        testing::LowDescriptorsTaken low;
        const int lowestFree = ::socket(AF_INET, SOCK_STREAM, 0);
        ASSERT_GE(lowestFree, 1024);
        ::close(lowestFree);
        EXPECT_EQ(client.connect(5).error(), std::error_code(SocketError::connectionClosed));
        EXPECT_FALSE(client.fd().has_value());
        // The refused socket had the lowest free descriptor and has given it back.
        const int next = ::socket(AF_INET, SOCK_STREAM, 0);
        EXPECT_EQ(next, lowestFree);
        ::close(next);
        EXPECT_FALSE(unit.waitForConnections(1, std::chrono::milliseconds(200)));

        low.release(1);
        ASSERT_TRUE(client.connect(5).isSuccess());
        EXPECT_LT(*client.fd(), 1024);
        client.close();
    }
    EXPECT_TRUE(unit.waitForConnections(1, std::chrono::seconds(5)));
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
