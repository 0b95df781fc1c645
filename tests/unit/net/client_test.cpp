#include "TestServer.h"
#include "net/HTTP_Exception.h"
#include "net/HTTP_Session.h"
#include "net/HTTP_Types.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

/// One outgoing call.
struct Call {
    explicit Call(unsigned short port, HTTP_LocalEnd localEnd = {})
        : file(session
                   ->getHttpConnection({.target = {"127.0.0.1", port},
                                        .uri = {},
                                        .localEnd = std::move(localEnd),
                                        .username = {},
                                        .password = {}})
                   ->getRequest(HTTP_METHOD_POST, "/BrindlexServer")) {}
    bool send() { return file->sendRequest(HTTP_CONTENT_TYPE_FORM_URLENCODED, "CommandBody", "x", 1); }

    std::unique_ptr<HTTP_Session> session = HTTP_FactoryAllocateSession("Test Agent");
    HTTP_File* file;
};

/// An address of the loopback that is this process's alone, so that no other test takes its ports.
std::string ownAddress() {
    const auto process = static_cast<unsigned>(::getpid());
    return "127." + std::to_string(1 + process / 65536 % 254) + '.' + std::to_string(process / 256 % 256) +
           '.' + std::to_string(process % 256);
}

} // namespace

TEST(HTTP_Client, ParallelCallsShareAReturnPortRange) {
    constexpr int calls = 200;
    constexpr int lowest = 20000;
    constexpr int highest = 20255;
    TestServer server(answerFine);
    EXPECT_THROW(Call(server.port()).file->getReturnCode(), HTTP_Exception) << "before there is a reply";
    std::atomic<int> succeeded = 0;
    std::vector<std::thread> threads;
    threads.reserve(calls);
    for (int i = 0; i < calls; ++i)
        threads.emplace_back([&] {
            Call call(server.port(), {ownAddress(), lowest, highest});
            if (call.send() && call.file->getReturnCode() == HTTP_RETURN_OK)
                ++succeeded;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(succeeded, calls);
}
