#include "../base/Temporary_Directory.h"
#include "files/System_FileIteratorLinux.h"
#include "host/Host_RecordedHost.h"
#include "model/System_AuditFailures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

class Failures : public System_AuditFailures {
public:
    bool record(const char* name, int type) override {
        EXPECT_EQ(type, System_Object::FSO);
        names.emplace_back(name);
        return true;
    }
    std::vector<std::string> names;
};

/// A walk, and what it offers.
struct Tour : System_FileEvaluator, System_IterationTerminator {
    explicit Tour(std::string root, const std::string& mounts = "/dev/a on / type ext3 (rw)\n")
        : host(Host_ParseRecord("command mount = \"" + escaped(mounts) + "\"\n")) {
        iterator.setHost(host);
        iterator.registerPath(root.c_str());
        iterator.registerFileEvaluator(this);
        iterator.registerIterationTerminator(this);
        iterator.registerAuditFailureHandler(&failures);
    }
    static std::string escaped(std::string text) {
        for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
            text.replace(at, 1, "\\n");
        return text;
    }
    bool go() { return iterator.prepareForAudit() && iterator.audit() && iterator.cleanupAfterAudit(); }

    bool evaluateFile(System_FileSystemObject* fso, System_Date* sDay, System_Date* eDay) override {
        EXPECT_LT(*sDay, *eDay);
        order.emplace_back(fso->getPath());
        sizes[fso->getPath()] = fso->getSizeRecursive();
        counts[fso->getPath()] = fso->getNumFilesRecursive() * 1000 + fso->getNumDirsRecursive();
        return !meet || meet(*fso);
    }
    bool terminateIteration(bool& succeeds) override {
        succeeds = stopSucceeds;
        return stopAfter != 0 && order.size() >= stopAfter;
    }

    Host_RecordedHost host;
    System_FileIteratorLinux iterator;
    Failures failures;
    std::function<bool(System_FileSystemObject&)> meet;
    std::size_t stopAfter = 0;
    bool stopSucceeds = true;
    std::vector<std::string> order;
    std::map<std::string, std::uint64_t> sizes;
    std::map<std::string, std::uint64_t> counts;
};

std::vector<std::string> sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
}

/// A tree with names of every kind; returns the paths of all that is in it.
std::vector<std::string> makeTree(const std::string& top, unsigned entries) {
    std::mt19937 random(7); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same tree every time
    std::vector<std::string> folders = {top};
    std::vector<std::string> paths;
    while (paths.size() < entries) {
        const std::string path = folders[random() % folders.size()] + '/' +
                                 static_cast<char>(1 + random() % 255) + std::to_string(paths.size());
        if (path.find('/', path.size() - std::to_string(paths.size()).size() - 1) != std::string::npos)
            continue;
        switch (random() % 8) {
        case 0:
            fs::create_directory(path);
            folders.push_back(path);
            break;
        case 1:
            EXPECT_EQ(symlink("/", path.c_str()), 0);
            break;
        case 2:
            EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
            break;
        default:
            putContents(path, std::string(random() % 100, 'x'));
        }
        paths.push_back(path);
    }
    return paths;
}

