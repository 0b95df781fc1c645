#include "host/Host_RecordedHost.h"
#include "model/Audit_Log.h"
#include "storage/Storage_Container.h"
#include "storage/Storage_Played.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

class Container : public testing::Test {
protected:
    void SetUp() override {
        play = &play_;
        play_.note = [this](const std::string& event) { events_.push_back(event); };
    }
    void TearDown() override { play = nullptr; }

    std::vector<std::string> events_;
    Storage_Play play_;
};

TEST_F(Container, ClearsFromTheDrivesUpEvenWhenItGoesLocked) {
    std::vector<std::string> all;
    for (const char* level :
         {"PhysicalDrives", "DriveExtents", "ExtentPools", "Plexes", "StorageVolumes", "StorageAssociations"})
        all.push_back(std::string("delete ") + level);
    for (const bool goes : {false, true}) {
        events_.clear();
        auto container = std::make_unique<Storage_Container>(Storage_PlayedLevels);
        container->clear();
        for (auto level = Storage_Levels.rbegin(); level != Storage_Levels.rend(); ++level)
            EXPECT_NE(container->allocate(level->type), nullptr);
        ASSERT_TRUE(container->lock());
        if (goes)
            container.reset();
        else
            container->clear();
        EXPECT_EQ(events_, all);
    }
}

TEST_F(Container, AuditsALevelThatIsNeededUntilItIsAudited) {
    const char* const message = "Some_Level::audit: failed to audit plexes\n";
    Storage_Container container(Storage_PlayedLevels);
    Host_RecordedHost host{Host_Record()};
    Storage_PlayedCollection<Storage_DriveExtents> asker;
    asker.setHost(host);
    const Audit_Log log;
    play_.audit = [](const std::string&, Storage_Collection&) -> bool {
        throw std::runtime_error("a fault");
    };
    EXPECT_EQ(container.ensureAudited<Storage_Plexes>(asker, message), nullptr);
    Storage_Plexes* plexes = container.getPlexes();
    ASSERT_NE(plexes, nullptr) << "made, and kept with what was found";
    EXPECT_EQ(plexes->getMap().size(), 1u);
    play_.audit = [](const std::string&, Storage_Collection&) { return false; };
    EXPECT_EQ(container.ensureAudited<Storage_Plexes>(asker, message), nullptr);
    EXPECT_EQ(log.messages(), std::string(message) + message);
    play_.audit = [&host](const std::string&, Storage_Collection& collection) {
        collection.setAudited();
        return &collection.getHost() == &host;
    };
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ(container.ensureAudited<Storage_Plexes>(asker, message), plexes);
    EXPECT_EQ(events_, std::vector<std::string>(3, "audit Plexes"));
    const auto* links = container.ensure<Storage_StorageAssociations>();
    EXPECT_NE(links, nullptr);
    EXPECT_EQ(container.getStorageAssociations(), links);
    EXPECT_EQ(events_.size(), 3u) << "links are made without an audit";

    Storage_LevelList none = Storage_Levels;
    none[Storage_LevelIndex(System_Object::Plexes)].allocate = []() noexcept {
        return std::unique_ptr<Storage_Collection>();
    };
    EXPECT_EQ(Storage_Container(none).ensureAudited<Storage_Plexes>(asker, message), nullptr);
}

} // namespace
