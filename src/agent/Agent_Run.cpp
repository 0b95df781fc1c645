#include "agent/Agent_Run.h"

#include "actions/AgentActions_ScriptletExecutor.h"
#include "agent/AgentHTTP_RequestHandler.h"
#include "agent/Agent_CommandLine.h"
#include "agent/Agent_ServiceManager.h"
#include "agent/Agent_Signals.h"
#include "agent/Agent_Watchdog.h"
#include "audit/System_Layer.h"
#include "base/File_Temporary.h"
#include "base/Layer_Guard.h"
#include "calls/AgentRMI_MethodCallSearch.h"
#include "calls/AgentRMI_MethodCallServer.h"
#include "config/AgentConfig_Configuration.h"
#include "config/AgentConfig_Globals.h"
#include "config/AgentConfig_Guid.h"
#include "config/Config_File.h"
#include "log/Debug_Printf.h"
#include "net/AgentSSL_Factory.h"
#include "net/HTTP_Server.h"
#include "net/HTTP_Stop.h"
#include "rmi/AgentRMI_AsynchManager.h"
#include "search/FileSearch_Manager.h"
#include "storage/Storage_Container.h"
#include "threads/Thread_Manager.h"
#include "threads/Thread_Pool.h"
#include "threads/Thread_Primitives.h"
#include "xml/Xerces_Layer.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

Thread_Semaphore gShutdownSemaphore;

namespace {

constexpr unsigned httpWorkers = 5;

/// One of the managers of queued work.
struct ManagerPlan {
    std::unique_ptr<AgentRMI_AsynchManager>& manager;
    const char* name;
    unsigned threads;
    unsigned queueLimit;
};

/// The first two do one job at a time and refuse a second while it runs; the third queues.
const ManagerPlan fileTrack{gFileTrackRMIAsynchMgr, "FileTrack", 1, 0};
const ManagerPlan systemAudit{gSystemAuditRMIAsynchMgr, "SystemAudit", 1, 0};
const ManagerPlan generic{gGenericRMIAsynchMgr, "Generic", 2, Thread_Pool::Unlimited};

/// What other threads reach through globals, deleted when the server is gone.
struct GlobalServices {
    GlobalServices() = default;
    GlobalServices(const GlobalServices&) = delete;
    GlobalServices& operator=(const GlobalServices&) = delete;
    ~GlobalServices() {
        for (const ManagerPlan* plan : {&systemAudit, &generic, &fileTrack})
            plan->manager.reset();
        gFileSearchMgr.reset();
        gStorageContainer.reset();
    }
};

/// One run of the agent. The members stand in the order in which they come up, so that their destruction is
/// the clean-up: the server first, the XML layer last, after a clean stop as after a start that failed
/// half-way.
class AgentRun {
public:
    bool start();
    /// Whether threads of services may be about that use what this object holds.
    bool hasStartedServices() const { return servicesStarted_; }
    void waitForShutdownRequest();
    bool stop();

private:
    struct Stage {
        bool (AgentRun::*bring)();
        const char* onFailure;
    };
    static const Stage stages[];

    bool bringXmlUp();
    bool bringTlsUp();
    bool bringHttpUp();
    bool bringSystemUp();
    bool findConfiguration();
    bool readConfiguration();
    bool loadIdentities();
    bool takeBindList();
    bool allocateContainer();
    template <const ManagerPlan& plan>
    bool allocateManager();
    bool allocateSearchManager();
    bool allocateServer();
    template <const ManagerPlan& plan>
    bool initManager();
    bool initSearchManager();
    bool nameCertificates();
    bool initServer();
    bool sweepLeftovers();
    bool armSignals();
    bool startServices();
    bool tellThatItServes();
    bool askForSSLState();

