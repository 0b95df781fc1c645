#include "base/Temporary_Directory.h"
#include "search/FileSearch_Manager.h"
#include "search/FileSearch_Search.h"
#include "search/FileSearch_SortCaller.h"
#include "threads/MutexLock.h"
#include "xml/Xerces_Document.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOMElement.hpp>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {

/// A write of this thread that fails: so many from now, after half of its bytes.
thread_local int failingWrite = 0;
thread_local int attemptsThatFail = 0;
/// What the clock is ahead of the machine's, and how often it was looked at.
std::atomic<std::time_t> secondsAhead = 0;
std::atomic<unsigned> looksAtClock = 0;

} // namespace

// These stand before the system's own in this program.

ssize_t write(int descriptor, const void* bytes, std::size_t length) {
    if (failingWrite > 0 && --failingWrite == 0) {
        attemptsThatFail = 10; // as often as a write is tried
        length /= 2;
    } else if (attemptsThatFail > 0) {
        --attemptsThatFail;
        errno = ENOSPC;
        return -1;
    }
    return syscall(SYS_write, descriptor, bytes, length);
}

std::time_t time(std::time_t* seconds) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t told = now.tv_sec + secondsAhead;
    ++looksAtClock;
    if (seconds != nullptr)
        *seconds = told;
    return told;
}

namespace {

constexpr std::time_t minute = 60;
constexpr std::time_t day = 24 * 60 * minute;

Xerces_DocumentPtr requestOfSearch(const std::string& token, const std::vector<std::string>& volumes) {
    std::string names;
    for (const std::string& name : volumes)
        names += "<Volume name='" + name + "'/>";
    return Xerces_Parse("<Method><Condition><Predicate valueName='name' operator='isAnything'/></Condition>"
                        "<Token>" +
                            token + "</Token><AccountID>1</AccountID><Volumes>" + names +
                            "</Volumes></Method>",
                        "test");
}

Xerces_DocumentPtr requestOfPage(const std::string& token, const std::string& volume) {
    return Xerces_Parse("<Method><Token>" + token + "</Token><Volume>" + volume +
                            "</Volume><NumResults>99999</NumResults></Method>",
                        "test");
}

/// How many hits a page has; nothing if it is refused.
using Hits = std::optional<std::size_t>;

Hits hitsOf(const Xerces_DocumentPtr& reply, bool isWritten) {
    return isWritten ? Hits(Xerces_Descendants(*Xerces_Root(*reply), "FSO").size()) : std::nullopt;
}

class Statuses : public FileSearch_ProgressHandler {
public:
    bool handleSearchProgress(const char* /*token*/, unsigned long long /*id*/, unsigned long long /*files*/,
                              unsigned long long /*dirs*/, bool& /*delivered*/,
                              FileSearchProgressStatus status, const char* /*hostTarget*/) override {
        seen.push_back(status);
        return true;
    }
    std::vector<FileSearchProgressStatus> seen;
};

/// Two volumes, of which the first takes several writes.
class WriteFaults : public testing::Test {
protected:
    static constexpr std::size_t sizeOfFile = 3;

    void SetUp() override {
        std::filesystem::create_directories(volumes_[0] + "/inner");
        std::filesystem::create_directories(volumes_[1]);
        for (unsigned number = 0; number < files_[0]; ++number)
            putContents(volumes_[0] + "/inner/" + std::string(200, 'x') + std::to_string(number), "abc");
        for (unsigned number = 0; number < files_[1]; ++number)
            putContents(volumes_[1] + '/' + std::to_string(number), "abc");
    }
    Hits page(const std::string& token, const std::string& volume) const {
        FileSearch_Search search;
        search.setPath(folder_.path().c_str());
        const Xerces_DocumentPtr reply = Xerces_CreateDocument("Reply");
        return hitsOf(reply, search.parseResultsCriteria(Xerces_Root(*requestOfPage(token, volume))) &&
                                 search.serializeResults(reply.get(), Xerces_Root(*reply)));
    }
    std::size_t stored(const std::string& token, const std::string& volume) const {
        FileSearch_RecordFile file;
        FileSearch_Record record;
        std::uint32_t offset = 0;
        EXPECT_TRUE(file.setPath(token.c_str(), volume.c_str(), folder_.path().c_str()) && file.openFile() &&
                    file.beginReadingSerialAccess() && file.seekToStartOfRecords(offset));
        std::size_t count = 0;
        for (; !file.isEndOfFile() && file.readRecordSerial(record, offset); ++count)
            EXPECT_EQ(record.data().substr(0, 4) + record.data().substr(record.data().size() - 2), "<FSO/>");
        return count;
    }