TEST(Walk, OffersEachEntryOnceAndLeavesNoTrace) {
    const Temporary_Directory top;
    const std::vector<std::string> paths = makeTree(top.path(), 2000);
    std::map<std::string, struct stat> before;
    const auto times = [&](const std::string& path) {
        struct stat status {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0);
        return status;
    };
    for (const std::string& path : paths)
        before[path] = times(path);
    for (const bool isMapMode : {false, true}) {
        Tour tour(top.path());
        tour.iterator.setFSOMapRequired(isMapMode);
        tour.iterator.setReadAhead(System_FileIteratorLinux::ReadAhead::AtOnce);
        ASSERT_TRUE(tour.go());
        EXPECT_EQ(sorted(tour.order), sorted(paths));
        EXPECT_TRUE(tour.failures.names.empty());
        if (!isMapMode)
            continue;
        // Each directory comes behind everything below it, with its account complete.
        std::map<std::string, std::size_t> place;
        for (std::size_t at = 0; at < tour.order.size(); ++at)
            place[tour.order[at]] = at;
        for (const auto& [path, at] : place) {
            const std::string parent = path.substr(0, path.rfind('/'));
            if (parent != top.path()) {
                ASSERT_LT(at, place[parent]);
            }
            if (!S_ISDIR(before[path].st_mode))
                continue;
            std::uint64_t size = 0;
            std::uint64_t count = 0;
            for (const auto& [below, status] : before)
                if (below.starts_with(path + '/')) {
                    size += S_ISREG(status.st_mode) || S_ISLNK(status.st_mode)
                                ? static_cast<std::uint64_t>(status.st_size)
                                : 0;
                    count += S_ISDIR(status.st_mode) ? 1 : 1000;
                }
            EXPECT_EQ(tour.sizes[path], size);
            EXPECT_EQ(tour.counts[path], count);
        }
    }
    for (const auto& [path, status] : before)
        if (S_ISDIR(status.st_mode)) {
            EXPECT_EQ(times(path).st_atim.tv_nsec, status.st_atim.tv_nsec);
            EXPECT_EQ(times(path).st_atim.tv_sec, status.st_atim.tv_sec);
            EXPECT_EQ(times(path).st_mtim.tv_nsec, status.st_mtim.tv_nsec);
        }
}

TEST(Walk, GivesTheSameWithDirectoriesReadAhead) {
    const Temporary_Directory top;
    makeTree(top.path(), 1500);
    fs::create_directories(top / "many/deeper");
    for (int number = 0; number < 3000; ++number)
        putContents(top / "many/" + std::to_string(number), "x");
    for (const char* name : {"dangling", "many/deeper/dangling"})
        ASSERT_EQ(symlink("nowhere", (top / name).c_str()), 0);
    for (const bool isMapMode : {false, true})
        for (const std::size_t stopAfter : {0, 700, 2000}) {
            const auto walk = [&](Tour& tour, System_FileIteratorLinux::ReadAhead readAhead) {
                tour.iterator.setReadAhead(readAhead);
                tour.iterator.setFSOMapRequired(isMapMode);
                tour.stopAfter = stopAfter;
                tour.meet = [](System_FileSystemObject& fso) { return fso.getInode() % 100 != 0; };
                EXPECT_TRUE(tour.go());
            };
            Tour alone(top.path());
            walk(alone, System_FileIteratorLinux::ReadAhead::Never);
            Tour helped(top.path());
            walk(helped, System_FileIteratorLinux::ReadAhead::AtOnce);
            EXPECT_EQ(helped.order, alone.order);
            EXPECT_EQ(helped.sizes, alone.sizes);
            EXPECT_EQ(helped.counts, alone.counts);
            EXPECT_EQ(helped.failures.names, alone.failures.names);
        }
}

TEST(Walk, DealsWithMountPointsAsItIsTold) {
    const Temporary_Directory top;
    for (const char* name : {"ext", "tmp", "plain"}) {
        fs::create_directory(top / name);
        putContents(top / name + "/file", "");
    }
    const std::string mounts = "/dev/a on / type ext3 (rw)\n/dev/b on " + top / "ext" +
                               " type EXT3 (rw)\ntmpfs on " + top / "tmp" + " type tmpfs (rw)\n";
    const std::pair<System_FileIteratorLinux::SkipMethod, std::set<std::string>> cases[] = {
        {System_FileIteratorLinux::SkipAll, {"plain"}},
        {System_FileIteratorLinux::SkipUnsupported, {"plain", "ext"}},
        {System_FileIteratorLinux::SkipNone, {"plain", "ext", "tmp"}},
    };
    for (const auto& [method, walked] : cases) {
        Tour tour(top.path(), mounts);
        tour.iterator.setSkipMethod(method);
        ASSERT_TRUE(tour.go());
        std::vector<std::string> expected;
        for (const std::string& name : walked)
            expected.insert(expected.end(), {top / name, top / name + "/file"});
        EXPECT_EQ(sorted(tour.order), sorted(expected)) << method;
    }
    Tour onMountPoint(top / "tmp", mounts);
    EXPECT_TRUE(onMountPoint.go());
    EXPECT_EQ(onMountPoint.order.size(), 1U);
}

