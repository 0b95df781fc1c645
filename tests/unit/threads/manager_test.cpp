#include "threads/Thread_Manager.h"
#include "threads/Thread_Pool.h"
#include "threads/Work.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// Writes down what the manager asks of it.
class Service : public Thread_Threadable {
public:
    Service(std::string name, std::vector<std::string>& journal)
        : name_(std::move(name)), journal_(journal) {}

    bool start() override {
        journal_.push_back("start " + name_);
        if (throws)
            throw std::runtime_error("start failed");
        return starts;
    }
    bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) override {
        journal_.push_back("stop " + name_ + " " + std::to_string(attempt) + (lastAttempt ? " last" : ""));
        stillRunning = attempt < lagging;
        return false;
    }

    bool starts = true;
    bool throws = false;
    /// How many attempts find a thread still running.
    unsigned lagging = 0;

private:
    std::string name_;
    std::vector<std::string>& journal_;
};

class Manager : public testing::Test {
protected:
    Manager() {
        manager_.setWait(0);
        manager_.registerThreadable(&first_);
        manager_.registerThreadable(nullptr);
        manager_.registerThreadable(&second_);
        manager_.registerThreadable(&third_);
    }

    std::vector<std::string> journal_;
    Service first_{"first", journal_};
    Service second_{"second", journal_};
    Service third_{"third", journal_};
    Thread_Manager manager_;
};

using Journal = std::vector<std::string>;

} // namespace

TEST_F(Manager, StartsAndStopsInOrderOfRegistration) {
    EXPECT_TRUE(manager_.start());
    EXPECT_TRUE(manager_.shutdown());
    EXPECT_EQ(journal_, (Journal{"start first", "start second", "start third", "stop first 0",
                                 "stop second 0", "stop third 0"}));
}

TEST_F(Manager, AFailedStartStopsWhatWasStarted) {
    second_.starts = false;
    EXPECT_FALSE(manager_.start());
    EXPECT_EQ(journal_, (Journal{"start first", "start second", "stop first 0"}));
}

TEST_F(Manager, AnExceptionIsAFailedStart) {
    third_.throws = true;
    EXPECT_FALSE(manager_.start());
    EXPECT_EQ(journal_,
              (Journal{"start first", "start second", "start third", "stop first 0", "stop second 0"}));

    third_.throws = false;
    journal_.clear();
    EXPECT_TRUE(manager_.start());
    EXPECT_TRUE(manager_.shutdown());
    EXPECT_EQ(journal_.back(), "stop third 0") << "the failed start must not limit a later stop";
}

TEST_F(Manager, AsksOnlyTheServicesThatStillRun) {
    second_.lagging = 2;
    EXPECT_TRUE(manager_.start());
    journal_.clear();
    EXPECT_TRUE(manager_.shutdown());
    EXPECT_EQ(journal_,
              (Journal{"stop first 0", "stop second 0", "stop third 0", "stop second 1", "stop second 2"}));
}

TEST_F(Manager, GivesUpAfterTheLastAttempt) {
    manager_.setAttempts(3);
    first_.lagging = 3;
    EXPECT_TRUE(manager_.start());
    journal_.clear();
    EXPECT_FALSE(manager_.shutdown());
    EXPECT_EQ(journal_, (Journal{"stop first 0", "stop second 0", "stop third 0", "stop first 1",
                                 "stop first 2 last"}));
}

TEST(ManagerWithPool, ReportsWorkThatIgnoresTheRequest) {
    using Clock = std::chrono::steady_clock;
    Tally tally;
    Gate gate;
    Thread_Pool pool;
    Thread_Manager manager;
    EXPECT_EQ(manager.getAttempts(), 5U);
    EXPECT_EQ(manager.getWait(), 1U);
    manager.setAttempts(1);
    manager.registerThreadable(&pool);
    ASSERT_TRUE(pool.init(1, 0, 0));
    ASSERT_TRUE(manager.start());
    ASSERT_TRUE(pool.handleRunnable(new Work(tally, [gate](Work&) { gate.wait(); }), false));
    ASSERT_TRUE(eventually([&] { return tally.begun == 1; }));

    const auto before = Clock::now();
    EXPECT_FALSE(manager.shutdown());
    // It waits after the last attempt too.
    EXPECT_GE(Clock::now() - before, std::chrono::seconds(1));
    gate.open();
    EXPECT_TRUE(eventually([&] { return tally.deleted == 1; }));
}
