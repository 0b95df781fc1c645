#include "base/Failing_Memory.h"
#include "base/Temporary_Directory.h"
#include "model/Auditable_Auditable.h"
#include "search/FileSearch_Manager.h"
#include "search/FileSearch_RecordFile.h"
#include "search/FileSearch_SortCaller.h"
#include "search/FileSearch_VolumeStat.h"
#include "xml/Xerces_Document.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOMElement.hpp>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <functional>
#include <map>
#include <random>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {

/// A write that fails, so many from now, after half of its bytes.
std::atomic<int> failingWrite = 0;
std::atomic<int> attemptsThatFail = 0;
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

constexpr std::time_t minutesOfDay = 24 * 60;

TEST(VolumeStat, CountsNoByteOfTheHitsTwiceAndNoneOfThoseThatAreLost) {
    struct Hit {
        FileSearch_VolumeStat::Entry entry;
        std::string parent;
        std::string path;
    };
    std::mt19937 random(11); // NOLINT(cert-msc32-c,cert-msc51-cpp)
    for (int round = 0; round < 500; ++round) {
        FileSearch_VolumeStat stat;
        std::vector<Hit> hits;
        std::map<std::string, std::uint64_t> sizes;
        const auto loseHits = [&](std::size_t number) {
            for (number = std::min(number, hits.size()); number != 0; --number) {
                stat.takeBackHit(hits.back().entry, hits.back().parent);
                hits.pop_back();
            }
        };
        const auto hit = [&](bool isDirectory, std::uint64_t size, const std::string& parent,
                             const std::string& path) {
            stat.countHit(
                hits.emplace_back(Hit{{isDirectory, false, true, false, size}, parent, path}).entry);
            loseHits(random() % 8 == 0 ? random() % 4 : 0);
        };
        /// Gives the bytes below a directory.
        const std::function<std::uint64_t(const std::string&, unsigned)> walk = [&](const std::string& path,
                                                                                    unsigned depth) {
            std::uint64_t below = 0;
            for (unsigned number = random() % 6; number != 0; --number) {
                const std::string name = path + '/' + std::to_string(number);
                const std::uint64_t size = sizes[name] = random() % 100;
                const bool isHit = random() % 3 == 0;
                if (depth < 6 && random() % 2 == 0) {
                    const std::uint64_t inner = walk(name, depth + 1);
                    const std::uint64_t added = stat.coverDirectory(name, path, inner, isHit);
                    if (isHit)
                        hit(true, added, path, name);
                    else
                        EXPECT_EQ(added, 0U);
                    below += inner;
                } else if (isHit) {
                    stat.coverFile(path, size);
                    hit(false, size, path, name);
                }
                below += size;
            }
            return below;
        };
        walk("/top", 0);
        std::uint64_t expected = 0;
        for (const auto& [path, size] : sizes)
            expected += std::any_of(hits.begin(), hits.end(),
                                    [&path = path](const Hit& each) {
                                        return each.entry.isDirectory ? path.starts_with(each.path + '/')
                                                                      : path == each.path;
                                    })
                            ? size
                            : 0;
        ASSERT_EQ(stat.getSizeHit(), expected) << round;
        loseHits(hits.size());
        EXPECT_EQ(stat.getSizeHit() + stat.getNumFilesHit() + stat.getNumDirsHit(), 0U);
    }
}

/// How many hits a page has; nothing if it is refused.
using Hits = std::optional<std::size_t>;

