#include "host/Host_RecordedHost.h"
#include "host/Host_RecordingHost.h"
#include "qdvctl/Ctl_HostCapture.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

/// A capture of a captured host is that host again: nothing of it is left out, and nothing more is asked.
TEST(HostCapture, AsksForAllThatARecordHolds) {
    const std::string folder = QDV_HOSTS "/debian12-lvm";
    const Host_Record original = Host_ReadRecord(folder);
    Host_RecordedHost host(original);
    Host_RecordingHost recording(host);
    Ctl_AskAll(recording);
    EXPECT_EQ(recording.record().answers, original.answers);
    EXPECT_EQ(host.unanswered(), std::vector<Host_Words>());
}

} // namespace
