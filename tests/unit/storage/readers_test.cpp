#include "storage/Storage_FdiskReader.h"
#include "storage/Storage_JsonReader.h"
#include "storage/Storage_LVMReader.h"
#include "storage/Storage_Lines.h"
#include "storage/Storage_ProcReader.h"
#include "storage/Storage_RaidReader.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <utility>

namespace {

template <typename... Values>
std::string shown(const Values&... values) {
    std::ostringstream text;
    text << std::boolalpha;
    const char* between = "";
    ((text << std::exchange(between, " ") << values), ...);
    return text.str();
}

template <typename Value>
std::string orNothing(const std::optional<Value>& value) {
    return value ? shown(*value) : "-";
}

template <typename List, typename Show>
std::string each(const List& list, Show show) {
    std::string text;
    for (const auto& item : list)
        text += '[' + show(item) + ']';
    return text;
}

std::string fdiskDrive(std::string_view text, bool isKernel24) {
    const Storage_FdiskDrive drive = Storage_ReadFdiskDrive(text, "/dev/sda", isKernel24);
    return shown(orNothing(drive.totalBytes), drive.isWhole ? "whole" : "cut", drive.isDecided);
}
std::string fdiskDrive24(std::string_view text) {
    return fdiskDrive(text, true);
}
std::string fdiskDrive26(std::string_view text) {
    return fdiskDrive(text, false);
}
std::string fdisk(std::string_view text) {
    return each(Storage_ReadFdiskPartitions(text), [](const auto& row) {
        return shown(row.device, row.disk, row.offsetBytes, row.totalBytes) +
               (row.isExtended ? " extended" : "") + (row.isAllocated ? " allocated" : "");
    });
}
std::string pvdisplay(std::string_view text) {
    const Storage_PhysicalVolume volume = Storage_ReadPhysicalVolume(text);
    return shown(orNothing(volume.group), orNothing(volume.allocatedBytes));
}
std::string vgdisplay(std::string_view text) {
    return each(Storage_ReadVolumeGroups(text),
                [](const auto& group) { return shown(group.name, group.totalBytes); });
}
std::string lvs(std::string_view text) {
    return orNothing(Storage_ReadSegment(text, "vg0").type);
}
std::string json(std::string_view text) {
    return each(Storage_ReadJsonRows(text, "x"), [](const auto& row) {
        return each(row, [](const auto& field) { return field.first + '=' + field.second; });
    });
}
std::string vgForm(std::string_view text) {
    return shown(Storage_IsVolumeGroupForm(text));
}
std::string vgs(std::string_view text) {
    return each(Storage_ReadVolumeGroupReport(text),
                [](const auto& group) { return shown(group.name, group.totalBytes); });
}
std::string pvs(std::string_view text) {
    return each(Storage_ReadPhysicalVolumeReport(text), [](const auto& row) {
        return shown(row.first, orNothing(row.second.group), orNothing(row.second.allocatedBytes));
    });
}
std::string segments(std::string_view text) {
    return each(Storage_ReadSegmentReport(text),
                [](const auto& row) { return shown(row.first, orNothing(row.second.type)); });
}
std::string lvdisplay(std::string_view text) {
    return each(Storage_ReadLogicalVolumes(text),
                [](const auto& volume) { return shown(volume.path, orNothing(volume.group)); });
}
std::string raidtab(std::string_view text) {
    return each(Storage_ReadRaidtab(text), [](const auto& array) {
        std::string line = shown(array.device, orNothing(array.level));
        for (const std::string& member : array.members)
            line += ' ' + member;
        return line;
    });
}
std::string lsraid(std::string_view text) {
    return shown(Storage_ReadLsraid(text).isOffline);
}
std::string query(std::string_view text) {
    const Storage_MdadmQuery found = Storage_ReadMdadmQuery(text);
    return shown(found.isMember, found.isInactive, orNothing(found.array));
}
std::string examine(std::string_view text) {
    const Storage_MdadmExamine found = Storage_ReadMdadmExamine(text);
    return shown(found.isInactive, orNothing(found.level));
}
std::string detail(std::string_view text) {
    const Storage_MdadmDetail found = Storage_ReadMdadmDetail(text, "/dev/md0");
    return orNothing(found.level) + each(found.members, [](const auto& member) { return member; });
}
std::string scsi(std::string_view text) {
    return each(Storage_ReadScsiSections(text), [](const auto& section) {
        return shown(section.host, section.id, section.lun, section.type);
    });
}
std::string media(std::string_view text) {
    return Storage_ReadIdeMedia(text);
}
std::string partitions(std::string_view text) {
    return each(Storage_ReadKernelPartitions(text),
                [](const auto& device) { return shown(device.name, device.totalBytes); });
}
std::string swaps(std::string_view text) {
    return each(Storage_ReadSwaps(text), [](const std::string& place) { return place; });
}
std::string mounts(std::string_view text) {
    return each(Storage_ReadMounts(std::string(text)), [](const auto& mount) {
        return shown(mount.device, mount.mountPoint, mount.type) + (mount.isIgnored ? " ignored" : "");
    });
}

TEST(Readers, TakeWhatTheToolsSay) {
    const std::string head = "   Device Boot    Start       End    Blocks   Id  System\n";
    const std::string units = "Units = cylinders of 16065 * 512 = 8225280 bytes\n";
    const std::string disk26 = "\nDisk /dev/sda: 36.4 GB, 36420075520 bytes\n";
    const std::string disk24 = "Disk /dev/sda: 255 heads, 63 sectors, 100 cylinders\n";
    const std::string sections = "Attached devices:\nHost: scsi1 Channel: 00 Id: 05 Lun: 02\n"
                                 "  Vendor: HP       Model: Host: 1   Rev: 1.0\n  Type:   ";
    const struct {
        std::string (*read)(std::string_view);
        std::string text;
        const char* expected;
    } rows[] = {
        {fdiskDrive26, disk26 + units + head + "/dev/sda1 1 2 3 83 Linux\n", "36420075520 cut true"},
        {fdiskDrive26, disk26 + head + "/dev/sda 1 2 3 83 Linux\n", "36420075520 whole true"},
        {fdiskDrive26, disk26 + head, "36420075520 whole false"},
        {fdiskDrive26, "Note\n" + disk26, "- whole false"}, // the size stands in the first line only
        {fdiskDrive26, disk24 + units, "- whole false"},
        {fdiskDrive24, disk24 + units + head + "/dev/sda1 1 2 3 83 Linux\n", "822528000 cut true"},
        {fdiskDrive24, disk26 + units, "36420075520 whole false"},
        {fdiskDrive24, "", "- whole false"},
        {fdisk,
         disk26 + units + head + "/dev/sda1 * 1 13 104391 83 Linux\n/dev/sda2 14 1044 8281507+ 8e LVM\n",
         "[/dev/sda1 /dev/sda 8225280 106896384 allocated][/dev/sda2 /dev/sda 115153920 8480263168 "
         "allocated]"},
        {fdisk, disk26 + "Disk identifier: 0x000a0b0c\n" + head + "/dev/sda1 2 3 4 83 Linux\n",
         "[/dev/sda1 /dev/sda 2048 4096]"},
        {fdisk, disk26 + head + "/dev/sda1 2 3 4 5 Ext\n/dev/sda2 * 2 3 4 5 Ext\n/dev/sda5 2 3 4 82 Swap\n",
         "[/dev/sda1 /dev/sda 2048 4096 extended][/dev/sda2 /dev/sda 2048 4096 extended allocated]"
         "[/dev/sda5 /dev/sda 2048 4096 allocated]"},
        {fdisk,
         head + "no partition in this line at all\n/dev/sda1 2 3\n/dev/a 1 1 1 83 x\n" + units +
             "/dev/b 1 1 1 83 x\n" + head + disk26 + "/dev/c 1 1 1 83 x\n",
         "[/dev/a  1024 1024]"},
        {pvdisplay, "VG Name vg0\nPE Size (KByte) 4096\nAllocated PE 3\n", "vg0 12582912"},
        {pvdisplay, "PE Size (MByte) 2\nAllocated PE 3\n", "- 6291456"},
        {pvdisplay, "PE Size (GByte) 1\nAllocated PE 3\nVG Name               (new one)\n", "- 3221225472"},
        {pvdisplay, "PE Size (TByte) 2\nAllocated PE 3\nAllocated PE\nVG Name \n", "- 6144"},
        {pvdisplay, "Allocated PE 3\nVG Name a\nVG Name b\n", "a 3072"},
        {vgdisplay, "VG Name a\nTotal PE 2\nVG Name b\nPE Size 32.00 MB\nTotal PE 100\nVG Name c\n",
         "[a 8388608][b 3355443200][c 0]"},
        {vgdisplay, "Total PE 2\nVG Name a\nPE Size 4 KB\nTotal PE 1\nVG Name b\nPE Size 4 xB\nTotal PE 1\n",
         "[a 4096][b 4194304]"},
        {lvs,
         "LV VG Attr #Str Type SSize\nx vg1 -wi 1 linear 1G\ny vg0 -wi 2 striped 1G\nz vg0 -wi 1 linear 1G\n",
         "striped"},
        {lvs, "y vg0 -wi 2 striped\ny vg0 -wi 2 striped 1 G\n", "-"},
        {vgForm, "VG Name a\nPE Size 4.00 MB\n", "true"},
        {vgForm, "VG Name a\nPE Size 4.00 MiB\nPE Size 4.00 MB\n", "false"},
        {vgForm, "VG Name a\n", "true"},
        {vgForm, "  No volume groups found\n", "false"},
        {vgs, R"({"report":[{"vg":[{"vg_name":"a","vg_size":"5368709120B"},{"vg_name":"b"}]}]})",
         "[a 5368709120][b 0]"},
        {pvs,
         R"({"report":[{"pv":[{"pv_name":"/dev/sda1","vg_name":"a","pv_size":"9B","pv_free":"2B"},)"
         R"({"pv_name":"/dev/sdb","vg_name":"","pv_size":"9B","pv_free":"9B"}]}]})",
         "[/dev/sda1 a 7][/dev/sdb - 0]"},
        {segments,
         R"({"report":[{"seg":[{"vg_name":"a","segtype":"raid5_ls"},{"vg_name":"a","segtype":"linear"}]}]})",
         "[a raid5_ls]"},
        {segments, "  Volume group \"a\" not found\n", ""},
        {json, R"( {"x":[{"a":1.5e3,"b":true,"c":null,"d":[1],"x":[{"e":"in\"ner"}]},2,[{"f":1}]]} )",
         "[[a=1.5e3][b=true]][[e=in\"ner]]"},
        {json, R"([{"x":[{"a":"\u00e9\u20ac\ud83d\ude00\t"}]}])", "[[a=\u00e9\u20ac\U0001F600\t]]"},
        {json, R"({"x":[{"a":"\ud83d"}]})", ""},
        {json, R"({"x":[{"a":"b\x20c\\x20d"}]})", R"([[a=b\x20c\x20d]])"},
        {json, R"({"x":[{"a":1},{"a":2})", ""},
        {json, "{\"x\":" + std::string(100, '[') + std::string(100, ']') + '}', ""},
        {json, R"({"x":[{"a":"b)", ""},
        {lvdisplay, "LV Name /dev/a/b\nVG Name a\nVG Name x\nLV Name /dev/c/d\nLV Size 1\nVG Name\n",
         "[/dev/a/b a][/dev/c/d -]"},
        {raidtab,
         "# comment\nraiddev /dev/md0\n raid-level 5\n\tdevice\t/dev/sda1\n raid-disk 0\n device /dev/sdb1\n"
         "raiddev /dev/md1\n raid-level linear\n device\n",
         "[/dev/md0 5 /dev/sda1 /dev/sdb1][/dev/md1 linear]"},
        {raidtab, "device /dev/sda\nraiddev /dev/md0\n", "[ - /dev/sda][/dev/md0 -]"},
        {lsraid, "[dev 9, 0] /dev/md0 0 online\n[dev 8, 1] /dev/sda1 0 offline\n", "false"},
        {lsraid, "[dev 9, 0] /dev/md0 0 online\n[dev 9, 1] /dev/md1 0 offline\n", "true"},
        {query,
         "/dev/sda1: is not an md array\n/dev/sda1: device 0 in 3 device active raid5 /dev/md0.  Use mdadm "
         "--examine for more detail.\n",
         "true false /dev/md0"},
        {query, "/dev/sda1: is not an md array\n", "false false -"},
        {query, "/dev/sda1: device 0\nthis 0 8 1 0 faulty /dev/sda1\n", "true true -"},
        {examine,
         "     Raid Level : raid5\nthis     0       8        1        0      active sync   /dev/sda1\n",
         "false raid5"},
        {examine, "this     0       8        1        0      spare   /dev/sda1\n", "true -"},
        {examine, "   0     0       8        1        0      faulty removed x\nRaid Level\n", "false "},
        {detail,
         "/dev/md0:\n Raid Level : raid1\n a row of seven words before it\n Number Major Minor RaidDevice "
         "State\n"
         " 0 8 1 0 active sync /dev/sda1\n 1 0 0 - removed\n 2 8 33 - faulty /dev/sdc1\n"
         " 3 8 49 1 spare rebuilding /dev/sdd1\n",
         "raid1[/dev/sda1][/dev/sdd1]"},
        {detail, "/dev/md1:\n Raid Level : raid1\n", "-"},
        {scsi, sections + "Direct-Access        ANSI SCSI revision: 03\n" + sections + "CD-ROM\n",
         "[1 5 2 Direct-Access][1 5 2 CD-ROM]"},
        {scsi, sections.substr(0, sections.size() - 10), ""},
        {scsi, "Host: scsi0 Id: 0 Lun: 0\nVendor: V Model: Type: A-Model\nType: Direct-Access\n",
         "[0 0 0 Direct-Access]"},
        {scsi, "Host: x Id: y Lun: z\nVendor: Model: \nType: ", "[0 0 0 ]"},
        {media, "disk\r\nmore", "disk"},
        {partitions, "major minor  #blocks  name\n\n   9  0  1048576 md0\n 8 0 1\n 8 1 2 sda1 more words\n",
         "[md0 1073741824][sda1 2048]"},
        {swaps, "Filename\t\tType\tSize\n/a\\040b\tfile\t1\n/dev/sda2  partition 2\n", "[/a b][/dev/sda2]"},
        {mounts,
         "# comment\n/dev/a /mnt\\040a\\011b\\134 ext3 rw,noignore 0 0\n\nb /b nfs ro,ignore 0 0\nc\n",
         "[/dev/a /mnt a\tb\\ ext3][b /b nfs ignored][c  ]"},
    };
    for (const auto& [read, text, expected] : rows)
        EXPECT_EQ(read(text), expected) << text;
}

TEST(Readers, TakeNumbersAsTheLibraryDoes) {
    EXPECT_EQ(Storage_Number("104391+"), 104391u);
    EXPECT_EQ(Storage_Number("4.00"), 4u);
    EXPECT_EQ(Storage_Number("x1"), 0u);
    EXPECT_EQ(Storage_Number("99999999999999999999"), std::numeric_limits<std::uint64_t>::max());
}

} // namespace
