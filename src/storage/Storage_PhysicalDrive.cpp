#include "storage/Storage_PhysicalDrive.h"

#include "base/String_Functions.h"

// "totalBytes" is written among the attributes that every object has.
XMLSerializable_Table<Storage_PhysicalDrive> Storage_PhysicalDrive::attributes() {
    static constexpr XMLSerializable_Attribute<Storage_PhysicalDrive> table[] = {
        XMLSerializable_Text<&Storage_PhysicalDrive::manufacturer_>("manufacturer"),
        XMLSerializable_Text<&Storage_PhysicalDrive::model_>("model"),
        {"controllerType",
         [](const Storage_PhysicalDrive& drive, std::string&) {
             return drive.controllerType_.empty() ? XMLSerializable_ValueOf("unknown")
                                                  : XMLSerializable_ValueOf(drive.controllerType_);
         },
         [](Storage_PhysicalDrive& drive, const std::string& text) { drive.controllerType_ = text; }},
        XMLSerializable_Text<&Storage_PhysicalDrive::serialNumber_>("serialNumber"),
        XMLSerializable_Number<&Storage_PhysicalDrive::totalTracks_>("totalTracks"),
        XMLSerializable_Number<&Storage_PhysicalDrive::totalCylinders_>("totalCylinders"),
        XMLSerializable_Number<&Storage_PhysicalDrive::tracksPerCylinder_>("tracksPerCylinder"),
        XMLSerializable_Number<&Storage_PhysicalDrive::bytesPerTrack_>("bytesPerTrack"),
        Storage_Enumeration<&Storage_PhysicalDrive::deviceType_, Storage_DriveType_String, DriveType_DAS>(
            "deviceType"),
        XMLSerializable_Text<&Storage_PhysicalDrive::providerAddress_>("providerAddress"),
    };
    return table;
}

void Storage_PhysicalDrive::setManufacturer(const char* manufacturer) {
    manufacturer_ = textOf(manufacturer);
    nxstrtrim(manufacturer_.data());
    manufacturer_.resize(std::char_traits<char>::length(manufacturer_.c_str()));
}