/// Runs searches of two volumes, of which one search can be held back while it is at work.
class SearchManager : public testing::Test, public FileSearch_HandlerFactory {
protected:
    struct Progress : FileSearch_ProgressHandler {
        explicit Progress(SearchManager& told) : owner(told) {}
        bool handleSearchProgress(const char* token, unsigned long long, unsigned long long,
                                  unsigned long long, bool&, FileSearchProgressStatus status,
                                  const char*) override {
            owner.statuses_.push_back(status);
            if (owner.held_ == token && !owner.isHolding_.exchange(true))
                owner.mayGoOn_.grab(Thread_Semaphore::Forever);
            return true;
        }
        SearchManager& owner;
    };
    struct Complete : FileSearch_CompleteHandler {
        explicit Complete(SearchManager& told) : owner(told) { ++owner.searches_; }
        Complete(const Complete&) = delete;
        Complete& operator=(const Complete&) = delete;
        ~Complete() override { --owner.searches_; }
        bool handleSearchComplete(const char*, bool&, const char*) override {
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
        std::filesystem::create_directories(volumes_[0]);
        std::filesystem::create_directories(volumes_[1]);
        putContents(volumes_[1] + "/file", "abc");
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
        summary("none");
    }
    void pass(std::time_t minutesLater) {
        secondsAhead += minutesLater * 60;
        const unsigned before = looksAtClock;
        manager_->signalSemaphore();
        waitForPass(before);
    }
    Xerces_DocumentPtr requestOf(const std::string& token) const {
        return Xerces_Parse(
            "<Method><Condition><Predicate valueName='name' operator='isAnything'/></Condition><Token>" +
                token + "</Token><AccountID>1</AccountID><Volumes><Volume name='" + volumes_[0] +
                "'/><Volume name='" + volumes_[1] + "'/></Volumes></Method>",
            "test");
    }
    bool begin(const std::string& token) {
        const Xerces_DocumentPtr request = requestOf(token);
        Parameters parameters;
        return manager_->performNewSearch(Xerces_Root(*request), &parameters);
    }
    void search(const std::string& token) {
        ASSERT_TRUE(begin(token));
        ended_.grab(Thread_Semaphore::Forever);
    }
    /// Null if there is none.
    Xerces_DocumentPtr summary(const std::string& token) {
        Xerces_DocumentPtr document = Xerces_CreateDocument("Summary");
        const bool isKnown =
            manager_->serializeSummary(token.c_str(), document.get(), Xerces_Root(*document));
        return isKnown ? std::move(document) : nullptr;
    }
    Hits page(const std::string& token, unsigned volume = 1) {
        const Xerces_DocumentPtr request = requestOfPage(token, volume);
        const Xerces_DocumentPtr reply = Xerces_CreateDocument("Reply");
        return page(*request, reply.get());
    }
    Xerces_DocumentPtr requestOfPage(const std::string& token, unsigned volume) const {
        return Xerces_Parse("<Method><Token>" + token + "</Token><Volume>" + volumes_[volume] +
                                "</Volume><NumResults>99999</NumResults></Method>",
                            "test");
    }
    Hits page(xercesc::DOMDocument& request, xercesc::DOMDocument* reply) {
        FileSearch_SortCaller caller;
        if (!manager_->lookupResults(&caller, Xerces_Root(request), reply, Xerces_Root(*reply), nullptr))
            return std::nullopt;
        caller.waitUntilSortCompleted();
        return caller.getResult() ? Hits(Xerces_Descendants(*Xerces_Root(*reply), "FSO").size())
                                  : std::nullopt;
    }
    std::size_t stored(const std::string& token, unsigned volume) const {
        FileSearch_RecordFile file;
        FileSearch_Record record;
        std::uint32_t offset = 0;
        EXPECT_TRUE(file.setPath(token.c_str(), volumes_[volume].c_str(), results_.c_str()) &&
                    file.openFile() && file.beginReadingSerialAccess() && file.seekToStartOfRecords(offset));
        std::size_t count = 0;
        while (!file.isEndOfFile() && file.readRecordSerial(record, offset))
            ++count;
        return count;
    }
    bool hasFiles(const std::string& token) const {
        return std::filesystem::exists(results_ + '/' + token + "._expire_.dat");
    }

