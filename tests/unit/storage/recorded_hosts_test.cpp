#include "base/Temporary_Directory.h"
#include "host/Host_RecordedHost.h"
#include "model/Audit_XML.h"
#include "storage/Storage_Container.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

/// Each folder of tests/hosts is a host, with the levels that are expected of it beside the record.
TEST(RecordedHosts, HaveTheirStorage) {
    for (const auto& folder : std::filesystem::directory_iterator(QDV_HOSTS)) {
        Host_RecordedHost host(Host_ReadRecord(folder.path()));
        gStorageContainer = std::make_unique<Storage_Container>();
        for (const Storage_Level& level : Storage_Levels)
            gStorageContainer->allocate(level.type)->setHost(host);
        for (const Storage_Level& level : Storage_Levels) {
            Storage_Collection& collection = *gStorageContainer->get(level.type);
            EXPECT_TRUE(collection.hasAudited() || collection.audit())
                << level.word << " of " << folder.path();
        }
        std::string found; // an element a line
        for (const Storage_Level& level : Storage_Levels)
            for (const char character : formOf(*gStorageContainer->get(level.type)))
                found += character == '>' ? ">\n" : std::string(1, character);
        gStorageContainer.reset();
        EXPECT_EQ(found, contentsOf(folder.path() / "storage.xml")) << folder.path();
        for (const Host_Words& question : host.unanswered())
            ADD_FAILURE() << ::testing::PrintToString(question) << " was not recorded of " << folder.path();
    }
}

} // namespace
