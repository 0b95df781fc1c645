#include "base/Temporary_Directory.h"
#include "date/System_Date.h"
#include "search/FileSearch_ExpireFile.h"
#include "search/FileSearch_OffsetFile.h"
#include "search/FileSearch_RecordFile.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

std::string hit(unsigned number) {
    return "<FSO name=\"" + std::string(number % 700, 'x') + "RECORD" + std::to_string(number) + "\"/>";
}

bool openForWriting(FileSearch_RecordFile& file, const Temporary_Directory& folder) {
    return file.setPath("T", "/data", folder.path().c_str()) && file.openFile() && file.createNewFile() &&
           file.beginWriting();
}

bool write(FileSearch_RecordFile& file, const std::string& data, std::uint32_t& offset) {
    FileSearch_Record record;
    record.setData(data);
    return file.writeRecord(record, offset);
}

/// What the files of the volume hold, as a page would read it; "damaged" for a record that cannot be read.
std::vector<std::string> readBack(const Temporary_Directory& folder) {
    FileSearch_OffsetFile offsets;
    std::vector<std::uint32_t> places;
    EXPECT_TRUE(offsets.setPath("T", "/data", folder.path().c_str()) && offsets.openFile() &&
                offsets.readOffsets(&places));
    FileSearch_RecordFile file;
    EXPECT_TRUE(file.setPath("T", "/data", folder.path().c_str()) && file.openFile() &&
                file.beginReadingRandomAccess());
    std::vector<std::string> found;
    for (const std::uint32_t place : places) {
        FileSearch_Record record;
        found.push_back(file.readRecordRandom(record, place) ? record.data() : "damaged");
    }
    return found;
}

bool writeOffsets(const Temporary_Directory& folder, const std::vector<std::uint32_t>& places) {
    FileSearch_OffsetFile offsets;
    return offsets.setPath("T", "/data", folder.path().c_str()) && offsets.openFile() &&
           offsets.writeOffsets(&places) && offsets.closeFile();
}

TEST(ResultFiles, HaveTheirNamesAndLayout) {
    const Temporary_Directory folder;
    FileSearch_RecordFile file;
    std::uint32_t offset = 0;
    ASSERT_TRUE(openForWriting(file, folder) && write(file, "aRECORDb", offset) && file.endWriting());
    EXPECT_EQ(file.getPath(), folder / "T.L2RhdGE=.dat");
    EXPECT_EQ(offset, 1024U);
    const std::string bytes = contentsOf(file.getPath());
    EXPECT_EQ(bytes.substr(0, 34), "NORVALITH_FILE_SEARCH_RECORDS_FILE");
    EXPECT_EQ(bytes.substr(64, 4), std::string("\0\0\x10\0", 4));
    EXPECT_EQ(bytes.substr(1024), std::string("RECORD\x0e\0\0\0", 10) + "aRECORDRECORDb");
    EXPECT_FALSE(file.openFile() || file.endWriting());
    ASSERT_TRUE(file.setPath("T", "\xff\xff\xff", ""));
    EXPECT_EQ(file.getPath(), "T.----.dat");
    EXPECT_FALSE(file.setPath(nullptr, "/", ""));

    FileSearch_ExpireFile expiry;
    ASSERT_TRUE(expiry.setPath("T", folder.path().c_str()) && expiry.openFile() && expiry.createNewFile());
    EXPECT_EQ(contentsOf(folder / "T._expire_.dat").size(), 1043U);
    const auto now = System_FactoryAllocateDate();
    std::string stored = contentsOf(folder / "T._expire_.dat").substr(1024);
    ASSERT_TRUE(now->parse(&stored));
    bool expired = true;
    EXPECT_TRUE(expiry.isExpired(now.get(), expired) && !expired) << "not before the limit";
    ASSERT_TRUE(now->addHours(1));
    EXPECT_TRUE(expiry.isExpired(now.get(), expired) && expired);
    EXPECT_TRUE(expiry.refreshFile());
    putContents(folder / "T._expire_.dat", "short");
    EXPECT_FALSE(expiry.isExpired(now.get(), expired));
    EXPECT_FALSE(expired);
}

