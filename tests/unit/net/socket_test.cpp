#include "TestServer.h"
#include "net/Socket_Address.h"

#include <gtest/gtest.h>

namespace {

/// For what comes unless there is a fault, in seconds.
constexpr unsigned patience = 60;

std::string resolved(const char* text) {
    const auto address = Socket_ResolveAddress(text);
    if (!address)
        return "none";
    char buffer[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &*address, buffer, sizeof buffer);
}

} // namespace

TEST(Socket, Addresses) {
    EXPECT_EQ(resolved(""), "0.0.0.0");
    EXPECT_EQ(resolved("192.168.1.20"), "192.168.1.20");
    EXPECT_EQ(resolved("a.bb.ccc.9"), "0.0.0.9");
    EXPECT_EQ(resolved("localhost"), "127.0.0.1");
    EXPECT_EQ(resolved("no.such.host.invalid"), "none");
    EXPECT_EQ(resolved("abcd.1.2.3.invalid"), "none");
}

TEST(Socket, ReadsAndPeeksServeTheSameStream) {
    Socket_SocketImpl listener, accepted, moved;
    bool flag = true;
    char buffer[8];
    EXPECT_EQ(accepted.read(buffer, 1, flag, 1), -1) << "closed";
    EXPECT_FALSE(listener.listen());
    ASSERT_TRUE(listener.create(Socket_Socket::TRANSPORT_TCP, true));
    EXPECT_FALSE(listener.bind(nullptr, 0));
    ASSERT_TRUE(listener.bind("127.0.0.1", 0));
    EXPECT_FALSE(listener.accept(&accepted)) << "not listening yet";
    ASSERT_TRUE(listener.listen());
    EXPECT_FALSE(listener.listen());
    RawClient client(listener.getLocalPort());
    ASSERT_TRUE(listener.accept(&accepted));
    client.send("abcdef");
    ASSERT_EQ(accepted.peek(buffer, 4, flag, patience), 4);
    EXPECT_FALSE(flag);
    ASSERT_TRUE(moved.copy(&accepted)) << "what was peeked moves with the connection";
    EXPECT_FALSE(accepted.isValid());
    ASSERT_EQ(moved.read(buffer, 3, flag, patience), 3);
    EXPECT_EQ(std::string(buffer, 3), "abc");
    client.send("gh");
    ASSERT_EQ(moved.read(buffer, 5, flag, Socket_NoTimeLimit), 5);
    EXPECT_EQ(std::string(buffer, 5), "defgh");
    EXPECT_EQ(moved.peek(buffer, 1, flag, 1), -1) << "the limit passes";
    EXPECT_EQ(moved.read(buffer, 1, flag, 0), -1) << "no wait at all";
    client.send("ij");
    client.finish();
    EXPECT_EQ(moved.read(buffer, 3, flag, patience), -1) << "the end comes first";
    EXPECT_TRUE(moved.close());
    EXPECT_EQ(moved.write("x", 1, flag), -1);
}
