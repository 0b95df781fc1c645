#include "base/MD5.h"
#include "base/Temporary_Directory.h"
#include "exec/Private_Host.h"
#include "exec/ShellCommand_Execute.h"
#include "exec/ShellCommand_Quote.h"
#include "exec/Signal_Status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;

std::optional<std::string> outputOf(const std::string& command, const ShellCommand_Limits& limits = {}) {
    char* output = nullptr;
    unsigned length = 99;
    const bool success = ShellCommand_Execute(command.c_str(), limits, output, length);
    const std::unique_ptr<char[]> owned(output);
    EXPECT_EQ(success, output != nullptr);
    if (!success) {
        EXPECT_EQ(length, 0U);
        return std::nullopt;
    }
    EXPECT_EQ(output[length], '\0');
    return std::string(output, length);
}

/// Works in a directory of its own, in which no command may leave a file.
class ShellCommand : public testing::Test {
protected:
    void SetUp() override { std::filesystem::current_path(directory_.path()); }
    void TearDown() override {
        EXPECT_EQ(directory_.entries(), 0U);
        std::filesystem::current_path("/");
    }

    Temporary_Directory directory_;
};

TEST_F(ShellCommand, GivesWhatTheCommandWroteOnStandardOutput) {
    EXPECT_EQ(outputOf("true && :; echo two"), "two\n");
    EXPECT_EQ(outputOf("{ echo one; echo two; }"), "one\ntwo\n");
    EXPECT_EQ(outputOf("true"), "");
    EXPECT_EQ(outputOf("sh -c 'echo part; exit 3'"), "part\n");
    EXPECT_EQ(outputOf("no-such-tool 2>/dev/null"), "");
    EXPECT_EQ(outputOf("kill -9 $$; true"), std::nullopt) << "the shell never got to the redirection";
    EXPECT_EQ(outputOf("true # comment"), std::nullopt);
    EXPECT_EQ(outputOf("echo ( 2>/dev/null"), std::nullopt);
    EXPECT_EQ(outputOf("cat /proc/$$/fd/5 2>/dev/null"), "");
    EXPECT_EQ(outputOf("echo \"$0\""), "sh\n");
    char* output = nullptr;
    unsigned length = 1;
    EXPECT_FALSE(ShellCommand_Execute(nullptr, output, length));
    EXPECT_EQ(length, 0U);
}

TEST_F(ShellCommand, OutputOfEverySize) {
    for (const std::size_t size : {1U, 511U, 512U, 1023U, 1024U, 1025U, 4096U, 5'000'000U}) {
        const auto output = outputOf("head -c " + std::to_string(size) + " /dev/zero | tr '\\0' x");
        ASSERT_TRUE(output.has_value()) << size;
        EXPECT_EQ(*output, std::string(size, 'x'));
    }
}

TEST_F(ShellCommand, ZeroBytesEndAPieceOf1024) {
    EXPECT_EQ(outputOf("printf 'ab\\0cd'"), "ab");
    EXPECT_EQ(outputOf("printf '\\0'"), "");
    // "abc", a zero byte and filling up to 1024; then the next piece.
    EXPECT_EQ(outputOf("printf 'abc\\0%01020d%s' 0 rest"), "abcrest");
    EXPECT_EQ(outputOf("printf 'abc\\0%01021d%s' 0 rest"), "abc0rest");
}

TEST_F(ShellCommand, StartsWithNoSignalBlockedOrIgnored) {
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigfillset(&blocked);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto text = outputOf("grep -E '^Sig(Blk|Ign)' /proc/$$/status");
    const auto leader = outputOf("test $(ps -o pgid= -p $$) = $$ && echo yes");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
    ASSERT_TRUE(text.has_value());
    EXPECT_THAT(*text, testing::StartsWith("SigBlk:\t0000000000000000\n"));
    EXPECT_EQ(ignoredSignals(*text), 0U) << *text;
    EXPECT_EQ(leader, "yes\n");
}

