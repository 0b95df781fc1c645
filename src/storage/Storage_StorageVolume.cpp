#include "storage/Storage_StorageVolume.h"

#include "files/System_FileSystemObject.h"
#include "files/System_TimeWindow.h"

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

bool Storage_StorageVolume::evaluateFile(System_FileSystemObject* fso, System_Date* startDay,
                                         System_Date* endDay) {
    if (fso == nullptr || startDay == nullptr || endDay == nullptr)
        return false;
    System_TimeWindow window;
    window.set(*startDay, *endDay);
    const bool isDirectory = fso->getIsDirectory();
    ++(isDirectory ? numDirs_ : numFiles_);
    if ((fso->getAttributeFlag() & System_FileSystemObject::Archived) != 0)
        ++(isDirectory ? numDirsArchived_ : numFilesArchived_);
    const std::optional<bool> isModified = fso->isModifiedWithin(window);
    if (!isModified)
        return false;
    (isDirectory ? numDirsModified_ : numFilesModified_) += *isModified ? 1 : 0;
    // Looking at a link changes its access time.
    if (!isDirectory && fso->getIsSoftLink())
        return true;
    const std::optional<bool> isAccessed = fso->isAccessedWithin(window);
    if (!isAccessed)
        return false;
    (isDirectory ? numDirsAccessed_ : numFilesAccessed_) += *isAccessed ? 1 : 0;
    return true;
}
