#include "exec/Child_Testing.h"
#include "exec/Private_Host.h"
#include "exec/ShellCommand_Execute.h"
#include "exec/ShellCommand_Quote.h"

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <sys/mount.h>
#include <thread>
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
    EXPECT_EQ(outputOf("sh -c 'rm -f *.tmp; echo gone'"), std::nullopt);
    EXPECT_EQ(outputOf(": " + std::string(1'000'000, 'x')), std::nullopt) << "too long for a command line";
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
    const Disturbed_Signals disturbed;
    Disturbed_Signals::expectNone(outputOf(Disturbed_Signals::show).value_or("none"));
    EXPECT_EQ(outputOf("test $(ps -o sid= -p $$) = $$ && echo yes"), "yes\n");
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

TEST_F(ShellCommand, LimitsEndAllThatTheCommandStarted) {
    const struct {
        ShellCommand_Limits limits;
        const char* command;
    } cases[] = {{{200ms, 1024}, "sleep 600 & sleep 600"},
                 {{1h, 2000}, "sleep 600 & { head -c 3000 /dev/zero; sleep 600; }"}};
    for (const auto& each : cases) {
        Group_Watch watch;
        EXPECT_EQ(outputOf(watch.begin() + each.command, each.limits), std::nullopt);
        watch.waitUntilAllAreGone();
    }
    EXPECT_EQ(outputOf("head -c 2000 /dev/zero", {1h, 2000}), "");
    EXPECT_EQ(outputOf("head -c 2001 /dev/zero", {1h, 2000}), std::nullopt);
}

TEST_F(ShellCommand, BackgroundProcessThatKeepsTheFileOpenIsNotWaitedFor) {
    const std::string background = outputOf("{ sleep 600 & echo $!; }", {1h, 1024}).value_or("");
    EXPECT_EQ(kill(std::stoi("0" + background), SIGKILL), 0);
}

TEST_F(ShellCommand, FullDisk) {
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
    std::filesystem::current_path(directory_.path());
    EXPECT_EQ(umount2(disk.c_str(), MNT_DETACH), 0);
}

TEST_F(ShellCommand, QuotesWhatIsNoOrdinaryWordAndItComesBackByteForByte) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(ShellCommand_Quote("it's"), "'it'\\''s'");
    EXPECT_THROW(ShellCommand_Quote(std::string_view("a\0b", 3)), std::invalid_argument);
    for (const char* word : {"/dev/mapper/vg-lv", "a_B.9", "user@host:/x", "50%", "a=b", "-x", "1,2+3"})
        EXPECT_EQ(ShellCommand_Quote(word), word);
    for (const std::string& word : {all, std::string("''a'"), std::string()})
        EXPECT_EQ(outputOf("printf %s " + ShellCommand_Quote(word)), word);
}

} // namespace
