#include "config/AgentConfig_Configuration.h"
#include "methods/AgentRMI_AuditRunnable.h"
#include "methods/AgentRMI_HandOver.h"
#include "methods/AgentRMI_MethodFactory.h"
#include "net/TestServer.h"
#include "rmi/AgentHTTP_SendRequest.h"
#include "rmi/AgentRMI_AsynchManager.h"
#include "rmi/AgentRMI_Identities.h"
#include "rmi/RMI_Exchange.h"
#include "rmi/RMI_MethodException.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_Played.h"
#include "threads/Thread_Pool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

/// How long to wait for what must come, and for what must not.
constexpr auto patience = 30s;
constexpr auto aMoment = 60ms;

/// What has happened, in order, on all threads.
class Events {
public:
    void note(const std::string& event) {
        const std::lock_guard lock(mutex_);
        events_.push_back(event);
        changed_.notify_all();
    }
    bool await(const std::string& event, std::chrono::milliseconds limit = patience, long count = 1) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, limit,
                                 [&] { return std::count(events_.begin(), events_.end(), event) >= count; });
    }
    std::vector<std::string> all() {
        const std::lock_guard lock(mutex_);
        return events_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> events_;
};

/// A door that stays open once opened; it opens by itself when the test ends.
class Gate {
public:
    ~Gate() { open(); }
    void open() {
        if (!opened_.exchange(true))
            promise_.set_value();
    }
    void pass() { future_.wait_for(patience); }

private:
    std::promise<void> promise_;
    std::shared_future<void> future_{promise_.get_future().share()};
    std::atomic<bool> opened_ = false;
};

const std::string good = envelope("<Response response='success'/>");

/// A form's body as the text that was put in.
std::string decoded(const std::string& form) {
    std::string text;
    for (std::size_t at = 0; at < form.size(); ++at) {
        if (form[at] == '%' && at + 2 < form.size()) {
            text += static_cast<char>(std::stoi(form.substr(at + 1, 2), nullptr, 16));
            at += 2;
        } else {
            text += form[at] == '+' ? ' ' : form[at];
        }
    }
    return text;
}

Reply send(const std::string& method, const std::string& inside = "",
           const std::string& request = "uuid='u'") {
    AgentRMI_MethodFactory factory;
    ScriptedPeer peer;
    return process(&factory, call(request, "<Method name='" + method + "'>" + inside + "</Method>"),
                   Socket_Socket::ENCRYPTION_SSL, &peer);
}

std::future<std::string> sendInBackground(const std::string& method) {
    return std::async(std::launch::async, [method] { return send(method).outcome(); });
}

/// The names of the elements below the response, or below whatever `element` is.
std::string namesBelow(const std::string& document, const char* element) {
    const Xerces_DocumentPtr parsed = Xerces_Parse(document, "test");
    const xercesc::DOMElement* parent =
        parsed ? Xerces_FirstDescendant(*Xerces_Root(*parsed), element) : nullptr;
    std::string names;
    if (parent != nullptr)
        for (const xercesc::DOMElement* child : Xerces_ChildElements(*parent))
            names += Xerces_TagName(*child) + std::to_string(Xerces_ChildElements(*child).size()) + " ";
    return names;
}

class Audits : public WithIdentities {
protected:
    void SetUp() override {
        WithIdentities::SetUp();
        play = &play_;
        play_.note = [this](const std::string& event) {
            if (!event.starts_with("delete"))
                events_.note(event);
        };
        gStorageContainer = std::make_unique<Storage_Container>(Storage_PlayedLevels);
        gAgentConfig = std::make_unique<Config_File<AgentConfig_Configuration>>();
        gCallServerWithSSL = false;
        startManager();
    }
    void TearDown() override {
        stopManager();
        gGenericRMIAsynchMgr.reset();
        gStorageContainer.reset();
        play = nullptr;
        gAgentConfig.reset();
        gCallServerWithSSL = true;
        WithIdentities::TearDown();
    }

