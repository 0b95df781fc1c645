#pragma once

#include "rmi/RMI_MethodFactory.h"
#include "rmi/RMI_PeerVerifyHandler.h"
#include "rmi/RMI_RequestHandler.h"
#include "xml/Xerces_Document.h"

#include <memory>
#include <string>

/// A connection whose answers are written down beforehand.
struct ScriptedPeer : RMI_PeerVerifyHandler {
    bool getEncryptionProtocolVerifyPeer() override { return asked; }
    bool setEncryptionProtocolVerifyPeer(bool verify) override {
        asked = verify;
        return accepts;
    }
    void getSecurityTokenUser(std::string& text) override { text = user; }
    void getSecurityTokenPassword(std::string& text) override { text = password; }

    bool asked = false;
    bool accepts = true;
    std::string user;
    std::string password;
};

/// A reply in the order that the library writes attributes in.
struct Reply {
    bool delivered = false;
    std::string text;

    std::string attribute(const char* name) const {
        const Xerces_DocumentPtr document = Xerces_Parse(text, "reply");
        return document
                   ? Xerces_GetAttribute(*Xerces_FirstDescendant(*Xerces_Root(*document), "Response"), name)
                   : "no document: " + text;
    }
    std::string outcome() const { return attribute("response") + "|" + attribute("reason"); }
};

/// The Response element as it is on the wire.
inline std::string responseOf(const std::string& text) {
    const std::string before = R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>)"
                               R"(<NorvalithRMI schema="2.1" version="1.2">)";
    const std::string after = "</NorvalithRMI>";
    if (text.rfind(before, 0) != 0 || text.size() < before.size() + after.size())
        return "not in the envelope: " + text;
    return text.substr(before.size(), text.size() - before.size() - after.size());
}

inline Reply process(RMI_MethodFactory* factory, const std::string& body,
                     Socket_Socket::EncryptionProtocol protocol, RMI_PeerVerifyHandler* peer) {
    RMI_RequestHandler handler;
    handler.registerMethodFactory(factory);
    char* text = nullptr;
    unsigned length = 0;
    Reply reply;
    reply.delivered = handler.processRequest(protocol, peer, &body, text, length);
    const std::unique_ptr<char[]> owned(text);
    reply.text.assign(text, length);
    if (text[length] != '\0')
        reply.text = "the reply has no zero at its end";
    return reply;
}

inline std::string envelope(const std::string& inside) {
    return R"(<NorvalithRMI version="1.2" schema="2.1">)" + inside + "</NorvalithRMI>";
}

inline std::string call(const std::string& requestAttributes, const std::string& method) {
    return envelope("<Request " + requestAttributes + ">" + method + "</Request>");
}
