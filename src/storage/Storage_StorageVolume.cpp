#include "storage/Storage_StorageVolume.h"

XMLSerializable_Table<Storage_StorageVolume> Storage_StorageVolume::attributes() {
    static constexpr XMLSerializable_Attribute<Storage_StorageVolume> table[] = {
        XMLSerializable_Text<&Storage_StorageVolume::fileSystem_>("fileSystem"),
        XMLSerializable_Text<&Storage_StorageVolume::mountPoint_>("mountPoint"),
        XMLSerializable_Text<&Storage_StorageVolume::devicePath_>("devicePath"),
        XMLSerializable_Flag<&Storage_StorageVolume::isNetwork_>("isNetwork").always(),
        XMLSerializable_Text<&Storage_StorageVolume::networkAddress_>("networkAddress"),
        XMLSerializable_Number<&Storage_StorageVolume::usedBytes_>("usedBytes"),
        XMLSerializable_Number<&Storage_StorageVolume::totalInodes_>("totalInodes"),
        XMLSerializable_Number<&Storage_StorageVolume::usedInodes_>("usedInodes"),
        XMLSerializable_Number<&Storage_StorageVolume::numFiles_>("numFiles"),
        XMLSerializable_Number<&Storage_StorageVolume::numFilesModified_>("numFilesModified"),
        XMLSerializable_Number<&Storage_StorageVolume::numFilesAccessed_>("numFilesAccessed"),
        XMLSerializable_Number<&Storage_StorageVolume::numFilesArchived_>("numFilesArchived"),
        XMLSerializable_Number<&Storage_StorageVolume::numFilesNotArchived_>("numFilesNotArchived"),
        XMLSerializable_Number<&Storage_StorageVolume::numDirs_>("numDirs"),
        XMLSerializable_Number<&Storage_StorageVolume::numDirsModified_>("numDirsModified"),
        XMLSerializable_Number<&Storage_StorageVolume::numDirsAccessed_>("numDirsAccessed"),
        XMLSerializable_Number<&Storage_StorageVolume::numDirsArchived_>("numDirsArchived"),
        XMLSerializable_Number<&Storage_StorageVolume::numDirsNotArchived_>("numDirsNotArchived"),
    };
    return table;
}