    void startManager() {
        gGenericRMIAsynchMgr = AgentRMI_FactoryAllocateAsynchManager();
        ASSERT_TRUE(gGenericRMIAsynchMgr->init(2, Thread_Pool::Unlimited, 0));
        ASSERT_TRUE(gGenericRMIAsynchMgr->start());
    }
    /// Returns when the last thread is gone.
    static void stopManager() {
        bool stillRunning = true;
        for (unsigned attempt = 0; stillRunning && attempt < 3000; ++attempt) {
            gGenericRMIAsynchMgr->shutdown(stillRunning, attempt, false);
            if (stillRunning)
                std::this_thread::sleep_for(10ms);
        }
        EXPECT_FALSE(stillRunning);
    }
    static void callServerAt(const TestServer& server) {
        gAgentConfig->getConfig()->setServerHostname("127.0.0.1");
        gAgentConfig->getConfig()->setServerPort(server.port());
        gAgentConfig->getConfig()->setServerURI("/here");
    }

    Events events_;
    Storage_Play play_;
};

TEST_F(Audits, ALevelAnswersWithItsCollectionAndThenItsFailures) {
    ASSERT_EQ(send("GetPhysicalDrives").outcome(), "success|success");
    ASSERT_NE(gStorageContainer->getPhysicalDrives(), nullptr);
    std::string parameters;
    play_.audit = [&](const std::string&, Storage_Collection& collection) {
        for (const char* key : {"hostTarget", "snmpCommunity", "snmpPort", "serviceUid", "serviceGid",
                                "fsType", "userName", "userPassword", "vsamName"}) {
            const char* value = collection.getAuditParameterValue(key);
            parameters += std::string(value == nullptr ? "none" : value) + " ";
        }
        EXPECT_EQ(gStorageContainer->getPhysicalDrives(), nullptr) << "left over from the call before";
        EXPECT_EQ(gStorageContainer->getPlexes(), &collection);
        return true;
    };
    for (const char* round : {"first", "second"}) {
        parameters.clear();
        const Reply reply = send("GetPlexes", "",
                                 "uuid='u' hostTarget='h' snmpCommunity='c' snmpPort='162' serviceUid='1' "
                                 "serviceGid='2' fsType='f' userName='n' userPassword='p' vsamName='v'");
        EXPECT_EQ(reply.outcome(), "success|success") << round;
        EXPECT_EQ(parameters, "h c 162 1 2 f n p none ") << round;
        EXPECT_EQ(namesBelow(reply.text, "Response"), "Plexes1 AuditFailedItems1 ") << round;
        EXPECT_NE(reply.text.find(R"(<FailedObject name="bad Plexes")"), std::string::npos) << round;
    }
    EXPECT_TRUE(gStorageContainer->getPlexes()->getMap().empty());
}

TEST_F(Audits, AFailedLevelIsAGeneralFailureAndLeavesTheContainerFree) {
    play_.audit = [](const std::string& level, Storage_Collection&) { return level == "ExtentPools"; };
    play_.serialize = [](const std::string&) { return false; };
    for (const char* method : {"GetStorageVolumes", "GetExtentPools", "GetStorageAssociations"}) {
        const Reply reply = send(method);
        EXPECT_EQ(reply.outcome(), "error|") << method;
        EXPECT_EQ(namesBelow(reply.text, "Response"), "") << method;
    }
    const std::vector<std::string> expected{"audit StorageVolumes",      "cleanup StorageVolumes",
                                            "audit ExtentPools",         "cleanup ExtentPools",
                                            "audit StorageAssociations", "cleanup StorageAssociations"};
    EXPECT_EQ(events_.all(), expected);
}

TEST_F(Audits, ALevelToldToTerminateStopsItsCollection) {
    AgentRMI_GetLevelRunnable runnable(Storage_Levels[Storage_LevelIndex(System_Object::Plexes)]);
    EXPECT_FALSE(runnable.invoke()) << "there is no collection before init";
    ASSERT_TRUE(runnable.init());
    EXPECT_TRUE(runnable.setToTerminate());
    bool terminate = false;
    EXPECT_TRUE(gStorageContainer->getPlexes()->isTerminateSet(terminate));
    EXPECT_TRUE(terminate);
    EXPECT_FALSE(runnable.invoke());
    EXPECT_EQ(events_.all(), std::vector<std::string>{"audit Plexes"}) << "and nothing is cleaned up";
}