TEST(Walk, StopsWhereItIsTold) {
    const Temporary_Directory top;
    makeTree(top.path(), 100);
    for (const bool succeeds : {true, false}) {
        Tour tour(top.path());
        tour.iterator.setFSOMapRequired(true);
        tour.stopAfter = 10;
        tour.stopSucceeds = succeeds;
        EXPECT_EQ(tour.go(), succeeds);
        EXPECT_GE(tour.order.size(), 10U);
        EXPECT_LT(tour.order.size(), 20U);
    }
    Tour oneLevel(top.path());
    oneLevel.iterator.setFSOMapRequired(true);
    oneLevel.iterator.setRecursionLevel(System_FileSystemObject::OneDirectory);
    EXPECT_TRUE(oneLevel.go());
    EXPECT_EQ(oneLevel.order.size(), top.entries());
    Tour noLevel(top.path());
    noLevel.iterator.setRecursionLevel(System_FileSystemObject::NoWalk);
    EXPECT_TRUE(noLevel.go() && noLevel.order.empty());
    for (const std::string& root : {std::string(), top / "none"})
        EXPECT_FALSE(Tour(root).go());
}

TEST(Walk, RecordsWhatItCannotLookAtAndGoesOn) {
    const Temporary_Directory top;
    fs::create_directories(top / "a/b");
    putContents(top / "a/refused", "");
    putContents(top / "z", "");
    ASSERT_EQ(symlink("nowhere", (top / "dangling").c_str()), 0);
    Tour tour(top.path());
    tour.meet = [](System_FileSystemObject& fso) { return std::string(fso.getName()) != "refused"; };
    EXPECT_TRUE(tour.go());
    EXPECT_EQ(sorted(tour.failures.names), sorted({top / "a/refused", top / "dangling"}));
    EXPECT_EQ(tour.order.size(), 4U);

    // A directory that is not taken is offered once more when the walk ends, and its account goes nowhere.
    Tour stubborn(top.path());
    stubborn.iterator.setFSOMapRequired(true);
    stubborn.meet = [](System_FileSystemObject& fso) { return std::string(fso.getName()) != "b"; };
    EXPECT_TRUE(stubborn.go());
    EXPECT_EQ(std::count(stubborn.order.begin(), stubborn.order.end(), top / "a/b"), 2);
    EXPECT_EQ(stubborn.counts[top / "a"], 1001U);
}

TEST(Walk, FollowsNoLinkThatTakesTheTurnOfADirectory) {
    const Temporary_Directory top;
    const Temporary_Directory outside;
    putContents(outside / "secret", "");
    for (const char* name : {"one", "two"})
        fs::create_directories(top / name + "/deeper");
    // When the first of them is read the other one waits, and so do both deeper ones in turn.
    Tour tour(top.path());
    tour.meet = [&](System_FileSystemObject& fso) {
        const std::string path = fso.getPath();
        if (path.ends_with("/deeper")) {
            fs::remove(path);
            fs::create_directory_symlink(outside.path(), path);
        }
        return true;
    };
    EXPECT_TRUE(tour.go());
    EXPECT_TRUE(std::none_of(tour.order.begin(), tour.order.end(),
                             [](const std::string& path) { return path.ends_with("secret"); }));
    EXPECT_EQ(tour.order.size(), 4U);
}

TEST(Walk, ReadsTreesDeeperThanAPathMayBeLong) {
    const Temporary_Directory top;
    constexpr int depth = 400;
    const std::string name(20, 'd');
    // Every level has a second directory, so that the walk has to find its way back to each of them.
    int folder = open(top.path().c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < depth; ++level) {
        ASSERT_EQ(mkdirat(folder, "x", 0700), 0);
        ASSERT_EQ(mkdirat(folder, name.c_str(), 0700), 0);
        const int next = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        close(folder);
        folder = next;
    }
    close(folder);
    for (const bool isMapMode : {false, true}) {
        Tour tour(top.path());
        tour.iterator.setFSOMapRequired(isMapMode);
        tour.iterator.setReadAhead(System_FileIteratorLinux::ReadAhead::AtOnce);
        EXPECT_TRUE(tour.go());
        EXPECT_EQ(tour.order.size(), 2U * depth);
        EXPECT_TRUE(tour.failures.names.empty());
    }
}

} // namespace
