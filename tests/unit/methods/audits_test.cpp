#include "config/AgentConfig_Configuration.h"
#include "methods/AgentRMI_AuditRunnable.h"
#include "methods/AgentRMI_HandOver.h"
#include "methods/AgentRMI_MethodFactory.h"
#include "net/HTTP_URLEncoding.h"
#include "net/TestServer.h"
#include "rmi/AgentHTTP_SendRequest.h"
#include "rmi/AgentRMI_AsynchManager.h"
#include "rmi/AgentRMI_Identities.h"
#include "rmi/RMI_Exchange.h"
#include "rmi/RMI_MethodException.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_Played.h"
#include "threads/Work.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
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
    }
    long count(const std::string& event) {
        const std::lock_guard lock(mutex_);
        return std::count(events_.begin(), events_.end(), event);
    }
    std::vector<std::string> all() {
        const std::lock_guard lock(mutex_);
        return events_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> events_;
};

struct OpenAndDelete {
    void operator()(Gate* gate) const {
        gate->open();
        delete gate;
    }
};
/// A gate that opens when it is reset, and at the end of the test whatever has failed.
using Door = std::unique_ptr<Gate, OpenAndDelete>;

Reply send(const std::string& method, const std::string& request = "uuid='u'") {
    AgentRMI_MethodFactory factory;
    ScriptedPeer peer;
    return process(&factory, call(request, "<Method name='" + method + "'/>"), Socket_Socket::ENCRYPTION_SSL,
                   &peer);
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
        gGenericRMIAsynchMgr = AgentRMI_FactoryAllocateAsynchManager();
        ASSERT_TRUE(gGenericRMIAsynchMgr->init(2, Thread_Pool::Unlimited, 0));
        ASSERT_TRUE(gGenericRMIAsynchMgr->start());
    }
    void TearDown() override {
        stop(*gGenericRMIAsynchMgr);
        gGenericRMIAsynchMgr.reset();
        gStorageContainer.reset();
        play = nullptr;
        gAgentConfig.reset();
        gCallServerWithSSL = true;
        WithIdentities::TearDown();
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
    play_.audit = [&](const std::string&, Storage_Collection& collection) {
        std::string parameters;
        for (const char* key : {"hostTarget", "snmpCommunity", "snmpPort", "serviceUid", "serviceGid",
                                "fsType", "userName", "userPassword", "vsamName"}) {
            const char* value = collection.getAuditParameterValue(key);
            parameters += std::string(value == nullptr ? "none" : value) + " ";
        }
        EXPECT_EQ(parameters, "h c 162 1 2 f n p none ");
        EXPECT_EQ(gStorageContainer->getPhysicalDrives(), nullptr) << "left over from the call before";
        return true;
    };
    for (const char* round : {"first", "second"}) {
        const Reply reply = send("GetPlexes", "uuid='u' hostTarget='h' snmpCommunity='c' snmpPort='162' "
                                              "serviceUid='1' serviceGid='2' fsType='f' userName='n' "
                                              "userPassword='p' vsamName='v'");
        EXPECT_EQ(reply.outcome(), "success|success") << round;
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
        if (level == "Plexes")
            std::this_thread::sleep_for(aMoment);
        EXPECT_EQ(events_.count("audit ExtentPools"), level == "Plexes" ? 0 : 1);
        return true;
    };
    EXPECT_EQ(send("GetPlexes").outcome(), "success|success");
    EXPECT_EQ(second.get(), "success|success");
    EXPECT_EQ(events_.all(), (std::vector<std::string>{"audit Plexes", "cleanup Plexes", "audit ExtentPools",
                                                       "cleanup ExtentPools"}));
}

