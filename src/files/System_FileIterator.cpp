#include "files/System_FileIterator.h"

void System_FileIterator::registerPath(const char* path) {
    path_ = path != nullptr ? path : "";
}

bool System_FileIterator::setFSORequirements(System_FileSystemObject* fso) {
    if (fso == nullptr)
        return false;
    fso->setRecursionLevel(System_FileSystemObject::NoWalk);
    return true;
}