    const Temporary_Directory folder_;
    const std::string volumes_[2] = {folder_ / "a", folder_ / "b"};
    const std::size_t files_[2] = {900, 5};
    const std::size_t folders_[2] = {1, 0};
};

TEST_F(WriteFaults, CostWhatWasNotWrittenAndAreTold) {
    bool hasFailed = true;
    int number = 1;
    for (; hasFailed; ++number) {
        const std::string token = "T" + std::to_string(number);
        Statuses statuses;
        FileSearch_Search search;
        search.setPath(folder_.path().c_str());
        search.registerProgressHandler(&statuses);
        ASSERT_TRUE(
            search.parseSearchCriteria(Xerces_Root(*requestOfSearch(token, {volumes_[0], volumes_[1]}))));
        failingWrite = number;
        ASSERT_TRUE(search.prepareForAudit() && search.audit() && search.cleanupAfterAudit());
        hasFailed = failingWrite == 0;
        failingWrite = attemptsThatFail = 0;
        ASSERT_TRUE(search.createNewFileSearch());
        const Xerces_DocumentPtr summary = Xerces_CreateDocument("Summary");
        ASSERT_TRUE(search.serializeSummary(summary.get(), Xerces_Root(*summary)));
        const auto told = Xerces_Descendants(*Xerces_Root(*summary), "Volume");
        ASSERT_EQ(told.size() + statuses.seen.size(), 4U);
        for (const unsigned at : {0U, 1U}) {
            const auto count = [&](const char* name) {
                const std::string text = Xerces_GetAttribute(*told[at], name);
                return text.empty() ? 0 : std::stoul(text);
            };
            const std::size_t hits = count("numFilesHit") + count("numDirsHit");
            const Hits read = page(token, volumes_[at]);
            EXPECT_EQ(stored(token, volumes_[at]), hits) << number;
            EXPECT_EQ(count("sizeHit"), count("numFilesHit") * sizeOfFile) << number;
            if (statuses.seen[at] == FileSearchProgressStatus::OK) {
                EXPECT_EQ(read, Hits(files_[at] + folders_[at])) << number;
            }
            EXPECT_TRUE(!read || read == Hits(hits)) << number;
        }
        const auto failures =
            std::count(statuses.seen.begin(), statuses.seen.end(), FileSearchProgressStatus::ErrorWrite);
        EXPECT_EQ(failures, hasFailed ? 1 : 0) << number;
    }
    EXPECT_GT(number, 8);

    const std::string token = "T" + std::to_string(number - 1);
    failingWrite = 1;
    EXPECT_EQ(page(token, volumes_[1]), std::nullopt) << "the files are not known to stay";
    EXPECT_EQ(page(token, volumes_[1]), Hits(files_[1]));
    FileSearch_Search search;
    search.setPath(folder_.path().c_str());
    ASSERT_TRUE(search.parseSearchCriteria(Xerces_Root(*requestOfSearch("U", {}))));
    failingWrite = 1;
    EXPECT_FALSE(search.createNewFileSearch());
}

TEST(VolumeStat, CountsNoByteOfTheHitsTwice) {
    std::mt19937 random(11); // NOLINT(cert-msc32-c,cert-msc51-cpp)
    for (int round = 0; round < 500; ++round) {
        FileSearch_VolumeStat stat;
        std::vector<FileSearch_VolumeStat::Entry> hits;
        std::uint64_t expected = 0;
        const auto hit = [&](bool isDirectory, std::uint64_t size) {
            stat.countHit(
                hits.emplace_back(FileSearch_VolumeStat::Entry{isDirectory, false, true, false, size}));
        };
        // Gives the bytes below a directory; `isCovered` by a directory above that is a hit.
        const std::function<std::uint64_t(const std::string&, bool, unsigned)> walk =
            [&](const std::string& path, bool isCovered, unsigned depth) {
                std::uint64_t below = 0;
                for (unsigned number = random() % 6; number != 0; --number) {
                    const std::uint64_t size = random() % 100;
                    const bool isHit = random() % 3 == 0;
                    const bool isDirectory = depth < 6 && random() % 2 == 0;
                    if (isDirectory) {
                        const std::string name = path + '/' + std::to_string(number);
                        const std::uint64_t inner = walk(name, isCovered || isHit, depth + 1);
                        const std::uint64_t added = stat.coverDirectory(name, path, inner, isHit);
                        if (isHit)
                            hit(true, added);
                        else
                            EXPECT_EQ(added, 0U);
                        below += inner;
                    } else if (isHit) {
                        stat.coverFile(path, size);
                        hit(false, size);
                    }
                    below += size;
                    if (isCovered || (isHit && !isDirectory))
                        expected += size;
                }
                return below;
            };
        walk("/top", false, 0);
        ASSERT_EQ(stat.getSizeHit(), expected) << round;
        for (const FileSearch_VolumeStat::Entry& each : hits)
            stat.takeBackHit(each);
        EXPECT_EQ(stat.getSizeHit() + stat.getNumFilesHit() + stat.getNumDirsHit(), 0U);
    }
}

/// Runs searches, of which one can be held back while it is at work, on a clock that can be put forward.
class SearchManager : public testing::Test, public FileSearch_HandlerFactory {
protected:
    struct Progress : FileSearch_ProgressHandler {
        explicit Progress(SearchManager& told) : owner(told) {}
        bool handleSearchProgress(const char* token, unsigned long long /*id*/, unsigned long long /*files*/,
                                  unsigned long long /*dirs*/, bool& /*delivered*/,
                                  FileSearchProgressStatus /*status*/, const char* /*hostTarget*/) override {
            if (owner.held_ == token) {
                owner.isHolding_ = true;
                owner.mayGoOn_.grab(Thread_Semaphore::Forever);
            }
            return true;
        }
        SearchManager& owner;
    };
    struct Complete : FileSearch_CompleteHandler {
        explicit Complete(SearchManager& told) : owner(told) {}
        bool handleSearchComplete(const char* /*token*/, bool& /*delivered*/,
                                  const char* /*hostTarget*/) override {
            owner.ended_.release();
            return true;
        }
        SearchManager& owner;
    };
    struct Parameters : Auditable_Auditable {
        bool audit() override { return false; }
    };

