#include "actions/AgentActions_ScriptletExecutor.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <pwd.h>
#include <unistd.h>

namespace {

TEST(Scriptlet, WithoutItsDirectoryNothingRuns) {
    std::string place = (std::filesystem::temp_directory_path() / "scriptlet-XXXXXX").string();
    ASSERT_NE(mkdtemp(place.data()), nullptr);
    std::filesystem::create_directory(place + "/bin");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(place + "/bin");

    const std::string user = getpwuid(geteuid())->pw_name;
    AgentActions_ScriptletExecutor scriptlet("name", "12", 0, "touch ../ran");
    EXPECT_EQ(scriptlet.getExecResult().getCode(), EXEC_PENDING);
    scriptlet.exec(user.c_str(), "");
    EXPECT_EQ(scriptlet.getExecResult().getCode(), EXEC_ERROR);
    EXPECT_EQ(scriptlet.getExecResult().getErrorString(),
              "ScriptletExecutor.exec error creating temp file: System error 2 No such file or directory");
    EXPECT_FALSE(std::filesystem::exists("../ran"));

    std::filesystem::current_path(before);
    std::filesystem::remove_all(place);
}

} // namespace
