#include "base/Temporary_Directory.h"
#include "log/Debug_Printf.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::MatchesRegex;

namespace {

class Log : public testing::Test {
protected:
    std::string logged() const { return contentsOf(path_); }
    /// Without the stamp of the first line.
    std::string message() const { return logged().substr(std::string("YYYY-MM-DD hh:mm:ss: ").size()); }

    Temporary_Directory directory_;
    std::string path_ = directory_ / "QDVAgent.log";
};

/// Logs while the objects of static life are destroyed, the standard library's streams among them.
struct LogsWhenDestroyed {
    ~LogsWhenDestroyed() {
        if (active)
            DEBUG_LOG("last words\n");
    }
    bool active = false;
};
LogsWhenDestroyed gLogsWhenDestroyed;

} // namespace

TEST_F(Log, IsOffUntilAFileIsOpenedAndAfterItIsClosed) {
    Debug_Printf log;
    EXPECT_FALSE(log.isEnabled());
    EXPECT_EQ(log.getDebugState(), Debug_Printf::StandardOutput);
    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    EXPECT_TRUE(log.isEnabled());
    EXPECT_EQ(log.getDebugState(), Debug_Printf::LogFile);
    log.print("no line end, ");
    log.setEnabled(false);
    log.print("unseen\n");
    log.setEnabled(true);
    log.print("%s\nlines\n", "two");
    EXPECT_TRUE(log.logfile_close());
    EXPECT_FALSE(log.isEnabled());
    EXPECT_EQ(log.getDebugState(), Debug_Printf::Closed);
    log.setEnabled(true);
    log.print("unseen\n");
    const std::string stamp = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}: ";
    EXPECT_THAT(logged(), MatchesRegex(stamp + "no line end, " + stamp + "two\nlines\n"));
}

TEST_F(Log, FileThatCannotBeOpenedChangesNothingNotEvenErrno) {
    Debug_Printf log;
    errno = ELOOP;
    EXPECT_FALSE(log.logfile_open((directory_ / "absent/log").c_str()));
    EXPECT_FALSE(log.logfile_open(nullptr));
    EXPECT_FALSE(log.isEnabled());
    EXPECT_EQ(log.getDebugState(), Debug_Printf::StandardOutput);
    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    EXPECT_FALSE(log.logfile_open(directory_.path().c_str()));
    EXPECT_EQ(log.getDebugState(), Debug_Printf::LogFile);
    log.print("still here\n");
    EXPECT_EQ(message(), "still here\n");
    ASSERT_TRUE(log.logfile_open("/dev/full"));
    log.print("lost\n");
    log.logfile_close();
    EXPECT_EQ(errno, ELOOP);
}

TEST_F(Log, FileIsNeitherReadableForOthersNorInherited) {
    const int next = open("/", O_RDONLY | O_CLOEXEC);
    close(next);
    Debug_Printf log;
    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    struct stat status {};
    ASSERT_EQ(fstat(next, &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | (0640U & status.st_mode));
    EXPECT_NE(fcntl(next, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(Log, FullFileStartsAgainFromNothing) {
    Debug_Printf log;
    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    log.print("first\n");
    const auto fill = [&](std::size_t upTo) {
        const std::size_t stamp = logged().size() - message().size();
        log.print("%s", std::string(upTo - logged().size() - stamp, 'x').c_str());
        ASSERT_EQ(logged().size(), upTo);
    };
    fill(20480000);
    log.print("on the limit\n");
    EXPECT_GT(logged().size(), 20480000U);
    log.print("after it\n");
    EXPECT_EQ(message(), "after it\n");

    fill(20480001);
    std::filesystem::rename(path_, path_ + ".old");
    log.print("new file\n");
    EXPECT_EQ(message(), "new file\n");

    fill(20480001);
    std::filesystem::remove_all(directory_.path());
    log.print("nowhere to go\n");
    std::filesystem::create_directory(directory_.path());
    log.print("nor later\n");
    EXPECT_FALSE(std::filesystem::exists(path_));
    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    log.print("opened again\n");
    EXPECT_EQ(message(), "opened again\n");
}

TEST_F(Log, ArgumentsAreNotEvaluatedWhileItIsOff) {
    int evaluated = 0;
    DEBUG_LOG("%d\n", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    ASSERT_TRUE(gDebugPrintf.logfile_open(path_.c_str()));
    DEBUG_LOG("%d\n", ++evaluated);
    gDebugPrintf.logfile_close();
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(message(), "1\n");
}

TEST_F(Log, LinesStayWholeWhileTheFileIsOpenedAndClosed) {
    Debug_Printf log;
    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    std::vector<std::thread> threads;
    threads.reserve(5);
    for (int writer = 0; writer < 4; ++writer) {
        threads.emplace_back([&log, writer] {
            const std::string message(200, static_cast<char>('a' + writer));
            for (int line = 0; line < 500; ++line)
                log.print("%s\n", message.c_str());
        });
    }
    threads.emplace_back([this, &log] {
        for (int round = 0; round < 50; ++round) {
            log.logfile_close();
            log.setEnabled(log.getDebugState() == Debug_Printf::Closed);
            log.logfile_open(path_.c_str());
        }
    });
    for (auto& thread : threads)
        thread.join();
    log.print("end\n");
    std::istringstream lines(logged());
    for (std::string line; std::getline(lines, line);)
        ASSERT_THAT(line, MatchesRegex("....-..-.. ..:..:..: (a{200}|b{200}|c{200}|d{200}|end)"));
    EXPECT_TRUE(logged().ends_with("end\n"));
}

TEST_F(Log, WorksWhileStaticObjectsAreDestroyed) {
    const auto logThenExit = [&] {
        gLogsWhenDestroyed.active = true;
        gDebugPrintf.logfile_open(path_.c_str());
        std::exit(0);
    };
    EXPECT_EXIT(logThenExit(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(message(), "last words\n");
}