    std::unique_ptr<FileSearch_ProgressHandler> createProgressHandler() override {
        return std::make_unique<Progress>(*this);
    }
    std::unique_ptr<FileSearch_CompleteHandler> createCompleteHandler() override {
        return std::make_unique<Complete>(*this);
    }
    void SetUp() override {
        secondsAhead = 0;
        std::filesystem::create_directories(volume_);
        putContents(volume_ + "/file", "x");
        const unsigned before = looksAtClock;
        ASSERT_TRUE(manager_->init(results_.c_str(), this) && manager_->start());
        waitForPass(before);
    }
    void TearDown() override {
        secondsAhead = 0;
        bool isRunning = true;
        for (unsigned attempt = 0; isRunning; ++attempt)
            ASSERT_TRUE(manager_->shutdown(isRunning, attempt, false));
    }
    /// A pass holds the lock of the searches from before its first look at the clock to its end.
    void waitForPass(unsigned before) {
        while (looksAtClock == before)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        knows("none");
    }
    void pass() {
        const unsigned before = looksAtClock;
        manager_->signalSemaphore();
        waitForPass(before);
    }
    bool begin(const std::string& token) {
        Parameters parameters;
        return manager_->performNewSearch(Xerces_Root(*requestOfSearch(token, {volume_})), &parameters);
    }
    void search(const std::string& token) {
        ASSERT_TRUE(begin(token));
        ended_.grab(Thread_Semaphore::Forever);
    }
    /// Whether there is a summary.
    bool knows(const char* token) {
        const Xerces_DocumentPtr document = Xerces_CreateDocument("Summary");
        return manager_->serializeSummary(token, document.get(), Xerces_Root(*document));
    }
    Hits page(const std::string& token) {
        FileSearch_SortCaller caller;
        const Xerces_DocumentPtr request = requestOfPage(token, volume_);
        const Xerces_DocumentPtr reply = Xerces_CreateDocument("Reply");
        if (!manager_->lookupResults(&caller, Xerces_Root(*request), reply.get(), Xerces_Root(*reply),
                                     nullptr))
            return std::nullopt;
        caller.waitUntilSortCompleted();
        return hitsOf(reply, caller.getResult());
    }
    bool hasFiles(const std::string& token) const {
        return std::filesystem::exists(results_ + '/' + token + "._expire_.dat");
    }

