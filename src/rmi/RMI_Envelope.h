#pragma once

#include "xml/Xerces_Document.h"

#include <string>
#include <string_view>

/// The envelope of the remote method calls in both directions: a root that names the protocol and its
/// version, below it a Request with a Method, or a Response. What is made or checked of it is made or checked
/// here. Operations throw what the XML helper throws.

constexpr const char* RMI_RootName = "NorvalithRMI";
constexpr const char* RMI_RequestName = "Request";
constexpr const char* RMI_ResponseName = "Response";
/// Of a Method, and of a Response once it is known.
constexpr const char* RMI_NameAttribute = "name";
/// Of a Request: the agent's identity as the peer knows it. Of a Response: the agent's own.
constexpr const char* RMI_UuidAttribute = "uuid";

/// What is wrong with a text that should be an envelope, in the order in which it is looked for.
enum class RMI_Flaw { None, NoXml, Root, Version, Schema, Content };

/// An envelope that came from outside.
struct RMI_Envelope {
    Xerces_DocumentPtr document;
    xercesc::DOMElement* content = nullptr; ///< part of the document; null if there is a flaw
    RMI_Flaw flaw = RMI_Flaw::None;
    std::string complaint; ///< the flaw in words, one line
};

/// `content` is RMI_RequestName or RMI_ResponseName; the first such element at any depth is taken. `bufferId`
/// names the text to the parser.
RMI_Envelope RMI_OpenEnvelope(std::string_view text, const char* content, const char* bufferId);

/// The XML in the body of a POST: all of it, or what follows the field "CommandBody=" of a form. It ends at
/// the first zero byte.
std::string_view RMI_XmlInBody(std::string_view body);

/// The Method of a request, or null, and its name.
xercesc::DOMElement* RMI_FindMethod(const xercesc::DOMElement& request);
std::string RMI_MethodName(const xercesc::DOMElement& method);

/// A request in the making. The elements live as long as this object.
class RMI_Request {
public:
    explicit RMI_Request(std::string_view methodName);

    xercesc::DOMDocument& document() { return *document_; }
    xercesc::DOMElement& request() { return request_; }
    xercesc::DOMElement& method() { return method_; }

    /// Empty on failure.
    std::string serialize() const { return Xerces_Serialize(*document_); }

private:
    Xerces_DocumentPtr document_;
    xercesc::DOMElement& request_;
    xercesc::DOMElement& method_;
};

/// How far a request came.
enum class RMI_Stage { Envelope, Request, Method };

/// The words of an outcome; null for an attribute that is not set.
struct RMI_Outcome {
    const char* response;
    const char* reason;
};
constexpr RMI_Outcome RMI_Success{"success", "success"};

/// A reply in the making: its Response element, to which a method adds what it has found.
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

    /// Empty on failure.
    std::string serialize() const { return Xerces_Serialize(*document_); }

private:
    Xerces_DocumentPtr document_;
    xercesc::DOMElement& response_;
};
