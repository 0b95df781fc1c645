#include "audit/System_Layer.h"

bool System_LayerInit() {
    return true;
}

void System_LayerCleanup() {}