TEST_F(Audits, TheContainerIsHeldUntilTheResultIsWritten) {
    std::future<std::string> second;
    play_.audit = [&](const std::string& level, Storage_Collection&) {
        if (level == "Plexes")
            second = sendInBackground("GetExtentPools");
        return true;
    };
    play_.serialize = [&](const std::string& level) {
        EXPECT_EQ(level == "Plexes" && events_.await("audit ExtentPools", aMoment), false);
        return true;
    };
    EXPECT_EQ(send("GetPlexes").outcome(), "success|success");
    EXPECT_EQ(second.get(), "success|success");
    EXPECT_EQ(events_.all(), (std::vector<std::string>{"audit Plexes", "cleanup Plexes", "audit ExtentPools",
                                                       "cleanup ExtentPools"}));
}

TEST_F(Audits, AllLevelsAreDeliveredByOneCallThatHoldsTheContainer) {
    // The server takes the result; refuses it; fails. Nothing but its own log tells them apart on the agent.
    const std::string replies[] = {good, envelope("<Response response='error'/>"), ""};
    for (const std::string& reply : replies) {
        Gate mayReply;
        std::promise<std::string> posted;
        const TestServer server([&](HTTP_File& file) {
            char* body = nullptr;
            int length = 0;
            file.getEntityBody(body, length);
            posted.set_value(decoded(std::string(body, static_cast<std::size_t>(length))));
            mayReply.pass();
            return file.sendReply(reply.empty() ? HTTP_RETURN_INTERNAL_SERVER_ERROR : HTTP_RETURN_OK,
                                  HTTP_CONTENT_TYPE_TEXT_XML, reply.c_str(), static_cast<int>(reply.size()));
        });
        callServerAt(server);
        play_.audit = [](const std::string& level, Storage_Collection&) {
            if (level == "DriveExtents")
                throw std::runtime_error("a fault");
            if (level == "PhysicalDrives")
                gStorageContainer->getStorageVolumes()->setAudited();
            return level != "ExtentPools";
        };
        send("Ping", "", "uuid='alphas' hostTarget='alpha'");
        const Reply accepted = send("GetStorageSystem", "", "uuid='alphas' hostTarget='alpha'");
        EXPECT_EQ(accepted.outcome(), "success|success");
        EXPECT_EQ(namesBelow(accepted.text, "Response"), "");

        std::future<std::string> result = posted.get_future();
        ASSERT_EQ(result.wait_for(patience), std::future_status::ready);
        const std::string request = result.get();
        EXPECT_NE(request.find(R"(<Request uuid="alphas"><Method name="GetStorageSystemResults">)"),
                  std::string::npos)
            << request;
        EXPECT_EQ(namesBelow(request, "Method"),
                  "PhysicalDrives1 DriveExtents1 ExtentPools1 Plexes1 StorageVolumes0 StorageAssociations6 "
                  "AuditFailedItems5 ");

        std::future<std::string> next = sendInBackground("GetPlexes");
        EXPECT_EQ(next.wait_for(aMoment), std::future_status::timeout) << "the call is not over yet";
        mayReply.open();
        ASSERT_EQ(next.wait_for(patience), std::future_status::ready);
        EXPECT_EQ(next.get(), "success|success");
    }
    EXPECT_FALSE(events_.await("audit StorageVolumes", 0ms)) << "another level has seen to it";
}

