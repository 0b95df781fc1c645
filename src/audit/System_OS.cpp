#include "audit/System_OS.h"

XMLSerializable_Table<System_OS> System_OS::attributes() {
    static constexpr XMLSerializable_Attribute<System_OS> table[] = {
        XMLSerializable_Text<&System_OS::name_>("name"),
    };
    return table;
}
