#pragma once

#include "xml/XMLSerializable_Attributes.h"

#include <array>
#include <span>
#include <string>
#include <string_view>

/// The enumerations of the storage model and the texts that stand for them in XML. A value is the index of
/// its row; a table is the only XML form of its enumeration, so neither rows nor their order may change.

/// The rows of System_Object::StorageType.
inline constexpr std::array<const char*, 17> Storage_Type_Strings = {"StorageVolume", "StorageVolumes",
                                                                     "Plex",          "Plexes",
                                                                     "ExtentPool",    "ExtentPools",
                                                                     "DriveExtent",   "DriveExtents",
                                                                     "PhysicalDrive", "PhysicalDrives",
                                                                     "HostSystem",    "OS",
                                                                     "Machine",       "FSO",
                                                                     "Share",         "StorageAssociations",
                                                                     "LVMGroup"};

/// How an object is built from those below it.
enum Storage_Composition : int {
    Composition_Simple,
    Composition_RAID0,
    Composition_RAID1,
    Composition_RAID2,
    Composition_RAID3,
    Composition_RAID4,
    Composition_RAID5,
    Composition_RAID6,
    Composition_RAID7,
    Composition_Concatenated,
    Composition_RAID,
    Composition_Linear,
    Composition_Mirrored,
    Composition_Striped,
    Composition_Mounted,
    Composition_Unknown
};
inline constexpr std::array<const char*, 16> Storage_Composition_String = {
    "Simple", "RAID0",        "RAID1", "RAID2",  "RAID3",    "RAID4",    "RAID5",   "RAID6",
    "RAID7",  "Concatenated", "RAID",  "Linear", "Mirrored", "Stripped", "Mounted", "Unknown"};

/// What provides an object.
enum Storage_VirtualMechanism : int {
    VirtualMechanism_None,
    VirtualMechanism_InstallableFileSystem,
    VirtualMechanism_LogicalDiskManager,
    VirtualMechanism_LogicalVolumeManager,
    VirtualMechanism_VeritasVolumeManager,
    VirtualMechanism_NetApp,
    VirtualMechanism_NetWare,
    VirtualMechanism_ExtendedPartition,
    VirtualMechanism_Unknown
};
inline constexpr std::array<const char*, 9> Storage_VirtualMechanism_String = {"None",
                                                                               "Installable File System",
                                                                               "Logical Disk Manager",
                                                                               "Logical Volume Manager",
                                                                               "Veritas Volume Manager",
                                                                               "NetApp",
                                                                               "NetWare",
                                                                               "Extended Partition",
                                                                               "Unknown"};

/// Whether an object really is on the host, or stands in for a level that the host lacks.
enum Storage_ExistentialQuantifier : int { Existence_False, Existence_True, Existence_Unknown };
inline constexpr std::array<const char*, 3> Storage_ExistentialQuantifier_String = {"false", "true",
                                                                                    "Unknown"};

enum Storage_Physicality : int { Physicality_Physical, Physicality_Logical, Physicality_Unknown };
inline constexpr std::array<const char*, 3> Storage_Physicality_String = {"Physical", "Logical", "Unknown"};

/// Directly attached, or reached through a storage network.
enum Storage_DriveType : int { DriveType_DAS, DriveType_SAN };
inline constexpr std::array<const char*, 2> Storage_DriveType_String = {"DAS", "SAN"};

/// The kinds of links that are written: the element of a group and, by the same index, of an item in it.
inline constexpr std::array<const char*, 6> Storage_Associations_String = {
    "StorageVolumePlexAssociations",        "PlexExtentPoolAssociations",
    "ExtentPoolDriveExtentAssociations",    "DriveExtentPhysicalDriveAssociations",
    "StorageVolumeDriveExtentAssociations", "StorageVolumePhysicalDriveAssociations"};
inline constexpr std::array<const char*, 6> Storage_Assoc_String = {
    "StorageVolumePlexAssoc",        "PlexExtentPoolAssoc",           "ExtentPoolDriveExtentAssoc",
    "DriveExtentPhysicalDriveAssoc", "StorageVolumeDriveExtentAssoc", "StorageVolumePhysicalDriveAssoc"};

/// The families of drives: where their nodes are, which names are whole drives (fnmatch(3)), and what is
/// known of them before they are asked. All by the same index.
inline constexpr std::array<const char*, 5> Storage_DriveSubsystemDirectory = {
    "/dev", "/dev/cciss", "/dev/ida", "/dev/i2o", "/dev/rd"};
inline constexpr std::array<const char*, 5> Storage_DriveSubsystemPattern1 = {
    "[hs]d[a-z]", "c[0-9]d[0-9]", "c[0-9]d[0-9]", "[hs]d[a-z]", "c[0-9]d[0-9]"};
inline constexpr std::array<const char*, 5> Storage_DriveSubsystemPattern2 = {
    "[hs]d[a-z][a-z]", "c[0-9][0-9]d[0-9][0-9]", "c[0-9][0-9]d[0-9][0-9]", "[hs]d[a-z][a-z]",
    "c[0-9][0-9]d[0-9][0-9]"};
inline constexpr std::array<const char*, 5> Storage_DriveSubsystemControllerType = {"ide", "ide", "ide",
                                                                                    "ide", "scsi"};
inline constexpr std::array<const char*, 5> Storage_DriveSubsystemManufacturer = {
    "Unknown", "HP/Compaq", "HP/Compaq", "Unknown", "Mylex"};
inline constexpr std::array<const char*, 5> Storage_DriveSubsystemModel = {
    "Unknown", "SA5300", "Intelligent Drive Array", "Unknown", "DAC960"};

/// The text of a value; empty for a number that is no value.
const char* Storage_TableRow(std::span<const char* const> table, int value);

/// The index of the first of `rows` that `text` begins with, without regard to case, so "RAID10" is found as
/// "RAID1"; the number of rows if there is none.
int Storage_FindTableRow(std::span<const char* const> rows, const std::string& text);

/// An enumeration as an attribute, always written. A text that is no row reads as `Otherwise`, usually the
/// last row, which stands for what is not known.
template <auto Field, const auto& Table, int Otherwise = static_cast<int>(Table.size()) - 1>
constexpr auto Storage_Enumeration(const char* name) {
    using Object = XMLSerializable_ObjectOf<Field>;
    using Value = XMLSerializable_HeldBy<Field>;
    return XMLSerializable_Attribute<Object>{
        name,
        [](const Object& object, std::string&) {
            return XMLSerializable_Value(std::string_view(Storage_TableRow(Table, object.*Field)));
        },
        [](Object& object, const std::string& text) {
            const int index = Storage_FindTableRow(Table, text);
            object.*Field = static_cast<Value>(index < static_cast<int>(Table.size()) ? index : Otherwise);
        }}
        .always()
        .clearedIfAbsent();
}