TEST_F(Audits, AStopEndsTheAuditBetweenTwoLevelsAndRunsNothingThatWaits) {
    std::atomic<int> posts = 0;
    const TestServer server([&](HTTP_File& file) {
        ++posts;
        return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_XML, good.c_str(),
                              static_cast<int>(good.size()));
    });
    callServerAt(server);
    Gate goOn;
    play_.audit = [&](const std::string& level, Storage_Collection&) {
        if (level == "DriveExtents")
            goOn.pass();
        return true;
    };
    // One at work, one that waits for the container, two in the queue.
    for (int job = 0; job < 4; ++job)
        ASSERT_EQ(send("GetStorageSystem").outcome(), "success|success");
    ASSERT_TRUE(events_.await("audit DriveExtents"));
    EXPECT_FALSE(events_.await("audit PhysicalDrives", aMoment, 2)) << "storage requests take turns";

    std::future<std::string> summary = sendInBackground("GetHostSummary");
    ASSERT_EQ(summary.wait_for(patience), std::future_status::ready) << "a host summary waits for nobody";
    EXPECT_EQ(summary.get(), "success|success");

    bool stillRunning = false;
    EXPECT_TRUE(gGenericRMIAsynchMgr->shutdown(stillRunning, 0, false));
    EXPECT_TRUE(stillRunning);
    EXPECT_EQ(send("GetStorageSystem").outcome(), "error|");
    goOn.open();
    stopManager();
    std::vector<std::string> events = events_.all();
    // The second job may have come to the container before the stop; if so its first level is its last.
    if (events.size() == 3) {
        EXPECT_EQ(events.back(), "audit PhysicalDrives");
        events.pop_back();
    }
    EXPECT_EQ(events, (std::vector<std::string>{"audit PhysicalDrives", "audit DriveExtents"}));
    EXPECT_EQ(posts, 0);
    EXPECT_EQ(send("GetPlexes").outcome(), "success|success") << "the container is free again";
}

/// Work that tells of its end.
class CountedWork : public Thread_Runnable {
public:
    CountedWork(std::atomic<int>& alive, Events& events, Gate& gate)
        : alive_(alive), events_(events), gate_(gate) {
        ++alive_;
    }
    ~CountedWork() override { --alive_; }
    void run() override {
        events_.note("run");
        gate_.pass();
    }

private:
    std::atomic<int>& alive_;
    Events& events_;
    Gate& gate_;
};

TEST(HandOver, WorkThatIsNotTakenIsDeletedAndTheReasonTold) {
    std::atomic<int> alive = 0;
    Events events;
    Gate gate;
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const auto manager = AgentRMI_FactoryAllocateAsynchManager();
    const auto handOver = [&]() -> std::string {
        const Xerces_DocumentPtr document = Xerces_Parse("<R><Response/></R>", "test");
        xercesc::DOMElement& response = *Xerces_FirstDescendant(*Xerces_Root(*document), "Response");
        try {
            AgentRMI_HandOver(*manager, mutex, std::make_unique<CountedWork>(alive, events, gate),
                              "all taken", response);
        } catch (const RMI_MethodException& failure) {
            return std::to_string(failure.getExceptionCode()) + Xerces_GetAttribute(response, "reason");
        }
        return "taken";
    };
    ASSERT_TRUE(manager->init(1, 1, 9));
    EXPECT_EQ(handOver(), "7") << "it does not run yet";
    EXPECT_EQ(alive, 0);
    ASSERT_TRUE(manager->start());
    EXPECT_EQ(handOver(), "taken");
    ASSERT_TRUE(events.await("run"));
    EXPECT_EQ(handOver(), "taken") << "waits";
    EXPECT_EQ(handOver(), "7all taken") << "and the manager does not grow";
    EXPECT_EQ(alive, 2);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), 0) << "the mutex is released on every way out";
    pthread_mutex_unlock(&mutex);
    bool stillRunning = false;
    manager->shutdown(stillRunning, 0, false);
    EXPECT_EQ(alive, 1) << "what waited is gone";
    gate.open();
    for (unsigned attempt = 1; stillRunning && attempt < 3000; ++attempt) {
        std::this_thread::sleep_for(10ms);
        manager->shutdown(stillRunning, attempt, false);
    }
    EXPECT_EQ(alive, 0);
}

} // namespace
