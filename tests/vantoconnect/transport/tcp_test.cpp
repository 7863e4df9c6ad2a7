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
using testing::UnansweredListener;

std::error_code errorOf(const Result& result) {
    return result.error().value_or(std::error_code());
}

TEST(SocketErrorText, IsThePlatformDefaultDescriptionWithTheCasePosition) {
    EXPECT_EQ(std::error_code(SocketError::queryFailed).message(),
              "The operation couldn\u2019t be completed. (vantoconnect.SocketError error 0.)");
    EXPECT_EQ(localizedDescription(SocketError::unknownError),
              "The operation couldn\u2019t be completed. (vantoconnect.SocketError error 3.)");
    EXPECT_EQ(std::error_code(SocketError::connectionTimeout).value(), 2);
    EXPECT_STREQ(std::error_code(SocketError::connectionClosed).category().name(),
                 "vantoconnect.SocketError");
}

TEST(TCPConnect, SucceedsAgainstALoopbackListenerAndCarriesBytesBothWays) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::bytes({0x00, 0x80, 0xFF}));
    TCPClient client("127.0.0.1", unit.port());
    ASSERT_TRUE(client.connect(5).isSuccess());
    ASSERT_TRUE(client.fd().has_value());

    EXPECT_TRUE(client.send(UBytes{0x02, 0x10, 0xFE}).isSuccess());
    const auto answer = client.read(1024, 5);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(*answer, (UBytes{0x00, 0x80, 0xFF}));
    EXPECT_EQ(unit.received(0), (UBytes{0x02, 0x10, 0xFE}));
    client.close();
    EXPECT_FALSE(client.fd().has_value());
}

TEST(TCPConnect, RefusedPortIsAnUnknownErrorAndLeavesNoDescriptor) {
    TCPClient client("127.0.0.1", FakeUnit::unusedPort());
    const Result result = client.connect(5);
    ASSERT_TRUE(result.isFailure());
    EXPECT_EQ(errorOf(result), std::error_code(SocketError::unknownError));
    EXPECT_FALSE(client.fd().has_value());
}

TEST(TCPConnect, NamesThatCannotResolveFailAsQueryFailed) {
    for (const std::string name : {"", "no such host"}) {
        TCPClient client(name, 8080);
        EXPECT_EQ(errorOf(client.connect(5)), std::error_code(SocketError::queryFailed)) << name;
        EXPECT_FALSE(client.fd().has_value());
    }
}

TEST(TCPConnect, APeerThatNeverAnswersTimesOutAfterTheGivenSeconds) {
    UnansweredListener listener;
    TCPClient client("127.0.0.1", listener.port());
    const auto started = std::chrono::steady_clock::now();
    const Result result = client.connect(1);
    const auto took = std::chrono::steady_clock::now() - started;
    EXPECT_EQ(errorOf(result), std::error_code(SocketError::connectionTimeout));
    EXPECT_GE(took, std::chrono::milliseconds(900));
    EXPECT_LT(took, std::chrono::seconds(4));
    EXPECT_FALSE(client.fd().has_value());
}

TEST(TCPUnconnected, SendFailsAsClosedAndReadIsAbsent) {
    TCPClient client("127.0.0.1", 1);
    EXPECT_EQ(errorOf(client.send(UBytes{1})), std::error_code(SocketError::connectionClosed));
    EXPECT_EQ(errorOf(client.send(std::string("x"))),
              std::error_code(SocketError::connectionClosed));
    EXPECT_FALSE(client.read(16).has_value());
    client.close();
    client.close();
}

TEST(TCPClosing, ReadAfterThePeerClosedIsAbsentAndCloseTwiceIsHarmless) {
    FakeUnit unit;
    unit.script(FakeUnit::Reply::close());
    TCPClient client("127.0.0.1", unit.port());
    ASSERT_TRUE(client.connect(5).isSuccess());
    ASSERT_TRUE(client.send(UBytes{0x01}).isSuccess());
    ASSERT_TRUE(unit.waitForClosed(0));
    EXPECT_FALSE(client.read(1024).has_value());
    client.close();
    client.close();
    EXPECT_FALSE(client.fd().has_value());
}

TEST(TCPClosing, DroppingAClientDoesNotCloseItsDescriptor) {
    FakeUnit unit;
    std::int32_t fd = -1;
    {
        TCPClient client("127.0.0.1", unit.port());
        ASSERT_TRUE(client.connect(5).isSuccess());
        fd = *client.fd();
    }
    ASSERT_TRUE(unit.waitForConnections(1));
    EXPECT_FALSE(unit.waitForClosed(0, std::chrono::milliseconds(200)));
    TCPClient adopted("127.0.0.1", unit.port());
    adopted.setFd(fd);
    adopted.close();
    EXPECT_TRUE(unit.waitForClosed(0));
}

TEST(TCPSend, StringsStopAtTheFirstZeroByte) {
    FakeUnit unit;
    TCPClient client("127.0.0.1", unit.port());
    ASSERT_TRUE(client.connect(5).isSuccess());
    EXPECT_TRUE(client.send(std::string("ab\0cd", 5)).isSuccess());
    EXPECT_TRUE(client.send(UBytes{}).isSuccess());
    ASSERT_TRUE(unit.waitForBytes(2));
    client.close();
    ASSERT_TRUE(unit.waitForClosed(0));
    EXPECT_EQ(unit.received(0), (UBytes{'a', 'b'}));
}

TEST(TCPRead, TimesOutAsAbsentAndRejectsLengthsBeyond32Bits) {
    FakeUnit unit;
    TCPClient client("127.0.0.1", unit.port());
    ASSERT_TRUE(client.connect(5).isSuccess());
    EXPECT_FALSE(client.read(16, 1).has_value());
    EXPECT_THROW(client.read(std::int64_t{1} << 32), FatalError);
    EXPECT_THROW(client.read(-1), FatalError);
    client.close();
}

TEST(TCPServerRole, AcceptsALoopbackClientAndReportsItsAddress) {
    const std::int32_t port = FakeUnit::unusedPort();
    TCPServer known("127.0.0.1", port);
    EXPECT_FALSE(known.accept());  // not listening yet
    ASSERT_TRUE(known.listen().isSuccess());
    TCPClient client("127.0.0.1", port);
    ASSERT_TRUE(client.connect(5).isSuccess());
    const auto peer = known.accept();
    ASSERT_TRUE(peer);
    EXPECT_EQ(peer->address(), "127.0.0.1");
    ASSERT_TRUE(client.send(UBytes{7, 8}).isSuccess());
    EXPECT_EQ(peer->read(16, 5), (UBytes{7, 8}));
    peer->close();
    client.close();
    known.close();
    known.close();
    EXPECT_FALSE(known.accept());
}

}  // namespace
}  // namespace vantoconnect