    const Temporary_Directory folder_;
    const std::string volumes_[2] = {folder_ / "a", folder_ / "b"};
    const std::string results_ = folder_ / "results";
    std::string held_;
    std::atomic<bool> isHolding_ = false;
    Thread_Semaphore mayGoOn_;
    Thread_Semaphore ended_;
    std::atomic<int> searches_ = 0; ///< that have not ended, however they do
    std::vector<FileSearchProgressStatus> statuses_;
    const std::unique_ptr<FileSearch_Manager> manager_ = FileSearch_FactoryAllocateManager();
};

TEST_F(SearchManager, LosesByAFailedWriteWhatItHeldAndTellsSo) {
    constexpr std::size_t expected[] = {900, 1};
    for (std::size_t number = 0; number < expected[0]; ++number)
        putContents(volumes_[0] + '/' + std::string(200, 'x') + std::to_string(number), "abc");
    failingWrite = 1;
    EXPECT_FALSE(begin("T0")) << "the file that stands for the search";
    std::string token;
    int number = 2;
    for (bool hasFailed = true; hasFailed; ++number) {
        token = "T" + std::to_string(number);
        statuses_.clear();
        attemptsThatFail = 0;
        failingWrite = number;
        search(token);
        hasFailed = failingWrite == 0;
        failingWrite = attemptsThatFail = 0;
        const Xerces_DocumentPtr told = summary(token);
        ASSERT_TRUE(told != nullptr && statuses_.size() == 2);
        for (const unsigned at : {0U, 1U}) {
            const auto count = [&](const char* name) {
                const std::string text =
                    Xerces_GetAttribute(*Xerces_Descendants(*Xerces_Root(*told), "Volume").at(at), name);
                return text.empty() ? 0 : std::stoul(text);
            };
            const std::size_t hits = count("numFilesHit");
            EXPECT_EQ(stored(token, at), hits) << number;
            EXPECT_EQ(count("sizeHit"), hits * 3) << number;
            const Hits read = page(token, at);
            if (statuses_[at] == FileSearchProgressStatus::OK)
                EXPECT_EQ(read, Hits(expected[at])) << number;
            else
                EXPECT_TRUE(!read || read == Hits(hits)) << number;
        }
        const auto failures =
            std::count(statuses_.begin(), statuses_.end(), FileSearchProgressStatus::ErrorWrite);
        EXPECT_EQ(failures, hasFailed ? 1 : 0) << number;
    }
    EXPECT_GT(number, 9) << "the first volume takes several writes";
    failingWrite = 1;
    EXPECT_EQ(page(token), std::nullopt) << "the files are not known to stay";
    failingWrite = attemptsThatFail = 0;
    EXPECT_EQ(page(token), Hits(1));
}

TEST_F(SearchManager, ForgetsAfterHalfAnHourAndDeletesAfterFourDays) {
    search("T");
    pass(29);
    EXPECT_TRUE(summary("T")) << "which is a reference";
    pass(31);
    EXPECT_FALSE(summary("T"));
    EXPECT_EQ(page("T"), Hits(1));
    pass(31);
    EXPECT_FALSE(summary("T")) << "by its page";
    EXPECT_EQ(page("T"), Hits(1));

    // The disk was looked at when the service started, and is again four hours later.
    const std::string old = std::string(1024, '\0') + "2001-01-01 00:00:00";
    putContents(results_ + "/old._expire_.dat", old);
    pass(120);
    EXPECT_TRUE(hasFiles("old"));
    pass(60);
    EXPECT_TRUE(hasFiles("T") && !hasFiles("old"));
    pass(4 * minutesOfDay - 181);
    EXPECT_TRUE(hasFiles("T"));
    pass(250);
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
    EXPECT_FALSE(summary("Used") || page("Used"));
    pass(5 * minutesOfDay);
    EXPECT_TRUE(hasFiles("Used") && !hasFiles("Idle"));
    mayGoOn_.release();
    ended_.grab(Thread_Semaphore::Forever);
    EXPECT_TRUE(summary("Used"));
    EXPECT_EQ(page("Used"), Hits(1));
    EXPECT_TRUE(manager_->deleteSearches({"Idle", "Used"}) && !hasFiles("Used"));
}

TEST_F(SearchManager, IsAsBeforeWhenAnAllocationHasFailed) {
    statuses_.reserve(9);
    Xerces_DocumentPtr request = requestOf("T");
    Xerces_DocumentPtr reply;
    const auto nothingIsLeft = [&](unsigned long number) {
        EXPECT_TRUE(manager_->deleteSearches({"T"})) << number;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(results_), {}), 0) << number;
    };
    const auto isAsBefore = [&](unsigned long number, bool) {
        EXPECT_EQ(page("T"), Hits(1)) << number;
        EXPECT_TRUE(summary("T")) << number;
        reply = Xerces_CreateDocument("Reply");
    };
    Failing_Memory::failEach(
        [&] {
            statuses_.clear();
            Parameters parameters;
            manager_->performNewSearch(Xerces_Root(*request), &parameters);
        },
        [&](unsigned long number, bool hasFailed) {
            const bool hasEnded = ended_.grab(0) == Thread_Semaphore::Granted;
            EXPECT_TRUE(summary("T") || !hasEnded) << number;
            if (!hasFailed)
                isAsBefore(number, hasFailed);
            nothingIsLeft(number);
        },
        [&] { return searches_ == 0; });
    search("T");
    isAsBefore(0, false);
    request = requestOfPage("T", 1);
    Failing_Memory::failEach([&] { page(*request, reply.get()); }, isAsBefore);
    Failing_Memory::failEach([&] { manager_->serializeSummary("T", reply.get(), Xerces_Root(*reply)); },
                             isAsBefore);
    Failing_Memory::failEach([&] { manager_->deleteSearches({"T"}); },
                             [&](unsigned long number, bool) {
                                 nothingIsLeft(number);
                                 search("T");
                             });
    unsigned before = 0;
    Failing_Memory::failEach(
        [&] {
            secondsAhead += 5 * minutesOfDay * 60;
            before = looksAtClock;
            manager_->signalSemaphore();
        },
        [&](unsigned long number, bool) {
            pass(5 * minutesOfDay);
            nothingIsLeft(number);
            search("T");
        },
        [&] {
            if (looksAtClock == before && !Failing_Memory::hasFailed())
                return false;
            manager_->serializeSummary("none", nullptr, nullptr); // waits for the pass
            return true;
        });
}

} // namespace
