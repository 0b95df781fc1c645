#pragma once

#include "model/System_XMLObject.h"

#include <cstdint>
#include <memory>
#include <string>

/// The machine that the host runs on, its place in the network and its clock. Its name, the host name, stands
/// beside the name that every object has. All text setters take null as the empty text.
class System_Machine : public System_XMLObject<System_Machine, System_Object::Machine> {
public:
    static XMLSerializable_Table<System_Machine> attributes();

    virtual const std::string& getType() const { return type_; }
    virtual void setType(const char* type) { type_ = textOf(type); }
    virtual const std::string& getDomain() const { return domain_; }
    virtual void setDomain(const char* domain) { domain_ = textOf(domain); }
    virtual const std::string& getName() const { return name_; }
    virtual void setName(const char* name) { name_ = textOf(name); }
    virtual const std::string& getManufacturer() const { return manufacturer_; }
    virtual void setManufacturer(const char* manufacturer) { manufacturer_ = textOf(manufacturer); }
    virtual const std::string& getModel() const { return model_; }
    virtual void setModel(const char* model) { model_ = textOf(model); }
    virtual const std::string& getSerialNumber() const { return serialNumber_; }
    virtual void setSerialNumber(const char* serialNumber) { serialNumber_ = textOf(serialNumber); }
    /// Minutes of local time, with daylight saving when it is in force, east of Greenwich.
    virtual int getGMTOffset() const { return gmtOffset_; }
    virtual void setGMTOffset(int minutes) { gmtOffset_ = minutes; }
    /// Whether daylight saving time is in force.
    virtual bool getDaylight() const { return daylight_; }
    virtual void setDaylight(bool inForce) { daylight_ = inForce; }
    using System_Object::operator=;
    virtual System_Machine& operator=(const System_Machine& other) = default;
    /// There is no such form: false, and nothing is written.
    virtual bool serializeLI(xercesc::DOMDocument*, xercesc::DOMElement*) { return false; }

private:
    std::string type_;
    std::string domain_;
    std::string name_;
    std::string manufacturer_;
    std::string model_;
    std::string serialNumber_;
    std::int32_t gmtOffset_ = 0;
    bool daylight_ = false;
};

/// A new System_MachineLinux; null when memory is short.
std::unique_ptr<System_Machine> System_FactoryAllocateMachine();
