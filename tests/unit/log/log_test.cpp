#include "log/Debug_Printf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::MatchesRegex;

namespace {

class Log : public testing::Test {
protected:
    Log() {
        char pattern[] = "/tmp/qdv_log_XXXXXX";
        EXPECT_NE(mkdtemp(pattern), nullptr);
        directory_ = pattern;
        path_ = directory_ + "/QDVAgent.log";
    }
    ~Log() override { std::filesystem::remove_all(directory_); }

    std::string logged() const {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string directory_;
    std::string path_;
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

TEST_F(Log, IsOffUntilAFileIsOpened) {
    Debug_Printf log;
    EXPECT_FALSE(log.isEnabled());
    EXPECT_EQ(log.getDebugState(), Debug_Printf::StandardOutput);

    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    EXPECT_TRUE(log.isEnabled());
    EXPECT_EQ(log.getDebugState(), Debug_Printf::LogFile);
    log.print("Agent: %s %d\n", "one", 1);
    log.print("no line end, ");
    log.setEnabled(false);
    log.print("unseen\n");
    log.setEnabled(true);
    log.print("two\nlines\n");
    const std::string stamp = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}: ";
    EXPECT_THAT(logged(),
                MatchesRegex(stamp + "Agent: one 1\n" + stamp + "no line end, " + stamp + "two\nlines\n"));

    EXPECT_TRUE(log.logfile_close());
    EXPECT_FALSE(log.isEnabled());
    EXPECT_EQ(log.getDebugState(), Debug_Printf::Closed);
    const std::string before = logged();
    log.setEnabled(true);
    log.print("unseen\n");
    EXPECT_EQ(logged(), before);
    EXPECT_TRUE(log.logfile_close());
}

TEST_F(Log, FileThatCannotBeOpenedChangesNothing) {
    Debug_Printf log;
    EXPECT_FALSE(log.logfile_open((directory_ + "/absent/log").c_str()));
    EXPECT_FALSE(log.logfile_open(nullptr));
    EXPECT_FALSE(log.isEnabled());
    EXPECT_EQ(log.getDebugState(), Debug_Printf::StandardOutput);

    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    EXPECT_FALSE(log.logfile_open(directory_.c_str()));
    EXPECT_EQ(log.getDebugState(), Debug_Printf::LogFile);
    log.print("still here\n");
    EXPECT_NE(logged().find("still here"), std::string::npos);
}

TEST_F(Log, FileIsNeitherReadableForOthersNorInherited) {
    Debug_Printf log;
    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07137, 0U) << std::oct << status.st_mode;
    int descriptorsOnTheLog = 0;
    for (int descriptor = 0; descriptor < 256; ++descriptor) {
        struct stat other {};
        if (fstat(descriptor, &other) != 0 || other.st_ino != status.st_ino || other.st_dev != status.st_dev)
            continue;
        ++descriptorsOnTheLog;
        EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(descriptorsOnTheLog, 1);
}

TEST_F(Log, FullFileStartsAgainFromNothing) {
    Debug_Printf log;
    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    log.print("first\n");
    const auto fill = [&](std::size_t upTo) {
        const std::string filler(
            upTo - std::filesystem::file_size(path_) - std::string("2000-01-01 00:00:00: ").size(), 'x');
        log.print("%s", filler.c_str());
        ASSERT_EQ(std::filesystem::file_size(path_), upTo);
    };
    fill(20480000);
    log.print("on the limit\n");
    EXPECT_GT(std::filesystem::file_size(path_), 20480000U);
    log.print("after it\n");
    EXPECT_EQ(logged().substr(21), "after it\n");

    fill(20480001);
    std::filesystem::rename(path_, path_ + ".old");
    log.print("new file\n");
    EXPECT_EQ(logged().substr(21), "new file\n");
    EXPECT_EQ(std::filesystem::file_size(path_ + ".old"), 20480001U);

    fill(20480001);
    std::filesystem::remove_all(directory_);
    log.print("nowhere to go\n");
    std::filesystem::create_directory(directory_);
    log.print("nor later\n");
    EXPECT_FALSE(std::filesystem::exists(path_));
    ASSERT_TRUE(log.logfile_open(path_.c_str()));
    log.print("opened again\n");
    EXPECT_EQ(logged().substr(21), "opened again\n");
}

TEST_F(Log, LeavesErrnoAlone) {
    Debug_Printf log;
    errno = ELOOP;
    EXPECT_FALSE(log.logfile_open((directory_ + "/absent/log").c_str()));
    EXPECT_EQ(errno, ELOOP);
    ASSERT_TRUE(log.logfile_open("/dev/full"));
    log.print("lost\n");
    log.logfile_close();
    EXPECT_EQ(errno, ELOOP);
}

TEST_F(Log, ArgumentsAreNotEvaluatedWhileItIsOff) {
    int evaluated = 0;
    DEBUG_LOG("%d\n", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    ASSERT_TRUE(gDebugPrintf.logfile_open(path_.c_str()));
    DEBUG_LOG("%d\n", ++evaluated);
    gDebugPrintf.logfile_close();
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(logged().substr(21), "1\n");
}

TEST_F(Log, LinesStayWholeWhileTheFileIsOpenedAndClosed) {
    Debug_Printf log;
    const std::string path = path_;
    ASSERT_TRUE(log.logfile_open(path.c_str()));
    std::vector<std::thread> threads;
    threads.reserve(5);
    for (int writer = 0; writer < 4; ++writer) {
        threads.emplace_back([&log, writer] {
            const std::string message(200, static_cast<char>('a' + writer));
            for (int line = 0; line < 500; ++line)
                log.print("%s\n", message.c_str());
        });
    }
    threads.emplace_back([&log, &path] {
        for (int round = 0; round < 50; ++round) {
            log.logfile_close();
            log.setEnabled(log.getDebugState() == Debug_Printf::Closed);
            log.logfile_open(path.c_str());
        }
    });
    for (auto& thread : threads)
        thread.join();
    log.print("end\n");
    std::ifstream file(path);
    const auto whole = MatchesRegex("....-..-.. ..:..:..: (a{200}|b{200}|c{200}|d{200}|end)");
    std::string line;
    int lines = 0;
    for (; std::getline(file, line); ++lines)
        ASSERT_THAT(line, whole);
    EXPECT_GE(lines, 1);
}

TEST_F(Log, WorksWhileStaticObjectsAreDestroyed) {
    const auto logThenExit = [&] {
        gLogsWhenDestroyed.active = true;
        gDebugPrintf.logfile_open(path_.c_str());
        std::exit(0);
    };
    EXPECT_EXIT(logThenExit(), testing::ExitedWithCode(0), "");
    ASSERT_GT(logged().size(), 21U);
    EXPECT_EQ(logged().substr(21), "last words\n");
}