TEST(ResultFiles, GiveBackWhatWasStored) {
    const Temporary_Directory folder;
    std::vector<std::string> data = {
        "",      "RECORD",  "RECORDRECORD",         "RECORDRECORDRECORD",     "xRECORDx",
        "RECOR", "DRECORD", std::string("a\0b", 3), std::string(300'000, 'R')};
    std::vector<std::uint32_t> places;
    FileSearch_RecordFile file;
    ASSERT_TRUE(openForWriting(file, folder));
    for (const std::string& each : data)
        ASSERT_TRUE(write(file, each, places.emplace_back()));
    ASSERT_TRUE(file.endWriting() && writeOffsets(folder, places));
    EXPECT_EQ(readBack(folder), data);
    std::uint32_t offset = 0;
    FileSearch_Record record;
    ASSERT_TRUE(file.beginReadingSerialAccess() && file.seekToStartOfRecords(offset));
    for (std::size_t at = 0; at < data.size(); ++at) {
        ASSERT_FALSE(file.isEndOfFile());
        EXPECT_TRUE(file.readRecordSerial(record, offset) && record.data() == data[at] &&
                    offset == places[at]);
    }
    EXPECT_TRUE(file.isEndOfFile());
}

TEST(ResultFiles, ADamagedRecordFailsAlone) {
    const Temporary_Directory folder;
    std::vector<std::uint32_t> places;
    FileSearch_RecordFile file;
    ASSERT_TRUE(openForWriting(file, folder));
    for (const char* each : {"one", "two", "three"})
        ASSERT_TRUE(write(file, each, places.emplace_back()));
    ASSERT_TRUE(file.endWriting() && file.closeFile() && writeOffsets(folder, places));
    const std::string good = contentsOf(file.getPath());
    for (std::size_t at = places[1]; at < places[2]; ++at)
        for (const char byte : {'\xff', '\0'}) {
            std::string bad = good;
            bad[at] = byte;
            putContents(file.getPath(), bad);
            const std::vector<std::string> found = readBack(folder);
            EXPECT_EQ(found[0] + found[2], "onethree") << at;
            // A byte of the data is nobody's to judge.
            const bool isNoticed = at < places[1] + 6 || (at < places[1] + 10 && byte == '\xff');
            EXPECT_EQ(found[1] == "damaged", isNoticed) << at;
        }
    for (std::size_t length = places[1]; length < good.size(); ++length) {
        putContents(file.getPath(), good.substr(0, length));
        EXPECT_EQ(readBack(folder)[0], "one");
        EXPECT_EQ(readBack(folder)[2], "damaged");
    }
    ASSERT_TRUE(writeOffsets(folder, {0, 1025, places[0], 0xFFFFFFFF}));
    EXPECT_EQ(readBack(folder), (std::vector<std::string>{"damaged", "damaged", "one", "damaged"}));
    putContents(folder / "T.L2RhdGE=.offset.dat", std::string("\0\x04\0\0\x0d", 5));
    EXPECT_EQ(readBack(folder), std::vector<std::string>{"one"});
}

TEST(ResultFiles, EndAtFourGiB) {
    const Temporary_Directory folder;
    FileSearch_RecordFile file;
    ASSERT_TRUE(openForWriting(file, folder) && file.endWriting());
    constexpr std::uint64_t largest = 0xFFFFFFFF;
    std::uint32_t offset = 0;
    for (const std::uint64_t size : {largest + 1, largest + 4096, largest - 10}) {
        std::filesystem::resize_file(file.getPath(), size);
        ASSERT_TRUE(file.beginWriting());
        EXPECT_FALSE(write(file, "x", offset)) << size;
        EXPECT_EQ(write(file, "", offset), size < largest);
        EXPECT_TRUE(file.endWriting());
    }
    ASSERT_TRUE(writeOffsets(folder, {offset}));
    EXPECT_EQ(offset, largest - 10);
    EXPECT_EQ(readBack(folder), std::vector<std::string>{""});
}

TEST(ResultFiles, KeepWhatWasWrittenWhenTheDiskIsFull) {
    const Temporary_Directory folder;
    FileSearch_RecordFile file;
    ASSERT_TRUE(openForWriting(file, folder));
    // A limit for files stands in for a full disk.
    struct sigaction ignored {};
    struct sigaction before {};
    ignored.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignored, &before);
    struct rlimit usual {};
    getrlimit(RLIMIT_FSIZE, &usual);
    struct rlimit small = usual;
    small.rlim_cur = 600'000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    std::vector<std::uint32_t> places;
    std::vector<std::string> data;
    bool hasFailed = false;
    for (unsigned number = 0; number < 3000; ++number) {
        data.push_back(hit(number));
        if (write(file, data.back(), places.emplace_back()))
            continue;
        hasFailed = true;
        while (!places.empty() && places.back() >= file.getEndOffset()) {
            places.pop_back();
            data.pop_back();
        }
    }
    setrlimit(RLIMIT_FSIZE, &usual);
    sigaction(SIGXFSZ, &before, nullptr);
    EXPECT_TRUE(hasFailed);
    EXPECT_EQ(std::filesystem::file_size(file.getPath()), file.getEndOffset());
    EXPECT_GT(places.size(), 500U);
    data.push_back("there is room again");
    EXPECT_TRUE(write(file, data.back(), places.emplace_back()) && file.endWriting());
    ASSERT_TRUE(writeOffsets(folder, places));
    EXPECT_EQ(readBack(folder), data);
}

} // namespace
