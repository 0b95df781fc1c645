#pragma once

#include "model/NX_ObjectCollection.h"
#include "threads/Thread_Terminatable.h"

/// The links between the objects of the levels, which every level adds to.
class Storage_StorageAssociations : public Thread_Terminatable, public NX_ObjectCollection {};
