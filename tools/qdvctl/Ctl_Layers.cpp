#include "qdvctl/Ctl_Layers.h"

#include "net/AgentSSL_Factory.h"
#include "net/HTTP_Server.h"
#include "qdvctl/Ctl_Failure.h"
#include "xml/Xerces_Layer.h"

Ctl_Layers::Ctl_Layers(Extent extent) {
    xml_ = Xerces_LayerInit();
    tls_ = xml_ && extent == NetworkWithTLS && AgentSSL_LayerInit();
    http_ = xml_ && extent != XmlOnly && HTTP_LayerInit();
    if (xml_ && tls_ == (extent == NetworkWithTLS) && http_ == (extent != XmlOnly))
        return;
    bringDown();
    throw Ctl_Failure(Ctl_Unanswered, "the XML, TLS or HTTP library cannot be initialised");
}

Ctl_Layers::~Ctl_Layers() {
    bringDown();
}

void Ctl_Layers::bringDown() {
    if (http_)
        HTTP_LayerCleanup();
    if (tls_)
        AgentSSL_LayerCleanup();
    if (xml_)
        Xerces_LayerCleanup();
}
