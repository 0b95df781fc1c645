#include "audit/Storage_HostSystem.h"
#include "base/Temporary_Directory.h"
#include "host/Host_RecordedHost.h"
#include "model/Audit_XML.h"

#include <gtest/gtest.h>

#include <future>
#include <string>

namespace {

/// What a host summary says of the recorded host, which a request hands on to it.
std::string summaryOf(Host_Host& host) {
    const auto request = Storage_FactoryAllocateShare();
    request->setHost(host);
    const auto summary = Storage_FactoryAllocateHostSystem();
    EXPECT_TRUE(summary->copyAuditParameters(request.get()));
    EXPECT_TRUE(summary->prepareForAudit());
    EXPECT_TRUE(summary->audit());
    return formOf(*summary) + "\n";
}

/// Each folder of tests/hosts is a host, with the summary that is expected of it beside the record.
TEST(RecordedHosts, HaveTheirSummaries) {
    int hosts = 0;
    for (const auto& folder : std::filesystem::directory_iterator(QDV_HOSTS)) {
        Host_RecordedHost host(Host_ReadRecord(folder.path()));
        EXPECT_EQ(summaryOf(host), contentsOf(folder.path() / "summary.xml")) << folder.path();
        EXPECT_TRUE(host.unanswered().empty()) << host.unanswered().front().back() << " was not recorded";
        ++hosts;
    }
    EXPECT_GT(hosts, 0);
}

TEST(RecordedHosts, AreAuditedBesideEachOther) {
    const auto audit = [](const std::string& name) {
        Host_RecordedHost host(Host_ParseRecord("host name = " + name + "\nhost domain = example." + name +
                                                "\nhost gmt-offset = 60\nhost daylight = false\n"
                                                "command \"ls /etc/*-release\" = \"\"\n"
                                                "command \"uname -r\" = \"6.1-" +
                                                name + "\\n\"\ncommand \"uname -m\" = " + name + "\n"));
        std::string first = summaryOf(host);
        for (int round = 0; round < 50; ++round)
            EXPECT_EQ(summaryOf(host), first);
        EXPECT_TRUE(host.unanswered().empty());
        return first;
    };
    auto one = std::async(std::launch::async, audit, "one");
    auto two = std::async(std::launch::async, audit, "two");
    const std::string first = one.get();
    const std::string second = two.get();
    EXPECT_EQ(attributeOf(first, "type"), "Linux");
    EXPECT_NE(first.find("name=\"Linux 6.1-one\""), std::string::npos) << first;
    EXPECT_EQ(first.find("two"), std::string::npos);
    EXPECT_NE(second.find("domain=\"example.two\""), std::string::npos) << second;
}

} // namespace
