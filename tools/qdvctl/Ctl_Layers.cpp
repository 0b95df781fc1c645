#include "qdvctl/Ctl_Layers.h"

#include "net/AgentSSL_Factory.h"
#include "net/HTTP_Server.h"
#include "qdvctl/Ctl_Failure.h"
#include "xml/Xerces_Layer.h"

Ctl_Layers::Ctl_Layers(Extent extent) {
    if (!xml_.bringUp(Xerces_LayerInit, Xerces_LayerCleanup) ||
        (extent == NetworkWithTLS && !tls_.bringUp(AgentSSL_LayerInit, AgentSSL_LayerCleanup)) ||
        (extent != XmlOnly && !http_.bringUp(HTTP_LayerInit, HTTP_LayerCleanup)))
        throw Ctl_Failure(Ctl_Unanswered, "the XML, TLS or HTTP library cannot be initialised");
}
