#include "host/Host_Patience.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds aMoment{50};
constexpr std::chrono::milliseconds patience{60000};

TEST(Patience, LeavesOneThreadBehindForASubjectThatIsStuck) {
    auto gate = std::make_shared<std::promise<void>>();
    auto came = std::make_shared<std::promise<void>>();
    EXPECT_FALSE(Host_DoWithin(aMoment, "stuck", [gate, came] {
        gate->get_future().wait();
        came->set_value();
    }));
    const auto neverRun = [] { ADD_FAILURE() << "the first thread is still there"; };
    // Without a wait, or these would take hours.
    for (int attempt = 0; attempt < 100; ++attempt)
        EXPECT_FALSE(Host_DoWithin(patience, "stuck", neverRun));
    const auto answer = Host_AskWithin<int>(patience, "other", [] { return Host_Answer(7); });
    EXPECT_EQ(answer.valueOr(0), 7) << "other subjects do not suffer";
    EXPECT_EQ(Host_AskWithin<int>(aMoment, "stuck", [] { return Host_Answer(7); }).error(), ETIMEDOUT);

    gate->set_value();
    came->get_future().wait();
    while (!Host_DoWithin(patience, "stuck", [] {}))
        std::this_thread::yield();
}

TEST(Patience, LeavesNoMoreThreadsBehindThanItMay) {
    std::promise<void> gate;
    const std::shared_future<void> opened = gate.get_future();
    const auto begun = std::make_shared<std::atomic<unsigned>>(0);
    const auto getStuck = [opened, begun] {
        ++*begun;
        opened.wait();
    };
    for (int subject = 0; subject < 300; ++subject)
        EXPECT_FALSE(Host_DoWithin(0ms, std::to_string(subject), getStuck));
    EXPECT_FALSE(Host_DoWithin(patience, "other", [] {})) << "without a wait";
    gate.set_value();
    while (!Host_DoWithin(patience, "other", [] {}))
        std::this_thread::yield();
    EXPECT_LE(*begun, 256U);
}

TEST(Patience, WorkOnOneSubjectTakesTurns) {
    int shared = 0; // a data race, if two of them run at a time
    const auto count = [&shared] {
        for (int i = 0; i < 200; ++i)
            EXPECT_TRUE(Host_DoWithin(patience, "busy", [&shared] { ++shared; }));
    };
    auto first = std::async(std::launch::async, count);
    auto second = std::async(std::launch::async, count);
    first.get();
    second.get();
    EXPECT_EQ(shared, 400);
}

TEST(Patience, WorkThatThrowsHasNoAnswer) {
    const auto fail = []() -> Host_Answer<int> { throw std::bad_alloc(); };
    EXPECT_EQ(Host_AskWithin<int>(patience, "thrown", fail).error(), ENOMEM);
}

} // namespace
