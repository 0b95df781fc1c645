#include "base/Failing_Memory.h"
#include "base/Temporary_Directory.h"
#include "host/Host_RecordedHost.h"
#include "model/Audit_Log.h"
#include "model/Audit_XML.h"
#include "model/Auditable_TryAudit.h"
#include "model/System_AuditFailures.h"
#include "storage/Storage_Container.h"

#include <gtest/gtest.h>

namespace {

/// A little of everything.
std::string machine() {
    return contentsOf(QDV_HOSTS "/kernel-2.6-few/index");
}

/// Without the line that begins so, or with another answer in it.
std::string machineWithout(const std::string& line, const std::string& answer) {
    std::string text = machine();
    const std::size_t start = text.find(line);
    EXPECT_NE(start, std::string::npos) << line;
    return text.replace(start, text.find('\n', start) - start, answer.empty() ? "" : line + answer);
}

/// The names of the drives, extents, pools, plexes and volumes that exist, and what failed.
std::string audited(const std::string& index) {
    Host_RecordedHost host(Host_ParseRecord(index));
    gStorageContainer = std::make_unique<Storage_Container>();
    System_AuditFailures failures;
    std::string names;
    for (const Storage_Level& level : Storage_Levels) {
        Storage_Collection* collection = gStorageContainer->allocate(level.type);
        collection->setHost(host);
        collection->registerAuditFailureHandler(&failures);
    }
    const auto note = [&](const std::string& form) {
        constexpr std::string_view mark = " name=\"";
        for (std::size_t at = 0; (at = form.find(mark, at)) != std::string::npos;) {
            at += mark.size();
            const std::string name = form.substr(at, form.find('"', at) - at);
            if (!name.starts_with("NULL"))
                names += name + ' ';
        }
    };
    for (const Storage_Level& level : Storage_Levels) {
        Storage_Collection* collection = gStorageContainer->get(level.type);
        EXPECT_TRUE(collection->prepareForAudit());
        EXPECT_TRUE(collection->audit()) << level.word;
        if (level.allocateMember != nullptr)
            note(formOf(*collection));
    }
    names += "! ";
    const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
    EXPECT_TRUE(failures.serialize(document.get(), Xerces_Root(*document), nullptr));
    note(Xerces_Serialize(*document));
    gStorageContainer.reset();
    return names;
}

TEST(FailingHost, CostsOnlyWhatDependsOnTheAnswer) {
    const std::string all = "/dev/sda /dev/sdb /dev/sdb1 /dev/sdb2 /dev/md0 vg0 vg1 /mnt ! ";
    EXPECT_EQ(audited(machine()), all);
    const auto without = [&](std::string names, std::initializer_list<const char*> missing) {
        for (const char* name : missing)
            names.erase(names.find(name), std::string(name).size() + 1);
        return names;
    };
    const std::string sda = without(all, {"/dev/sda"});
    const std::string drive = "Storage_PhysicalDriveLinux::audit: ";
    const std::string raid = "Storage_PhysicalDriveLinux::auditRaid: OS command failed: ";
    const std::string failed = "OS command failed: ";
    const struct {
        const char* line;
        const char* answer;
        std::string message;
        std::string names;
    } rows[] = {
        {"command \"uname -r\"", "", "Storage_CheckVersion: OS command failed: uname -r\n", all},
        {"folder /dev", "", "Storage_PhysicalDrivesLinux::audit: failed to open /dev\n",
         without(all, {"/dev/sda", "/dev/sdb"})},
        {"device /dev/sda scsi", "", "System_StorageSystemLinux::audit: ioctl SCSI_IOCTL_GETID_LUN error\n",
         without(all, {"/dev/sda", "/dev/sdb"})},
        {"device /dev/sda inquiry", "", "Storage_PhysicalDriveLinux::auditSCSI: failed INQUIRY",
         sda + "/dev/sda "},
        {"device /dev/sda bytes 544 32", " ! EIO", drive + "Unable to read header (UUID)\n",
         sda + "/dev/sda "},
        {"command \"cat /proc/scsi/scsi\"", "", "", without(all, {"/dev/sda", "/dev/sdb"})},
        {"command \"pvdisplay  /dev/sda\"", "", drive + failed + "pvdisplay  /dev/sda\n", sda + "/dev/sda "},
        {"command \"fdisk -l  /dev/sda\"", "", drive + failed + "fdisk -l  /dev/sda\n", sda + "/dev/sda "},
        {"command \"mdadm -Q  /dev/sda\"", "", raid + "mdadm -Q  /dev/sda\n", all},
        {"command \"mdadm --examine  /dev/sda\"", "", raid + "mdadm --examine  /dev/sda\n", all},
        {"command \"fdisk -l \"", "",
         "Storage_DriveExtentsLinux::auditDriveExtents: " + failed + "fdisk -l \n",
         without(all, {"/dev/sdb1", "/dev/sdb2"})},
        {"device /dev/sdb1 bytes 544 32", " ! EIO",
         "Storage_DriveExtentLinux::audit: Unable to read header (UUID)\n", without(all, {"/dev/sdb1"})},
        {"device /dev/sdb2 bytes 544 32", "",
         "Storage_DriveExtentLinux::audit: error opening device /dev/sdb2\n", without(all, {"/dev/sdb2"})},
        {"command \"pvdisplay  /dev/sdb1\"", "", drive + failed + "pvdisplay  /dev/sdb1\n",
         without(all, {"/dev/sdb1"})},
        {"command \"mdadm -Q  /dev/sdb2\"", "", raid + "mdadm -Q  /dev/sdb2\n", without(all, {"/dev/sdb2"})},
        {"command \"mdadm --examine  /dev/sdb2\"", "", raid + "mdadm --examine  /dev/sdb2\n",
         without(all, {"/dev/sdb2"})},
        {"command \"cat /proc/partitions\"", "",
         "Storage_ExtentPoolsLinux::auditExtentPools: " + failed + "cat /proc/partitions\n",
         without(all, {"/dev/md0"})},
        {"device /dev/md0 bytes 544 32", "",
         "Storage_ExtentPoolLinux::audit: error opening device /dev/md0\n", without(all, {"/dev/md0"})},
        {"device /dev/md0 bytes 544 32", " ! EIO",
         "Storage_ExtentPoolLinux::audit: Unable to read header (UUID)\n", without(all, {"/dev/md0"})},
        {"command \"mdadm -D   /dev/md0\"", "",
         "Storage_ExtentPoolLinux::audit: " + failed + "mdadm -D   /dev/md0\n", without(all, {"/dev/md0"})},
        {"command \"vgdisplay \"", "", "Storage_PlexesLinux::auditPlexes: " + failed + "vgdisplay \n",
         without(all, {"vg0", "vg1"})},
        {"command \"lvs --segments vg0\"", "",
         "Storage_PlexLinux::auditPlex: " + failed +
             "lvs --segments vg0\nStorage_PlexesLinux::auditPlexes: failed\n",
         without(all, {"vg0"})},
        {"file /etc/mtab", "", "Storage_StorageVolumesLinux::auditVolumes: failed to open /etc/mnttab\n",
         without(all, {"/mnt"})},
        {"filesystem /mnt", "", "Storage_StorageVolumeLinux::audit: failed statfs\n", without(all, {"/mnt"})},
        {"command \"lvdisplay \"", "",
         "Storage_StorageVolumeLinux::auditLVM: " + failed +
             "lvdisplay \nStorage_StorageVolumeLinux::auditLVM: failed\n",
         all},
        {"link /dev/vg0/lv", "",
         "Storage_StorageVolumeLinux::auditLVM: readlink failed for /dev/mapper/vg0-lv. Reason: No such file "
         "or "
         "directory\n",
         all},
    };
    for (const auto& [line, answer, message, names] : rows) {
        const Audit_Log log;
        EXPECT_EQ(audited(machineWithout(line, answer)), names) << line << answer;
        EXPECT_NE(log.messages().find(message), std::string::npos) << log.messages();
    }
}

TEST(FailingHost, AFailedAllocationCostsOneAuditAtMost) {
    Host_RecordedHost host(Host_ParseRecord(machine()));
    gStorageContainer = std::make_unique<Storage_Container>();
    std::string form;
    const auto audit = [&] { // all levels, as one request
        form.clear();
        System_AuditFailures failures;
        gStorageContainer->clear();
        for (const Storage_Level& level : Storage_Levels) {
            Storage_Collection* collection = gStorageContainer->allocate(level.type);
            if (collection == nullptr)
                return;
            collection->setHost(host);
            collection->registerAuditFailureHandler(&failures);
        }
        const Xerces_DocumentPtr document = Xerces_CreateDocument("Root");
        for (const Storage_Level& level : Storage_Levels)
            if (Storage_Collection& collection = *gStorageContainer->get(level.type);
                !collection.hasAudited())
                Auditable_TryAudit(collection);
        for (const Storage_Level& level : Storage_Levels)
            gStorageContainer->get(level.type)->serialize(document.get(), Xerces_Root(*document), nullptr);
        failures.serialize(document.get(), Xerces_Root(*document), nullptr);
        form = Xerces_Serialize(*document);
        for (const Storage_Level& level : Storage_Levels)
            gStorageContainer->get(level.type)->cleanupAfterAudit();
    };
    audit();
    const std::string whole = form;
    EXPECT_NE(whole.find("/dev/md0"), std::string::npos);
    const unsigned long last = Failing_Memory::failEach(audit, [&](unsigned long number, bool) {
        audit();
        EXPECT_EQ(form, whole) << number;
    });
    EXPECT_GT(last, Failing_Memory::many);
    gStorageContainer.reset();
}

} // namespace
