#include "target.h"
#include "xml/Xerces_Layer.h"

/// For the targets that read XML.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return Xerces_LayerInit() ? 0 : -1;
}
