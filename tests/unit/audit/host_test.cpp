#include "audit/Storage_HostSystem.h"
#include "host/Host_RecordedHost.h"
#include "model/Audit_Log.h"
#include "model/Audit_XML.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Share, IsNotAuditedButHasItsForm) {
    const auto share = Storage_FactoryAllocateShare();
    EXPECT_FALSE(share->audit());
    EXPECT_FALSE(share->getAuditResult());
    share->setName("export");
    share->setPath("/srv/export");
    const std::string form = formOf(*share);
    const Xerces_DocumentPtr document = Xerces_Parse(form, "form");
    const auto copy = Storage_FactoryAllocateShare();
    ASSERT_TRUE(copy->parse(Xerces_FirstDescendant(*Xerces_Root(*document), "Share")));
    EXPECT_EQ(copy->getName(), "export");
    EXPECT_EQ(copy->getPath(), "/srv/export");
    EXPECT_EQ(formOf(*copy), form);
}

class HostSystem : public testing::Test {
protected:
    std::unique_ptr<Storage_HostSystem> host = Storage_FactoryAllocateHostSystem();
};

/// A host that answers nothing at all still has a summary.
TEST_F(HostSystem, IsAuditedWithoutAnswers) {
    Host_RecordedHost silent(Host_Record{});
    const Audit_Log log;
    EXPECT_FALSE(host->audit()) << "it has no parts yet";
    host->setHost(silent);
    ASSERT_TRUE(host->prepareForAudit());
    EXPECT_TRUE(host->audit());
    EXPECT_EQ(log.messages(), "System_StorageSystemLinux::audit uname -r, skipping\n"
                              "System_MachineLinux::audit getdomainname, failed\n"
                              "System_MachineLinux::audit gethostname, failed\n"
                              "System_MachineLinux::audit::audit uname -m model copy, skipping\n"
                              "System_MachineLinux::audit::audit: failed to get/set GMT offset\n"
                              "System_MachineLinux::audit - failed\n"
                              "Storage_HostSystemLinux::machine audit failed\n");
    EXPECT_EQ(host->getMachine()->getName(), "unknown");
    EXPECT_EQ(host->getMachine()->getDomain(), "unknown");
    EXPECT_TRUE(host->cleanupAfterAudit());
    EXPECT_EQ(host->getMachine(), nullptr);
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
    EXPECT_NE(form.find("path=\"/srv\""), std::string::npos);

    const auto assigned = Storage_FactoryAllocateHostSystem();
    *assigned = *host;
    EXPECT_EQ(formOf(*assigned), form);
    EXPECT_NE(assigned->getMachine(), host->getMachine());

    const auto parsed = Storage_FactoryAllocateHostSystem();
    const Xerces_DocumentPtr document = Xerces_Parse(form, "form");
    ASSERT_TRUE(parsed->parse(Xerces_FirstDescendant(*Xerces_Root(*document), "HostSystem")));
    host->deallocateShares();
    EXPECT_EQ(formOf(*parsed), formOf(*host)) << "all but the shares, which are only written";

    *assigned = *Storage_FactoryAllocateHostSystem();
    EXPECT_EQ(assigned->getOS(), nullptr);
}

} // namespace
