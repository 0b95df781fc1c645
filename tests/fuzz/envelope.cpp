// Bodies of a remote method call, and the text mapping and the writer behind them.

#include "rmi/RMI_Envelope.h"
#include "rmi/RMI_Method.h"
#include "rmi/RMI_MethodException.h"
#include "rmi/RMI_MethodFactory.h"
#include "rmi/RMI_PeerVerifyHandler.h"
#include "rmi/RMI_RequestHandler.h"
#include "target.h"
#include "xml/Xerces_Text.h"

#include <xercesc/dom/DOMDocument.hpp>

#include <memory>
#include <stdexcept>

namespace {

/// Reads all that it was told, and ends in one of the ways that a method can end.
class Method : public RMI_Method {
public:
    /// `kind` is the first letter of its name.
    Method(const char* guid, char kind) : RMI_Method(guid), kind_(kind) {}

    bool encProtoShouldVerifyPeer() override { return kind_ == 'V'; }
    bool checkForValidGuid() override { return false; }
    bool validateGuid(xercesc::DOMElement* response) override {
        Xerces_SetAttribute(*response, "uuid", getGuid());
        return std::string_view(getHostTarget()) != "refused";
    }
    bool validateUser(xercesc::DOMElement*) override { return std::string_view(getUserName()) != "refused"; }
    bool validateEncryptionProtocol(Socket_Socket::EncryptionProtocol) override { return kind_ != 'P'; }
    void invoke(xercesc::DOMElement* method, xercesc::DOMDocument*, xercesc::DOMElement* response) override {
        for (const xercesc::DOMElement* element : Xerces_Descendants(*method, "*")) {
            const std::string text = Xerces_FirstText(*element).value_or("");
            Xerces_AppendText(Xerces_AppendElement(*response, "Seen"), text);
        }
        if (kind_ == 'F')
            throw std::runtime_error("a method's own");
        if (getSnmpPort() != 0)
            throw RMI_MethodException(static_cast<RMI_MethodException::ExceptionCode>(getSnmpPort()),
                                      getFSType());
    }

private:
    const char kind_;
};

class Factory : public RMI_MethodFactory {
    std::unique_ptr<RMI_Method> createMethod(const char* name, const char* guid) override {
        return *name == 'U' ? nullptr : std::make_unique<Method>(guid, *name);
    }
};

class Peer : public RMI_PeerVerifyHandler {
    bool getEncryptionProtocolVerifyPeer() override { return false; }
    bool setEncryptionProtocolVerifyPeer(bool verify) override { return !verify; }
    void getSecurityTokenUser(std::string& user) override { user.clear(); }
    void getSecurityTokenPassword(std::string& password) override { password.clear(); }
};

void checkReply(bool delivered, std::string_view reply) {
    const Xerces_DocumentPtr document = Xerces_Parse(reply, "reply");
    require(document != nullptr);
    const xercesc::DOMElement& root = *Xerces_Root(*document);
    require(Xerces_TagName(root) == RMI_RootName);
    const auto responses = Xerces_ChildElements(root);
    require(responses.size() == 1 && Xerces_TagName(*responses[0]) == "Response");
    require(delivered == (Xerces_GetAttribute(*responses[0], "type") != "rmi"));
    require(!Xerces_GetAttribute(*responses[0], "response").empty());
}

void checkTextMapping(const std::string& text) {
    const std::string_view wanted(text.c_str());
    std::u16string units(Xerces_MaximumUnits(text.size()) + 1, u'\0');
    units.resize(Xerces_ToUnits(text, units.data()));
    require(Xerces_ToBytes(units) == wanted);
}

void checkWriter(const std::string& text) {
    const Xerces_DocumentPtr document = Xerces_Parse(text, "document");
    if (!document)
        return;
    // XML 1.1 has names that 1.0, in which everything is written, has not.
    const XMLCh* version = document->getXmlVersion();
    if (version != nullptr && std::u16string_view(version) != u"1.0")
        return;
    const std::string written = Xerces_Serialize(*document);
    const Xerces_DocumentPtr again = Xerces_Parse(written, "written");
    require(again != nullptr);
    require(Xerces_Serialize(*again) == written);
}

} // namespace

void fuzz(std::string_view input) {
    const std::string body(input);
    Factory factory;
    Peer peer;
    RMI_RequestHandler handler;
    handler.registerMethodFactory(&factory);
    char* text = nullptr;
    unsigned length = 0;
    const bool delivered = handler.processRequest(Socket_Socket::ENCRYPTION_NONE, &peer, &body, text, length);
    const std::unique_ptr<char[]> owned(text);
    require(text[length] == '\0');
    checkReply(delivered, {text, length});
    checkTextMapping(body);
    checkWriter(body);
}
