#include "host/Host_RecordedHost.h"
#include "model/Audit_Log.h"
#include "storage/Storage_CheckVersion.h"

#include <gtest/gtest.h>

namespace {

TEST(CheckVersion, ComparesThreeCharacters) {
    struct {
        const char* output;
        const char* version;
        bool matches;
    } const cases[] = {
        {"2.4.21-4.ELsmp\n", "2.4", true},
        {"2.4.21-4.ELsmp\n", "2.6", false},
        {"3.10.0-1160.el7.x86_64\n", "3.1", true},
        {"6.1.0-13-amd64", "6.1", true},
        {"2.6.9 extra\n", "2.6", false},
        {"uname: some warning\n2.6.9\n", "2.6", true},
        {" \t2.6.9\t\n", "2.6", true},
        {"2.6.9\n", "2.6.", false},
        {"2.6.9\n", "2", false},
        {"", "", false},
    };
    for (const auto& [output, version, matches] : cases)
        EXPECT_EQ(Storage_ReleaseHasVersion(output, version), matches) << output << " against " << version;
}

TEST(CheckVersion, AsksTheHost) {
    Host_RecordedHost old(Host_ParseRecord("command \"uname -r\" = \"2.4.21\\n\"\n"));
    Host_RecordedHost silent(Host_Record{});
    const Audit_Log log;
    EXPECT_TRUE(Storage_CheckVersion(old, "2.4"));
    EXPECT_FALSE(Storage_CheckVersion(old, "2.6"));
    EXPECT_FALSE(Storage_CheckVersion(silent, "2.4"));
    EXPECT_FALSE(Storage_CheckVersion(nullptr));
    EXPECT_EQ(log.messages(), "Storage_CheckVersion: OS version (2.4) matches test version: 2.4\n"
                              "Storage_CheckVersion: OS command failed: uname -r\n");
}

} // namespace
