#include "model/System_ObjectTypePair.h"

#include "model/Storage_Tables.h"

const char* System_ObjectTypePair::getStorageTypeString() const {
    return Storage_TableRow(Storage_Type_Strings, type_);
}
