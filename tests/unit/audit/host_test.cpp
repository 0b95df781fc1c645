#include "audit/Storage_HostSystem.h"
#include "audit/Storage_Share.h"
#include "audit/System_Layer.h"
#include "audit/System_Machine.h"
#include "audit/System_OS.h"
#include "host/System_Command.h"
#include "model/Audit_Log.h"
#include "model/Audit_XML.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* listReleases = "ls /etc/*-release";
constexpr const char* kernelRelease = "uname -r";
constexpr const char* kernelMachine = "uname -m";
constexpr const char* resolver = "cat /etc/resolv.conf | grep domain";

/// A host of which the output of its commands was recorded; a command that is not recorded cannot be run.
class RecordedHost {
public:
    explicit RecordedHost(std::map<std::string, std::string> outputs)
        : outputs_(std::move(outputs)), scope_([this](const std::string& command) { return run(command); }) {}

    std::vector<std::string> asked;

private:
    std::optional<std::string> run(const std::string& command) {
        asked.push_back(command);
        const auto found = outputs_.find(command);
        if (found == outputs_.end())
            return std::nullopt;
        return found->second;
    }

    std::map<std::string, std::string> outputs_;
    System_CommandRunnerScope scope_;
};

/// The time zone of the process for a test.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        const char* before = std::getenv("TZ");
        if (before != nullptr)
            before_ = before;
        set(zone);
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() { set(before_ ? before_->c_str() : nullptr); }

private:
    static void set(const char* zone) {
        if (zone != nullptr)
            setenv("TZ", zone, 1);
        else
            unsetenv("TZ");
        tzset();
    }
    std::optional<std::string> before_;
};

std::string osNameOf(std::map<std::string, std::string> outputs) {
    const RecordedHost host(std::move(outputs));
    const auto os = System_FactoryAllocateOS();
    EXPECT_TRUE(os->prepareForAudit());
    EXPECT_TRUE(os->audit());
    EXPECT_TRUE(os->getAuditResult());
    return os->getName();
}

TEST(OSAudit, ReadsTheFirstReleaseFileAndTheKernel) {
    EXPECT_EQ("Red Hat Linux release 9 (Shrike) 2.4.20-8",
              osNameOf({{listReleases, "/etc/lsb-release\n/etc/redhat-release\n"},
                        {"cat /etc/lsb-release", "Red Hat Linux release 9 (Shrike)\n"},
                        {"cat /etc/redhat-release", "not this one\n"},
                        {kernelRelease, "2.4.20-8\n"}}));
}

TEST(OSAudit, DoesWithoutWhatTheHostLacks) {
    EXPECT_EQ("Linux 6.1.0", osNameOf({{kernelRelease, "6.1.0\n"}})) << "no command works";
    EXPECT_EQ("Linux 6.1.0", osNameOf({{listReleases, ""}, {kernelRelease, "6.1.0\n"}})) << "no release file";
    EXPECT_EQ("Linux 6.1.0", osNameOf({{listReleases, "/etc/a-release\n"}, {kernelRelease, "6.1.0\n"}}));
    EXPECT_EQ("Linux 6.1.0", osNameOf({{listReleases, "/etc/a-release\n"},
                                       {"cat /etc/a-release", ""},
                                       {kernelRelease, "6.1.0\n"}}));
    EXPECT_EQ("", osNameOf({{listReleases, "/etc/a-release\n"}, {"cat /etc/a-release", "Some Linux\n"}}));
    EXPECT_EQ("", osNameOf({{kernelRelease, ""}})) << "a missing tool has no output";
}

/// A file name is the host's business: it must not become a command, and "cat" alone would wait for ever.
TEST(OSAudit, PassesTheFileNameAsOneWord) {
    RecordedHost host({{listReleases, "/etc/$(reboot);x-release\n"}, {kernelRelease, "6.1.0\n"}});
    System_FactoryAllocateOS()->audit();
    EXPECT_EQ((std::vector<std::string>{listReleases, "cat '/etc/$(reboot);x-release'", kernelRelease}),
              host.asked);

    RecordedHost blank({{listReleases, "\n"}, {kernelRelease, "6.1.0\n"}});
    System_FactoryAllocateOS()->audit();
    EXPECT_EQ((std::vector<std::string>{listReleases, kernelRelease}), blank.asked);
}

