#include "actions/System_SecurityToken_Manager.h"
#include "date/System_Date.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <thread>

namespace {

using namespace std::chrono_literals;

/// Puts a token into the store that is so many minutes old.
void addOld(System_SecurityToken_Manager& store, const std::string& name, unsigned minutes) {
    auto token = std::make_unique<HTTP_SecurityToken>();
    ASSERT_TRUE(token->getExpiration()->subtractMinutes(minutes));
    ASSERT_TRUE(store.addSecurityToken(name, std::move(token)));
}

/// Whether no thread is left within a minute.
bool stops(System_SecurityToken_Manager& store) {
    bool running = true;
    for (unsigned attempt = 0; running && attempt < 12'000; ++attempt) {
        EXPECT_TRUE(store.shutdown(running, attempt, false));
        std::this_thread::sleep_for(5ms);
    }
    return !running;
}

TEST(SecurityTokens, AreRedeemedOnce) {
    System_SecurityToken_Manager store;
    EXPECT_EQ(store.getSecuityToken("1"), nullptr);
    EXPECT_TRUE(store.addSecurityToken("1", "user \x01\x7F\x80\xFF", "p\xC3\xA9"));
    EXPECT_TRUE(store.addSecurityToken("1", "other", "other"));
    EXPECT_TRUE(store.addSecurityToken("2", nullptr, nullptr));
    EXPECT_FALSE(store.addSecurityToken("3", nullptr));
    EXPECT_EQ(store.getSecuityToken("3"), nullptr);

    std::string user;
    std::string password;
    const auto token = store.getSecuityToken("1");
    ASSERT_NE(token, nullptr);
    token->getUser(user);
    token->getPass(password);
    EXPECT_EQ(user + ":" + password, "user \x01\x7F\x80\xFF:p\xC3\xA9");
    EXPECT_EQ(store.getSecuityToken("1"), nullptr);

    const auto empty = store.getSecuityToken("2");
    ASSERT_NE(empty, nullptr);
    empty->getUser(user);
    EXPECT_EQ(user, "");
}

TEST(SecurityTokens, AreAllDifferentAndNotInTheStoreUntilAdded) {
    constexpr std::size_t many = 2000;
    System_SecurityToken_Manager store;
    std::set<std::string> seen;
    for (std::size_t i = 0; i < many; ++i) {
        std::string token = "old text";
        ASSERT_TRUE(store.generateSecurityToken(token));
        EXPECT_EQ(token, std::to_string(static_cast<unsigned>(std::stoul(token))));
        EXPECT_EQ(store.getSecuityToken(token), nullptr);
        store.addSecurityToken(token, "user", "pass");
        seen.insert(token);
    }
    EXPECT_EQ(seen.size(), many);
}

TEST(SecurityTokens, SweepTakesOnlyWhatIsOld) {
    System_SecurityToken_Manager store;
    addOld(store, "old", 6);
    addOld(store, "young", 4);
    store.sweep();
    EXPECT_EQ(store.getSecuityToken("old"), nullptr);
    EXPECT_NE(store.getSecuityToken("young"), nullptr);
}

TEST(SecurityTokens, SweeperRunsFromStartToStop) {
    constexpr std::size_t looks = 2000;
    System_SecurityToken_Manager store;
    // Each look takes a token out, so there is one for each.
    for (std::size_t i = 0; i < looks; ++i)
        addOld(store, std::to_string(i), 6);
    bool running = true;
    EXPECT_FALSE(store.shutdown(running, 0, false));
    ASSERT_TRUE(store.init());
    ASSERT_TRUE(store.start());
    EXPECT_FALSE(store.start());
    EXPECT_FALSE(store.init());
    std::size_t look = 0;
    while (look < looks && store.getSecuityToken(std::to_string(look))) {
        ++look;
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_LT(look, looks) << "the old ones are still there";
    EXPECT_TRUE(stops(store)) << "the sweeper sleeps for five minutes unless it is woken";
    EXPECT_FALSE(store.shutdown(running, 0, false));
}

} // namespace