TEST_F(ShellCommand, OnesThatRunAtTheSameTimeKeepApart) {
    std::array<std::thread, 6> threads;
    for (std::size_t thread = 0; thread < threads.size(); ++thread)
        threads[thread] = std::thread([thread] {
            for (int i = 0; i < 20; ++i) {
                const std::string word = std::to_string(thread) + "." + std::to_string(i);
                EXPECT_EQ(outputOf("echo " + word), word + "\n");
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(ShellCommand, TimeLimitEndsAllThatTheCommandStarted) {
    const Temporary_Directory elsewhere;
    const std::string mark = elsewhere / "mark";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(outputOf("(sleep 1; echo > " + mark + ") & sleep 60", {200ms, 1024}), std::nullopt);
    EXPECT_EQ(directory_.entries(), 0U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    std::this_thread::sleep_for(1500ms);
    EXPECT_EQ(elsewhere.entries(), 0U);
}

TEST_F(ShellCommand, BackgroundProcessThatKeepsTheFileOpenIsNotWaitedFor) {
    const Temporary_Directory elsewhere;
    const std::string fifo = elsewhere / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(outputOf("{ echo now; cat " + fifo + " & }", {20s, 1024}), "now\n");
    putContents(fifo, "late\n");
}

TEST_F(ShellCommand, OutputBeyondTheLimitIsRefused) {
    const ShellCommand_Limits limits = {60s, 2000};
    EXPECT_EQ(outputOf("head -c 2000 /dev/zero", limits), "");
    EXPECT_EQ(outputOf("head -c 2001 /dev/zero", limits), std::nullopt);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(outputOf("{ head -c 3000 /dev/zero; sleep 60; }", limits), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
}

TEST_F(ShellCommand, FullDiskOrDirectoryThatTakesNoFile) {
    if (!Private_Host::enter())
        GTEST_SKIP() << "needs root and the right to mount, for a small disk";
    const Temporary_Directory place;
    const std::string& disk = place.path();
    ASSERT_TRUE(Private_Host::mountMemory(disk, 64 << 10));
    std::filesystem::current_path(disk);
    EXPECT_EQ(outputOf("echo fits"), "fits\n");
    EXPECT_EQ(outputOf("head -c 1000000 /dev/zero | tr '\\0' x 2>/dev/null"), std::nullopt);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(disk), {}), 0);
    // Every byte is taken before the command begins.
    EXPECT_EQ(outputOf("head -c 1000000 /dev/zero 2>/dev/null > filling; echo nothing 2>/dev/null"),
              std::nullopt);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(disk), {}), 1);
    std::filesystem::remove(disk + "/filling");
    ASSERT_EQ(mount(nullptr, disk.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(outputOf("echo nothing"), std::nullopt);
    std::filesystem::current_path(directory_.path());
    EXPECT_EQ(umount2(disk.c_str(), MNT_DETACH), 0);
}

/// The names that the next attempts would take within some seconds from now.
std::vector<std::string> namesToCome(int attempts) {
    constexpr unsigned seed = 7;
    std::vector<std::string> names;
    const time_t now = time(nullptr);
    for (time_t second = now; second < now + 5; ++second) {
        srand(seed); // NOLINT(cert-msc32-c,cert-msc51-cpp): what comes next is to be known
        for (int attempt = 0; attempt < attempts; ++attempt) {
            const std::string text = std::to_string(second) + "-" + std::to_string(rand()); // NOLINT
            MD5 digest;
            digest.update(reinterpret_cast<const unsigned char*>(text.data()),
                          static_cast<unsigned>(text.size()));
            digest.finalize();
            const std::unique_ptr<char[]> digits(digest.hex_digest());
            names.push_back(std::string(digits.get()) +
                            ".tmp"); // NOLINT(performance-inefficient-vector-operation)
        }
    }
    srand(seed); // NOLINT(cert-msc32-c,cert-msc51-cpp)
    return names;
}

TEST_F(ShellCommand, NamesThatAreTakenAreLeftAlone) {
    for (const auto& [taken, expected] :
         {std::pair(9, std::optional<std::string>("x\n")), {10, std::nullopt}}) {
        const std::vector<std::string> names = namesToCome(taken);
        for (const std::string& name : names)
            putContents(name, "mine");
        EXPECT_EQ(outputOf("echo x"), expected) << taken;
        for (const std::string& name : names) {
            EXPECT_EQ(contentsOf(name), "mine");
            std::filesystem::remove(name);
        }
    }
}

TEST_F(ShellCommand, CommandThatRemovesItsFileOrIsTooLong) {
    EXPECT_EQ(outputOf("sh -c 'rm -f *.tmp; echo gone'"), std::nullopt);
    EXPECT_EQ(outputOf(": " + std::string(1'000'000, 'x')), std::nullopt);
}

TEST(ShellCommandQuote, LeavesOrdinaryWordsAndEnclosesTheRest) {
    for (const char* word : {"/dev/mapper/vg-lv", "a_B.9", "user@host:/x", "50%", "a=b", "-x", "1,2+3"})
        EXPECT_EQ(ShellCommand_Quote(word), word);
    EXPECT_EQ(ShellCommand_Quote(""), "''");
    EXPECT_EQ(ShellCommand_Quote("a b"), "'a b'");
    EXPECT_EQ(ShellCommand_Quote("it's"), "'it'\\''s'");
    EXPECT_EQ(ShellCommand_Quote("~"), "'~'");
    EXPECT_THROW(ShellCommand_Quote(std::string_view("a\0b", 3)), std::invalid_argument);
}

TEST_F(ShellCommand, QuotedWordsComeBackByteForByte) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    for (const std::string& word : {all, std::string("'"), std::string("''a'"),
                                    std::string("$(rm x)`ls`\\\n\"!*#"), std::string("x"), std::string()})
        EXPECT_EQ(outputOf("printf %s " + ShellCommand_Quote(word)), word);
}

} // namespace