    Agent_ServiceManager serviceManager_;
    Layer_Guard xmlLayer_;
    Layer_Guard tlsLayer_;
    Layer_Guard httpLayer_;
    Layer_Guard systemLayer_;
    AgentHTTP_RequestHandlerFactory requestHandlerFactory_;
    AgentFileSearch_HandlerFactory searchHandlerFactory_;
    std::vector<HTTP_AddressPortPair*> bindList_;
    std::optional<Agent_Signals> signals_;
    GlobalServices globalServices_;
    std::unique_ptr<HTTP_Server> server_;
    Thread_Manager manager_;
    bool servicesStarted_ = false;
    std::optional<Agent_Watchdog> watchdog_;
};

const AgentRun::Stage AgentRun::stages[] = {
    {&AgentRun::bringXmlUp, "Agent: XML layer initialization failed\n"},
    {&AgentRun::bringTlsUp, "Agent: SSL layer initialization failed\n"},
    {&AgentRun::bringHttpUp, "Agent: HTTP layer initialization failed\n"},
    {&AgentRun::bringSystemUp, "Agent: System layer initialization failed\n"},
    {&AgentRun::findConfiguration, "Agent: Failed to find agent configuration file\n"},
    {&AgentRun::readConfiguration, "Agent: Failed to parse agent configuration file\n"},
    {&AgentRun::loadIdentities, nullptr},
    {&AgentRun::takeBindList, "Agent: Error processing agent configuration file\n"},
    {&AgentRun::allocateContainer, "Agent: Storage_Container allocate failed\n"},
    {&AgentRun::allocateManager<fileTrack>, "Agent: FileTrack RMIAsynch allocate failed\n"},
    {&AgentRun::allocateManager<systemAudit>, "Agent: SystemAudit RMIAsynch allocate failed\n"},
    {&AgentRun::allocateSearchManager, "Agent: FileSearch allocate failed\n"},
    {&AgentRun::allocateManager<generic>, "Agent: Generic RMIAsynch allocate failed\n"},
    {&AgentRun::allocateServer, "Agent: HTTP server allocate failed\n"},
    {&AgentRun::initManager<fileTrack>, "Agent: FileTrack RMIAsynch init failed\n"},
    {&AgentRun::initManager<systemAudit>, "Agent: SystemAudit RMIAsynch init failed\n"},
    {&AgentRun::initSearchManager, "Agent: FileSearch init failed\n"},
    {&AgentRun::initManager<generic>, "Agent: Generic RMIAsynch init failed\n"},
    {&AgentRun::nameCertificates, nullptr},
    {&AgentRun::initServer, "Agent: HTTP server init failed\n"},
    {&AgentRun::sweepLeftovers, nullptr},
    {&AgentRun::armSignals, nullptr},
    {&AgentRun::startServices, "Agent: startup failed\n"},
    {&AgentRun::tellThatItServes, nullptr},
    {&AgentRun::askForSSLState, "Agent: Check SSL state failed\n"},
};

/// The configuration files report failure by their result; whatever is thrown on the way counts as the same.
template <typename Operation>
bool succeeds(Operation operation) {
    try {
        return operation();
    } catch (...) {
        return false;
    }
}

bool AgentRun::bringXmlUp() {
    return xmlLayer_.bringUp(Xerces_LayerInit, Xerces_LayerCleanup);
}

bool AgentRun::bringTlsUp() {
    return tlsLayer_.bringUp(AgentSSL_LayerInit, AgentSSL_LayerCleanup);
}

bool AgentRun::bringHttpUp() {
    return httpLayer_.bringUp(HTTP_LayerInit, HTTP_LayerCleanup);
}

bool AgentRun::bringSystemUp() {
    if (!systemLayer_.bringUp(System_LayerInit, System_LayerCleanup))
        return false;
    DEBUG_LOG("Agent: starting server\n");
    return true;
}

std::string configurationDirectory() {
    return gPathToExec + "/../conf";
}

bool AgentRun::findConfiguration() {
    gAgentConfig->setFilename("agent.conf");
    gAgentConfig->setPathname(configurationDirectory());
    return gAgentConfig->findFile();
}

bool AgentRun::readConfiguration() {
    return succeeds([] { return gAgentConfig->readFile(); });
}

/// The agent starts without identities as well as with them: a server gives it one on its first call.
bool AgentRun::loadIdentities() {
    gGuidConfig->setFilename("uuid.conf");
    gGuidConfig->setPathname(configurationDirectory());
    if (!gGuidConfig->findFile()) {
        DEBUG_LOG("Agent: Failed to find agent guid configuration file\n");
        if (!succeeds([] { return gGuidConfig->writeFile(); }))
            DEBUG_LOG("Agent: Failed to write default agent guid configuration file\n");
        return true;
    }
    if (!succeeds([] { return gGuidConfig->readFile(); })) {
        DEBUG_LOG("Agent: Failed to parse agent guid configuration file\n");
        gGuidConfig->getConfig()->setDefaults();
    }
    if (gDeleteConfig)
        gGuidConfig->deleteFile();
    return true;
}

bool AgentRun::takeBindList() {
    bindList_ = gAgentConfig->getConfig()->getBindList();
    return true;
}

bool AgentRun::allocateContainer() {
    gStorageContainer.reset(new (std::nothrow) Storage_Container);
    return gStorageContainer != nullptr;
}

template <const ManagerPlan& plan>
bool AgentRun::allocateManager() {
    plan.manager = AgentRMI_FactoryAllocateAsynchManager();
    if (plan.manager == nullptr)
        return false;
    plan.manager->setName(plan.name);
    return true;
}

template <const ManagerPlan& plan>
bool AgentRun::initManager() {
    return plan.manager->init(plan.threads, plan.queueLimit, 0);
}

bool AgentRun::allocateSearchManager() {
    gFileSearchMgr = FileSearch_FactoryAllocateManager();
    return gFileSearchMgr != nullptr;
}

bool AgentRun::initSearchManager() {
    return gFileSearchMgr->init((gPathToExec + "/../fileSearch").c_str(), &searchHandlerFactory_);
}

bool AgentRun::allocateServer() {
    server_ = HTTP_FactoryAllocateServer();
    return server_ != nullptr;
}

bool AgentRun::nameCertificates() {
    const std::string directory = configurationDirectory();
    gSSLFactory.setCertPath(directory + "/agent_cert.pem");
    gSSLFactory.setKeyPath(directory + "/agent_key.pem");
    gSSLFactory.setCAFilePath(directory + "/cafile.pem");
    return true;
}

bool AgentRun::initServer() {
    return server_->init(bindList_, &gSSLFactory, &requestHandlerFactory_, httpWorkers);
}

/// After the ports are taken, so that a second agent in the same tree does not delete what the first one
/// uses.
bool AgentRun::sweepLeftovers() {
    File_Sweep(".", File_IsTemporaryName);
    File_Sweep("../actionSet", [](std::string_view name) {
        return File_IsTemporaryName(name) || AgentActions_IsScriptletName(name);
    });
    File_Sweep("../conf",
               [](std::string_view name) { return name == "agent.conf.tmp" || name == "uuid.conf.tmp"; });
    return true;
}

bool AgentRun::armSignals() {
    signals_.emplace();
    return true;
}

bool AgentRun::startServices() {
    for (const ManagerPlan* plan : {&fileTrack, &generic, &systemAudit})
        manager_.registerThreadable(plan->manager.get());
    manager_.registerThreadable(gFileSearchMgr.get());
    manager_.registerThreadable(server_.get());
    servicesStarted_ = true;
    return manager_.start();
}

/// The server's answer is not waited for: requests are served from here on.
bool AgentRun::tellThatItServes() {
    std::string state = "READY=1\nSTATUS=Serving on";
    for (const HTTP_AddressPortPair* pair : bindList_)
        state.append(" ").append(pair->address()).append(":").append(std::to_string(pair->getPort()));
    serviceManager_.tell(bindList_.empty() ? "READY=1\nSTATUS=Serving on no port" : state);
    if (serviceManager_.watchdogLimit().count() > 0)
        watchdog_.emplace(serviceManager_, bindList_.empty() ? HTTP_AddressPortPair() : *bindList_.front());
    return true;
}

/// A server that does not answer keeps the agent from nothing.
bool AgentRun::askForSSLState() {
    DEBUG_LOG("Agent: Check state of enterprise SSL setting\n");
    const std::unique_ptr<RMI_MethodCall> call(new (std::nothrow) AgentRMI_MethodCallGetSSLState);
    if (!call)
        return false;
    try {
        call->invoke();
        DEBUG_LOG("Agent: Check SSL state successful\n");
    } catch (...) {
        DEBUG_LOG("Agent: Check SSL state invoke call failed. QDV Server may not be available\n");
    }
    DEBUG_LOG("Agent: startup successful\n");
    return true;
}

bool AgentRun::start() {
    for (const Stage& stage : stages) {
        if ((this->*stage.bring)())
            continue;
        DEBUG_LOG("%s", stage.onFailure);
        serviceManager_.tell(std::string("STATUS=").append(stage.onFailure));
        return false;
    }
    return true;
}

void AgentRun::waitForShutdownRequest() {
    Thread_GrabSemaphore(&gShutdownSemaphore, Thread_Semaphore::Forever);
}

/// A call to the server is broken off only after some seconds; what waits for it needs a moment more then.
bool callsEndedJustNow(bool& hadCalls) {
    const bool hasCalls = HTTP_HasCallsUnderWay();
    return std::exchange(hadCalls, hasCalls) || hasCalls;
}

bool AgentRun::stop() {
    DEBUG_LOG("Agent: attempting shutdown\n");
    serviceManager_.tell("STOPPING=1\nSTATUS=Stopping once the requests in hand are done");
    watchdog_.reset();
    manager_.setExtension([hadCalls = false]() mutable { return callsEndedJustNow(hadCalls); });
    return manager_.shutdown();
}

} // namespace

int Agent_Run() {
    AgentRun run;
    try {
        if (!run.start()) {
            if (run.hasStartedServices())
                Agent_Exit(EXIT_FAILURE);
            return EXIT_FAILURE;
        }
        run.waitForShutdownRequest();
        if (!run.stop()) {
            DEBUG_LOG("Agent: shutdown failed, exiting immediately\n");
            Agent_Exit(EXIT_FAILURE);
        }
    } catch (...) {
        // What `run` holds is in use by the threads of services, so it must not go before they have ended.
        DEBUG_LOG("Agent: Unexpected exception, exiting\n");
        if (run.hasStartedServices())
            Agent_Exit(EXIT_FAILURE);
        return EXIT_FAILURE;
    }
    DEBUG_LOG("Agent: shutdown successful\n");
    return EXIT_SUCCESS;
}

void Agent_Exit(int status) {
    _exit(status);
}
