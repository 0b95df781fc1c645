#pragma once

#include "xml/Xerces_Document.h"

#include <string>
#include <string_view>

/// How far a request came.
enum class RMI_Stage { Envelope, Request, Method };

/// The words of an outcome; null for an attribute that is not set.
struct RMI_Outcome {
    const char* response;
    const char* reason;
};

/// The reply document: the root with the protocol's version, and one Response element. Operations throw what
/// the XML helper throws.
class RMI_Reply {
public:
    RMI_Reply();

    xercesc::DOMDocument& document() { return *document_; }
    xercesc::DOMElement& response() { return response_; }

    void setStage(RMI_Stage stage);
    void setMethodName(std::string_view name);
    void setOutcome(const RMI_Outcome& outcome);
    void setReason(std::string_view reason);
    bool hasReason() const;
    /// Adds what this agent speaks, for a peer that speaks something else.
    void addProtocol();

    std::string serialize() const;

private:
    Xerces_DocumentPtr document_;
    xercesc::DOMElement& response_;
};
