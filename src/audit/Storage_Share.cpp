#include "audit/Storage_Share.h"

#include "model/System_Allocate.h"

XMLSerializable_Table<Storage_Share> Storage_Share::attributes() {
    static constexpr XMLSerializable_Attribute<Storage_Share> table[] = {
        XMLSerializable_Text<&Storage_Share::name_>("name"),
        XMLSerializable_Text<&Storage_Share::path_>("path"),
    };
    return table;
}

std::unique_ptr<Storage_Share> Storage_FactoryAllocateShare() {
    return System_Allocate<Storage_Share, Storage_ShareLinux>();
}
