#pragma once

#include "model/NX_ObjectCollection.h"
#include "threads/Thread_Terminatable.h"

/// What a storage request collects: the objects of one level, or the links between objects.
///
/// Only the Thread_Terminatable side may be touched by another thread than the one that audits.
class Storage_Collection : public Thread_Terminatable, public NX_ObjectCollection {};
