#include "../base/Temporary_Directory.h"
#include "files/System_FileSystemObjectLinux.h"
#include "xml/Xerces_Document.h"
#include "xml/Xerces_Serializer.h"

#include <gtest/gtest.h>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>

#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string byDocument(System_FileSystemObject& object) {
    const Xerces_DocumentPtr document = Xerces_CreateDocument("IGNORE");
    EXPECT_TRUE(object.serialize(document.get(), Xerces_Root(*document), nullptr));
    return Xerces_SerializeNode(*Xerces_ChildElements(*Xerces_Root(*document)).front());
}

/// What stands in the XML form, without the dates of the file.
std::string audited(const std::string& path) {
    System_FileSystemObjectLinux object;
    object.setPath(path.c_str());
    object.setRecursionLevel(System_FileSystemObject::NoWalk);
    const bool succeeded = object.audit();
    return std::string(succeeded ? "" : "failed ") + object.getName() + ' ' + object.getExtension() + ' ' +
           std::to_string(object.getExists()) + ' ' + std::to_string(object.getSize());
}

TEST(FileObject, IsWhatTheSystemSaysOfAPath) {
    const Temporary_Directory folder;
    putContents(folder / "archive.tar.gz", "12345");
    putContents(folder / ".profile", "");
    putContents(folder / "trailing.", "");
    ASSERT_EQ(symlink("archive.tar.gz", (folder / "link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", (folder / "dangling").c_str()), 0);
    ASSERT_EQ(mkfifo((folder / "pipe.x").c_str(), 0600), 0);
    EXPECT_EQ(audited(folder / "archive.tar.gz"), "archive.tar.gz gz 1 5");
    EXPECT_EQ(audited(folder / ".profile"), ".profile  1 0");
    EXPECT_EQ(audited(folder / "trailing."), "trailing.  1 0");
    EXPECT_EQ(audited(folder / "link"), "link  1 14");
    EXPECT_EQ(audited(folder / "dangling"), "failed dangling  0 7")
        << "its target is asked for the file system";
    EXPECT_EQ(audited(folder / "pipe.x"), "pipe.x x 1 0");
    EXPECT_EQ(audited(folder / "none"), "failed   0 0");
    EXPECT_EQ(audited(folder / "link/below"), "failed   0 0");
    EXPECT_EQ(audited(""), "failed   999 0");
    EXPECT_EQ(audited("/").substr(0, 4), "  1 ");
    EXPECT_EQ(audited("/tmp//").substr(0, 7), "tmp  1 ");
}

TEST(FileObject, WritesTheTextThatItsDocumentWouldBe) {
    std::mt19937 random(20240611); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same objects every time
    const std::string hostile =
        "\x01\t\n\r&<>\"'\x7f\x80\xc3\xa9\xee\xbc\x80\xef\xbf\xbe\xf0\x9f\x98\x80\xff/.a ";
    const auto text = [&] {
        std::string made;
        for (unsigned length = random() % 12; made.size() < length;)
            made += hostile[random() % hostile.size()];
        return made;
    };
    const auto number = [&]() -> std::uint64_t {
        return random() % 3 == 0 ? 0 : std::uint64_t{random()} << (random() % 32);
    };
    for (int round = 0; round < 2000; ++round) {
        System_FileSystemObjectLinux object;
        // Written values go in as a request would bring them: each attribute, some of them out of range.
        const Xerces_DocumentPtr form = Xerces_CreateDocument("FSO");
        for (const System_FSOAttribute& row : System_FileSystemObject::attributes()) {
            const bool isNumber = row.type != nullptr && std::string_view(row.type) == "uinteger";
            const bool isDate = row.type != nullptr && std::string_view(row.type) == "date";
            Xerces_SetAttribute(*Xerces_Root(*form), row.name,
                                isNumber ? std::to_string(number())
                                : isDate ? (random() % 2 == 0 ? "2026-02-29 12:34:56" : "")
                                         : text());
        }
        ASSERT_TRUE(object.parse(Xerces_Root(*form)));
        object.setIsDirectory(random() % 2 == 0);
        object.setExists(static_cast<System_FileSystemObject::Existence>(random() % 3));
        std::string written;
        object.appendText(written);
        ASSERT_EQ(written, byDocument(object));
        // And it comes back, names of every byte included.
        const Xerces_DocumentPtr read = Xerces_Parse(written, "test");
        System_FileSystemObjectLinux again;
        ASSERT_TRUE(read && again.parse(Xerces_Root(*read))) << written;
        EXPECT_EQ(std::string(again.getPath()), object.getPath());
        EXPECT_EQ(byDocument(again), written);
    }
    System_FileSystemObjectLinux fresh;
    EXPECT_EQ(byDocument(fresh), R"(<FSO exists="unknown"/>)");
}

TEST(FileObject, CountsItsMembersAndKeepsTheDirectOnes) {
    const std::unique_ptr<System_Date> day = System_FactoryAllocateDate();
    const std::unique_ptr<System_Date> end = System_FactoryAllocateDate();
    ASSERT_TRUE(end->setToCurrentTime());
    *day = *end;
    ASSERT_TRUE(day->subtractHours(24));
    System_FileSystemObjectLinux folder;
    folder.setPath("/a/b");
    const auto offer = [&](const char* path, bool isDirectory, bool isLink, bool isRecent) {
        System_FileSystemObjectLinux member;
        member.setPath(path);
        member.setIsDirectory(isDirectory);
        member.setIsSoftLink(isLink);
        member.setAttributeFlag(System_FileSystemObject::Archived);
        member.setSize(10);
        member.setSizeRecursive(7);
        if (isRecent) {
            member.setModifyDT(end.get());
            member.setAccessDT(day.get());
        }
        return folder.evaluateFile(&member, day.get(), end.get());
    };
    EXPECT_TRUE(offer("/a/b/file", false, false, true));
    EXPECT_TRUE(offer("/a/b/link", false, true, true));
    EXPECT_TRUE(offer("/a/b/dir", true, false, false));
    EXPECT_TRUE(offer("/a/b/dir/deep", false, true, true));
    EXPECT_FALSE(offer("/a/c", false, false, true)) << "counted, but no member";
    EXPECT_EQ(
        byDocument(folder),
        R"(<FSO exists="unknown" numDirs="1" numDirsArchived="1" numDirsArchivedRecursive="1" numDirsRecursive="1" )"
        R"(numFiles="2" numFilesAccessed="2" numFilesAccessedRecursive="2" numFilesArchived="2" )"
        R"(numFilesArchivedRecursive="4" numFilesModified="2" numFilesModifiedRecursive="4" numFilesRecursive="4" )"
        R"(path="/a/b" sizeRecursive="50"/>)");
    ASSERT_EQ(folder.getChildren()->size(), 3U);
    EXPECT_EQ(folder.getChildren()->front()->getSizeRecursive(), 0U);
    folder.setChildAuditLimit(3);
    bool succeeds = false;
    EXPECT_TRUE(folder.terminateIteration(succeeds) && succeeds);
    EXPECT_FALSE(folder.evaluateFile(nullptr, day.get(), end.get()));

    System_FileSystemObjectLinux other;
    other.setName("B");
    folder.setName("a");
    EXPECT_TRUE(System_FileSystemObjectCompare()(&folder, &other));
    other.setIsDirectory(true);
    EXPECT_FALSE(System_FileSystemObjectCompare()(&folder, &other) ||
                 System_FileSystemObjectCompare()(nullptr, &other));
}

} // namespace
