#include "threads/Thread_Manager.h"
#include "threads/Thread_Threadable.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// Writes down what the manager asks of it.
class Service : public Thread_Threadable {
public:
    Service(std::string name, std::string& journal) : name_(std::move(name)), journal_(journal) {}

    bool start() override {
        journal_ += "start " + name_ + "; ";
        if (throws)
            throw std::runtime_error("start failed");
        return starts;
    }
    bool shutdown(bool& stillRunning, unsigned attempt, bool lastAttempt) override {
        journal_ += "stop " + name_ + " " + std::to_string(attempt) + (lastAttempt ? " last; " : "; ");
        stillRunning = attempt < lagging;
        return false;
    }

    bool starts = true;
    bool throws = false;
    /// How many attempts find a thread still running.
    unsigned lagging = 0;

private:
    std::string name_;
    std::string& journal_;
};

class Manager : public testing::Test {
protected:
    Manager() {
        manager_.setWait(0);
        manager_.setAttempts(3);
        for (Thread_Threadable* service : std::vector<Thread_Threadable*>{&a_, nullptr, &b_, &c_})
            manager_.registerThreadable(service);
    }

    /// What has happened since the last look.
    std::string journal() { return std::exchange(journal_, ""); }

    std::string journal_;
    Service a_{"a", journal_};
    Service b_{"b", journal_};
    Service c_{"c", journal_};
    Thread_Manager manager_;
};

} // namespace

TEST_F(Manager, StartsAndStopsInOrderOfRegistration) {
    EXPECT_TRUE(manager_.start());
    EXPECT_TRUE(manager_.shutdown());
    EXPECT_EQ(journal(), "start a; start b; start c; stop a 0; stop b 0; stop c 0; ");
}

TEST_F(Manager, AFailedStartStopsWhatWasStarted) {
    b_.starts = false;
    EXPECT_FALSE(manager_.start());
    EXPECT_EQ(journal(), "start a; start b; stop a 0; ");
    b_.starts = true;
    c_.throws = true;
    EXPECT_FALSE(manager_.start());
    EXPECT_EQ(journal(), "start a; start b; start c; stop a 0; stop b 0; ");
    c_.throws = false;
    EXPECT_TRUE(manager_.start());
    EXPECT_TRUE(manager_.shutdown());
    EXPECT_TRUE(journal().ends_with("stop c 0; ")) << "the failed start must not limit a later stop";
}

TEST_F(Manager, AsksOnlyTheServicesThatStillRunAndGivesUp) {
    EXPECT_EQ(Thread_Manager().getAttempts(), 5U);
    EXPECT_EQ(Thread_Manager().getWait(), 1U);
    a_.lagging = 1;
    b_.lagging = 2;
    EXPECT_TRUE(manager_.shutdown());
    EXPECT_EQ(journal(), "stop a 0; stop b 0; stop c 0; stop a 1; stop b 1; stop b 2 last; ");
    b_.lagging = 3;
    EXPECT_FALSE(manager_.shutdown());
    manager_.setExtension([left = 2]() mutable { return left-- > 0; });
    EXPECT_TRUE(manager_.shutdown());
    EXPECT_TRUE(journal().ends_with("stop b 2; stop b 3; "));
    b_.lagging = 9;
    EXPECT_FALSE(manager_.shutdown()) << "nothing allows another attempt any more";
}
