#include "storage/Storage_RaidReader.h"

#include "storage/Storage_Lines.h"

namespace {

/// "this     0       8        1        0      active sync   /dev/sda1"
bool isInactiveItself(const Storage_Lines& lines) {
    return lines.size() > 6 && lines.is(0, "this") && lines[5] != "active";
}

/// "     Raid Level : raid5"
bool isLevel(const Storage_Lines& lines) {
    return lines.is(0, "Raid", "Level");
}

} // namespace

Storage_Raidtab Storage_ReadRaidtab(std::string_view text) {
    Storage_Raidtab arrays;
    const auto current = [&]() -> Storage_RaidtabArray& {
        return arrays.empty() ? arrays.emplace_back() : arrays.back();
    };
    for (Storage_Lines lines(text); lines.next();) {
        if (lines.size() < 2)
            continue;
        if (lines.is(0, "raiddev"))
            arrays.push_back({std::string(lines[1]), std::nullopt, {}});
        else if (lines.is(0, "raid-level"))
            current().level = lines[1];
        else if (lines.is(0, "device"))
            current().members.emplace_back(lines[1]);
    }
    return arrays;
}

Storage_LsraidState Storage_ReadLsraid(std::string_view text) {
    Storage_LsraidState state;
    for (Storage_Lines lines(text); lines.next();)
        if (lines.size() > 5 && lines[3].starts_with("/dev/md") && lines.is(5, "offline"))
            state.isOffline = true;
    return state;
}

Storage_MdadmQuery Storage_ReadMdadmQuery(std::string_view text) {
    Storage_MdadmQuery query;
    for (Storage_Lines lines(text); lines.next();) {
        // "/dev/sda1: device 0 in 3 device active raid5 /dev/md0.  Use mdadm --examine for more detail."
        if (!query.isMember && lines.is(1, "device")) {
            query.isMember = true;
            if (lines.size() > 8)
                query.array = lines[8].substr(0, lines[8].size() - 1);
        }
        query.isInactive = query.isInactive || isInactiveItself(lines);
    }
    return query;
}

Storage_MdadmExamine Storage_ReadMdadmExamine(std::string_view text) {
    Storage_MdadmExamine examined;
    for (Storage_Lines lines(text); lines.next();) {
        if (isLevel(lines) && !examined.level)
            examined.level = lines[3];
        examined.isInactive = examined.isInactive || isInactiveItself(lines);
    }
    return examined;
}

Storage_MdadmDetail Storage_ReadMdadmDetail(std::string_view text, std::string_view array) {
    Storage_MdadmDetail detail;
    bool isOwn = false;
    for (Storage_Lines lines(text); lines.next();) {
        const bool isHead = lines.size() == 1 && lines[0].substr(0, lines[0].find(':')) == array;
        const bool isHeadOfDevices = lines.size() == 5 && lines.is(0, "Number");
        if (isHead || isHeadOfDevices) {
            isOwn = true;
        } else if (isOwn && isLevel(lines)) {
            detail.level = lines[3];
            isOwn = false;
        } else if (isOwn && lines.size() == 7) {
            detail.members.emplace_back(lines[6]);
        }
    }
    return detail;
}
