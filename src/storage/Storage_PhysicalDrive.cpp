#include "storage/Storage_PhysicalDrive.h"

#include "base/String_Functions.h"

// "totalBytes" is written among the attributes that every object has.
const XMLSerializable_Attribute<Storage_PhysicalDrive> Storage_PhysicalDrive::attributes_[] = {
    XMLSerializable_Text<&Storage_PhysicalDrive::manufacturer_>("manufacturer"),
    XMLSerializable_Text<&Storage_PhysicalDrive::model_>("model"),
    {"controllerType",
     [](const Storage_PhysicalDrive& drive, std::string& text) {
         text = drive.controllerType_.empty() ? "unknown" : drive.controllerType_;
         return true;
     },
     [](Storage_PhysicalDrive& drive, const std::string& text) {
         if (!text.empty())
             drive.controllerType_ = text;
     }},
    XMLSerializable_Text<&Storage_PhysicalDrive::serialNumber_>("serialNumber"),
    XMLSerializable_Number<&Storage_PhysicalDrive::totalTracks_>("totalTracks"),
    XMLSerializable_Number<&Storage_PhysicalDrive::totalCylinders_>("totalCylinders"),
    XMLSerializable_Number<&Storage_PhysicalDrive::tracksPerCylinder_>("tracksPerCylinder"),
    XMLSerializable_Number<&Storage_PhysicalDrive::bytesPerTrack_>("bytesPerTrack"),
    XMLSerializable_Enumeration<&Storage_PhysicalDrive::deviceType_, Storage_DriveType_String>("deviceType"),
    XMLSerializable_Text<&Storage_PhysicalDrive::providerAddress_>("providerAddress"),
};

bool Storage_PhysicalDrive::parse(xercesc::DOMElement* element) {
    return parseObject(*this, attributes_, element);
}

bool Storage_PhysicalDrive::serialize(xercesc::DOMDocument* document, xercesc::DOMElement* parent,
                                      xercesc::DOMElement* element) {
    return serializeObject(*this, Storage_Type_Strings[storageType], attributes_, document, parent, element);
}

void Storage_PhysicalDrive::setManufacturer(const char* manufacturer) {
    manufacturer_ = textOf(manufacturer);
    nxstrtrim(manufacturer_.data());
    manufacturer_.resize(std::char_traits<char>::length(manufacturer_.c_str()));
}