    const Temporary_Directory folder_;
    const std::string volume_ = folder_ / "volume";
    const std::string results_ = folder_ / "results";
    std::string held_;
    std::atomic<bool> isHolding_ = false;
    Thread_Semaphore mayGoOn_;
    Thread_Semaphore ended_;
    const std::unique_ptr<FileSearch_Manager> manager_ = FileSearch_FactoryAllocateManager();
};

TEST_F(SearchManager, ForgetsAfterHalfAnHourAndDeletesAfterFourDays) {
    search("T");
    secondsAhead += 29 * minute;
    pass();
    EXPECT_TRUE(knows("T")) << "which is a reference";
    secondsAhead += 31 * minute;
    pass();
    EXPECT_FALSE(knows("T"));
    EXPECT_EQ(page("T"), Hits(1));
    secondsAhead += 31 * minute;
    pass();
    EXPECT_FALSE(knows("T")) << "by its page";
    EXPECT_EQ(page("T"), Hits(1));

    // The disk was looked at when the service started, and is again four hours later.
    const std::string old = std::string(1024, '\0') + "2001-01-01 00:00:00";
    putContents(results_ + "/old._expire_.dat", old);
    secondsAhead += 120 * minute;
    pass();
    EXPECT_TRUE(hasFiles("old"));
    secondsAhead += 60 * minute;
    pass();
    EXPECT_TRUE(hasFiles("T") && !hasFiles("old"));
    secondsAhead += 4 * day - 181 * minute;
    pass();
    EXPECT_TRUE(hasFiles("T"));
    secondsAhead += 250 * minute;
    pass();
    EXPECT_FALSE(hasFiles("T"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(results_), {}), 0);
}

TEST_F(SearchManager, LeavesASearchAloneThatIsAtWork) {
    held_ = "Used";
    ASSERT_TRUE(begin("Used"));
    while (!isHolding_)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    search("Idle");
    EXPECT_FALSE(manager_->deleteSearches({"Idle", "Used"}));
    EXPECT_EQ(page("Idle"), Hits(1));
    EXPECT_FALSE(knows("Used") || page("Used"));
    secondsAhead += 5 * day;
    pass();
    EXPECT_TRUE(hasFiles("Used") && !hasFiles("Idle"));
    mayGoOn_.release();
    ended_.grab(Thread_Semaphore::Forever);
    EXPECT_TRUE(knows("Used"));
    EXPECT_EQ(page("Used"), Hits(1));
    EXPECT_TRUE(manager_->deleteSearches({"Idle", "Used"}) && !hasFiles("Used"));
}

} // namespace