TEST_F(Audits, AllLevelsAreDeliveredByOneCallThatHoldsTheContainer) {
    Door mayReply(new Gate);
    std::promise<std::string> posted;
    const TestServer server([&posted, gate = *mayReply](HTTP_File& file) {
        char* body = nullptr;
        int length = 0;
        file.getEntityBody(body, length);
        posted.set_value(decodeURLEncoding(std::string(body, static_cast<std::size_t>(length))));
        gate.wait();
        return file.sendReply(HTTP_RETURN_INTERNAL_SERVER_ERROR, HTTP_CONTENT_TYPE_TEXT_XML, "", 0);
    });
    callServerAt(server);
    play_.audit = [](const std::string& level, Storage_Collection&) {
        if (level == "DriveExtents")
            throw std::runtime_error("a fault");
        if (level == "PhysicalDrives")
            gStorageContainer->getStorageVolumes()->setAudited();
        return level != "ExtentPools";
    };
    send("Ping", "uuid='alphas' hostTarget='alpha'");
    const Reply accepted = send("GetStorageSystem", "uuid='alphas' hostTarget='alpha'");
    EXPECT_EQ(accepted.outcome(), "success|success");
    EXPECT_EQ(namesBelow(accepted.text, "Response"), "");

    std::future<std::string> result = posted.get_future();
    ASSERT_EQ(result.wait_for(patience), std::future_status::ready);
    const std::string request = result.get();
    EXPECT_NE(request.find(R"(<Request uuid="alphas"><Method name="GetStorageSystemResults">)"),
              std::string::npos)
        << request;
    EXPECT_EQ(namesBelow(request, "Method"), "PhysicalDrives1 DriveExtents1 ExtentPools1 Plexes1 "
                                             "StorageVolumes0 StorageAssociations6 AuditFailedItems5 ")
        << "the volumes were audited with the drives";

    std::future<std::string> next = sendInBackground("GetPlexes");
    EXPECT_EQ(next.wait_for(aMoment), std::future_status::timeout) << "the call is not over yet";
    mayReply.reset();
    EXPECT_EQ(next.get(), "success|success") << "though the server has failed";
}

TEST_F(Audits, AStopEndsTheAuditBetweenTwoLevelsAndRunsNothingThatWaits) {
    const TestServer server([&](HTTP_File& file) {
        events_.note("posted");
        return file.sendReply(HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_XML, "", 0);
    });
    callServerAt(server);
    Door goOn(new Gate);
    play_.audit = [gate = *goOn](const std::string& level, Storage_Collection&) {
        if (level == "DriveExtents")
            gate.wait();
        return true;
    };
    // One at work, one that waits for the container, two in the queue.
    for (int job = 0; job < 4; ++job)
        ASSERT_EQ(send("GetStorageSystem").outcome(), "success|success");
    ASSERT_TRUE(eventually([this] { return events_.count("audit DriveExtents") == 1; }));
    std::this_thread::sleep_for(aMoment);
    EXPECT_EQ(events_.count("audit PhysicalDrives"), 1) << "storage requests take turns";

    EXPECT_EQ(send("GetHostSummary").outcome(), "success|success") << "which waits for nobody";

    bool stillRunning = false;
    EXPECT_TRUE(gGenericRMIAsynchMgr->shutdown(stillRunning, 0, false));
    EXPECT_TRUE(stillRunning);
    EXPECT_EQ(send("GetStorageSystem").outcome(), "error|");
    goOn.reset();
    stop(*gGenericRMIAsynchMgr);
    std::vector<std::string> events = events_.all();
    // The second job may have come to the container before the stop; if so its first level is its last.
    if (events.size() == 3) {
        EXPECT_EQ(events.back(), "audit PhysicalDrives");
        events.pop_back();
    }
    EXPECT_EQ(events, (std::vector<std::string>{"audit PhysicalDrives", "audit DriveExtents"}))
        << "and nothing posted";
    EXPECT_EQ(send("GetPlexes").outcome(), "success|success") << "the container is free again";
}

TEST(HandOver, WorkThatIsNotTakenIsDeletedAndTheReasonTold) {
    Tally tally;
    Door goOn(new Gate);
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const auto manager = AgentRMI_FactoryAllocateAsynchManager();
    const auto handOver = [&]() -> std::string {
        const Xerces_DocumentPtr document = Xerces_CreateDocument("Response");
        xercesc::DOMElement& response = *Xerces_Root(*document);
        auto work = std::make_unique<Work>(tally, [gate = *goOn](Work&) { gate.wait(); });
        try {
            AgentRMI_HandOver(*manager, mutex, std::move(work), "all taken", response);
        } catch (const RMI_MethodException& failure) {
            return std::to_string(failure.getExceptionCode()) + Xerces_GetAttribute(response, "reason");
        }
        return "taken";
    };
    ASSERT_TRUE(manager->init(1, 1, 9));
    EXPECT_EQ(handOver(), "7") << "it does not run yet";
    EXPECT_EQ(tally.deleted, 1);
    ASSERT_TRUE(manager->start());
    EXPECT_EQ(handOver(), "taken");
    ASSERT_TRUE(eventually([&] { return tally.begun == 1; }));
    EXPECT_EQ(handOver(), "taken") << "waits";
    EXPECT_EQ(handOver(), "7all taken") << "and the manager does not grow";
    EXPECT_EQ(tally.deleted, 2);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), 0) << "the mutex is released on every way out";
    pthread_mutex_unlock(&mutex);
    bool stillRunning = false;
    manager->shutdown(stillRunning, 0, false);
    EXPECT_EQ(tally.deleted, 3) << "what waited is gone";
    goOn.reset();
    stop(*manager);
    EXPECT_EQ(tally.deleted, tally.made);
}

} // namespace