TEST(MachineAudit, ReadsWhatTheHostSays) {
    const TimeZone zone("UTC");
    const RecordedHost host({{kernelMachine, "x86_64\n"}, {resolver, "domain example.com\n"}});
    const auto machine = System_FactoryAllocateMachine();
    ASSERT_TRUE(machine->audit());
    EXPECT_TRUE(machine->getAuditResult());
    EXPECT_EQ("Linux", machine->getType());
    EXPECT_EQ("PC compatible", machine->getManufacturer());
    EXPECT_EQ("x86_64", machine->getModel());
    EXPECT_EQ("", machine->getSerialNumber());
    char name[256] = {};
    ASSERT_EQ(0, gethostname(name, sizeof name - 1));
    EXPECT_EQ(name, machine->getName());
    char domain[256] = {};
    ASSERT_EQ(0, getdomainname(domain, sizeof domain - 1));
    const bool ownDomain = std::string(domain).find('.') != std::string::npos;
    EXPECT_EQ(ownDomain ? domain : "example.com", machine->getDomain());

    const std::string form = formOf(*machine);
    EXPECT_EQ(std::string::npos, form.find("gmtOffset")) << form;
    EXPECT_EQ(std::string::npos, form.find("daylight")) << form;
}

TEST(MachineAudit, DoesWithoutWhatTheHostLacks) {
    const RecordedHost host({});
    const Audit_Log log;
    const auto machine = System_FactoryAllocateMachine();
    ASSERT_TRUE(machine->audit());
    EXPECT_EQ("System_MachineLinux::audit::audit uname -m model copy, skipping\n", log.messages());
    EXPECT_EQ("", machine->getManufacturer());
    EXPECT_EQ("", machine->getModel());
    EXPECT_NE("", machine->getDomain());
    EXPECT_NE("", machine->getName());
}

/// Zones in which daylight saving time never ends, or never begins, so that the season does not matter.
TEST(MachineAudit, TellsTheClock) {
    const RecordedHost host({});
    {
        const TimeZone east("EST-2EDT-3,0/0,J365/25");
        const auto machine = System_FactoryAllocateMachine();
        ASSERT_TRUE(machine->audit());
        const std::string form = formOf(*machine);
        EXPECT_EQ("180", attributeOf(form, "gmtOffset"));
        EXPECT_EQ("true", attributeOf(form, "daylight"));
    }
    {
        const TimeZone west("NST3:30");
        const auto machine = System_FactoryAllocateMachine();
        ASSERT_TRUE(machine->audit());
        const std::string form = formOf(*machine);
        EXPECT_EQ("-210", attributeOf(form, "gmtOffset"));
        EXPECT_EQ("", attributeOf(form, "daylight"));
    }
}

TEST(Machine, EveryAttributeComesBack) {
    const auto machine = System_FactoryAllocateMachine();
    machine->setType("Linux");
    machine->setDomain("example.com");
    machine->setName("host.example.com");
    machine->setManufacturer("PC compatible");
    machine->setModel("i686");
    machine->setSerialNumber("1234-5678");
    machine->setGMTOffset(-210);
    machine->setDaylight(true);
    const std::string form = formOf(*machine);
    const std::pair<const char*, const char*> expected[] = {{"type", "Linux"},
                                                            {"domain", "example.com"},
                                                            {"name", "host.example.com"},
                                                            {"manufacturer", "PC compatible"},
                                                            {"model", "i686"},
                                                            {"serialNumber", "1234-5678"},
                                                            {"gmtOffset", "-210"},
                                                            {"daylight", "true"},
                                                            {"existence", "true"}};
    for (const auto& [name, value] : expected)
        EXPECT_EQ(value, attributeOf(form, name)) << name;

    const auto copy = System_FactoryAllocateMachine();
    const Xerces_DocumentPtr document = Xerces_Parse(form, "form");
    ASSERT_TRUE(copy->parse(Xerces_FirstDescendant(*Xerces_Root(*document), "Machine")));
    EXPECT_EQ(form, formOf(*copy));
    *copy = *System_FactoryAllocateMachine();
    EXPECT_EQ("", copy->getDomain());
    copy->setModel(nullptr);
    EXPECT_EQ("", copy->getModel());
    EXPECT_FALSE(copy->serializeLI(document.get(), Xerces_Root(*document)));
}

TEST(Share, IsNotAuditedButHasItsForm) {
    const auto share = Storage_FactoryAllocateShare();
    EXPECT_EQ(System_Object::Share, share->getStorageType());
    EXPECT_FALSE(share->audit());
    EXPECT_FALSE(share->getAuditResult());
    EXPECT_EQ(std::string::npos, formOf(*share).find("path"));
    share->setName("export");
    share->setPath("/srv/export");
    const std::string form = formOf(*share);
    const Xerces_DocumentPtr document = Xerces_Parse(form, "form");
    const auto copy = Storage_FactoryAllocateShare();
    ASSERT_TRUE(copy->parse(Xerces_FirstDescendant(*Xerces_Root(*document), "Share")));
    EXPECT_EQ("export", copy->getName());
    EXPECT_EQ("/srv/export", copy->getPath());
    EXPECT_EQ(form, formOf(*copy));
}

class HostSystem : public testing::Test {
protected:
    std::unique_ptr<Storage_HostSystem> host = Storage_FactoryAllocateHostSystem();
};

