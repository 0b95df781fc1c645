#include "audit/System_Machine.h"

XMLSerializable_Table<System_Machine> System_Machine::attributes() {
    static constexpr XMLSerializable_Attribute<System_Machine> table[] = {
        XMLSerializable_Text<&System_Machine::type_>("type"),
        XMLSerializable_Text<&System_Machine::domain_>("domain"),
        XMLSerializable_Text<&System_Machine::name_>("name"),
        XMLSerializable_Text<&System_Machine::manufacturer_>("manufacturer"),
        XMLSerializable_Text<&System_Machine::model_>("model"),
        XMLSerializable_Text<&System_Machine::serialNumber_>("serialNumber"),
        XMLSerializable_Decimal<&System_Machine::gmtOffset_>("gmtOffset").clearedIfAbsent(),
        XMLSerializable_Flag<&System_Machine::daylight_>("daylight"),
    };
    return table;
}