TEST_F(HostSystem, WritesItsPartsInOrder) {
    const TimeZone zone("UTC");
    const RecordedHost recorded({{listReleases, "/etc/os-release\n"},
                                 {"cat /etc/os-release", "Some Linux 1\n"},
                                 {kernelRelease, "6.1.0\n"},
                                 {kernelMachine, "x86_64\n"}});
    ASSERT_TRUE(host->prepareForAudit());
    ASSERT_TRUE(host->audit());
    EXPECT_TRUE(host->getAuditResult());
    host->getMachine()->setName("box");
    host->getMachine()->setDomain("unknown");
    const std::string generic =
        "composition=\"Unknown\" existence=\"true\" isPartOfConcatenationSet=\"false\" "
        "isPartOfMirrorSet=\"false\" isPartOfStripeSet=\"false\" ";
    const std::string machineGeneric =
        "composition=\"Unknown\" domain=\"unknown\" existence=\"true\" "
        "isPartOfConcatenationSet=\"false\" isPartOfMirrorSet=\"false\" "
        "isPartOfStripeSet=\"false\" manufacturer=\"PC compatible\" model=\"x86_64\" "
        "name=\"box\" ";
    EXPECT_EQ("<Root><HostSystem " + generic + "physicality=\"Physical\" type=\"Linux\"><OS " + generic +
                  "name=\"Some Linux 1 6.1.0\" physicality=\"Physical\"/><Machine " + machineGeneric +
                  "physicality=\"Physical\" type=\"Linux\"/><Shares/></HostSystem></Root>",
              formOf(*host));
    EXPECT_TRUE(host->cleanupAfterAudit());
    EXPECT_EQ(nullptr, host->getOS());
    EXPECT_EQ(nullptr, host->getMachine());
    EXPECT_NE(std::string::npos, formOf(*host).find("<Shares/></HostSystem>"));
}

/// A host that answers nothing at all still has a summary.
TEST_F(HostSystem, IsAuditedWithoutItsTools) {
    const RecordedHost recorded({});
    const Audit_Log log;
    ASSERT_TRUE(host->prepareForAudit());
    EXPECT_TRUE(host->audit());
    EXPECT_EQ("System_StorageSystemLinux::audit uname -r, skipping\n"
              "System_MachineLinux::audit::audit uname -m model copy, skipping\n",
              log.messages());
    EXPECT_EQ("", host->getOS()->getName());
    EXPECT_EQ("Linux", attributeOf(formOf(*host), "type"));
}

TEST_F(HostSystem, CannotBeAuditedUnprepared) {
    EXPECT_FALSE(host->audit());
    EXPECT_FALSE(host->getAuditResult());
}

TEST_F(HostSystem, ComesBackWithItsParts) {
    ASSERT_TRUE(host->prepareForAudit());
    host->setName("named");
    host->setType("Linux");
    host->setDomain("example.com");
    host->getOS()->setName("Some Linux");
    host->getMachine()->setModel("x86_64");
    host->getShares().push_back(Storage_FactoryAllocateShare());
    host->getShares().back()->setPath("/srv");
    const std::string form = formOf(*host);
    EXPECT_NE(std::string::npos, form.find("path=\"/srv\""));

    const auto assigned = Storage_FactoryAllocateHostSystem();
    *assigned = *host;
    EXPECT_EQ(form, formOf(*assigned));
    EXPECT_NE(host->getMachine(), assigned->getMachine());

    const auto parsed = Storage_FactoryAllocateHostSystem();
    const Xerces_DocumentPtr document = Xerces_Parse(form, "form");
    ASSERT_TRUE(parsed->parse(Xerces_FirstDescendant(*Xerces_Root(*document), "HostSystem")));
    EXPECT_EQ("named", parsed->getName());
    EXPECT_EQ("example.com", parsed->getDomain());
    EXPECT_EQ("Some Linux", parsed->getOS()->getName());
    EXPECT_EQ("x86_64", parsed->getMachine()->getModel());
    host->deallocateShares();
    EXPECT_EQ(formOf(*host), formOf(*parsed)) << "all but the shares, which are only written";

    *assigned = *Storage_FactoryAllocateHostSystem();
    EXPECT_EQ(nullptr, assigned->getOS());
}

/// Not recorded: the machine that runs the test, through its own shell and tools.
TEST_F(HostSystem, AuditsTheRealHost) {
    ASSERT_TRUE(System_LayerInit());
    ASSERT_TRUE(host->prepareForAudit());
    ASSERT_TRUE(host->audit());
    const std::string& os = host->getOS()->getName();
    const std::string release = System_RunCommand("uname -r").value_or("");
    ASSERT_GT(release.size(), 1u);
    EXPECT_TRUE(os.ends_with(" " + release.substr(0, release.size() - 1))) << os;
    EXPECT_NE("", host->getMachine()->getModel());
    EXPECT_TRUE(host->getMachine()->getAuditResult());
    System_LayerCleanup();
}

} // namespace
