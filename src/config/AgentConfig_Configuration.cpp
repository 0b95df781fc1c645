#include "config/AgentConfig_Configuration.h"

#include "base/String_Functions.h"
#include "config/Config_Document.h"
#include "net/HTTP_AddressPortPair.h"

namespace {

constexpr const char* RootName = "AgentConfiguration";
constexpr const char* Version = "1.0";

constexpr const char* AnyHost = "a host name or an IP address";
constexpr const char* AnyPort = "a decimal port number";

struct Bind {
    std::string address;
    unsigned port = 0;
};

constexpr Config_Attribute<Bind> BindAttributes[] = {
    {.name = "address", .expected = AnyHost, .text = &Bind::address},
    {.name = "port", .expected = AnyPort, .number = &Bind::port},
};

} // namespace

/// The attributes of the file, for reading and for writing.
struct AgentConfig_Configuration::Format {
    using Configuration = AgentConfig_Configuration;

    static constexpr Config_Attribute<Configuration> Server[] = {
        {.name = "hostname", .expected = AnyHost, .text = &Configuration::serverHostname_},
        {.name = "port", .expected = AnyPort, .number = &Configuration::serverPort_},
        {.name = "sslPort", .expected = AnyPort, .number = &Configuration::serverSSLPort_},
        {.name = "uri", .expected = "the path of the server's URI", .text = &Configuration::serverURI_},
        {.name = "proxyHostname", .expected = nullptr, .text = &Configuration::proxyHostname_},
        {.name = "proxyPort", .expected = nullptr, .number = &Configuration::proxyPort_},
        {.name = "username", .expected = nullptr, .text = &Configuration::username_},
        {.name = "password", .expected = nullptr, .text = &Configuration::password_},
    };

    // A minimum without a maximum is a range of one port.
    static constexpr Config_Attribute<Configuration> Agent[] = {
        {.name = "returnAddress", .expected = nullptr, .text = &Configuration::returnAddress_},
        {.name = "returnPortMin",
         .expected = nullptr,
         .number = &Configuration::returnPortMin_,
         .follower = &Configuration::returnPortMax_},
        {.name = "returnPortMax", .expected = nullptr, .number = &Configuration::returnPortMax_},
    };
};

AgentConfig_Configuration::AgentConfig_Configuration() = default;

AgentConfig_Configuration::~AgentConfig_Configuration() {
    nxWipeText(password_);
}

bool AgentConfig_Configuration::parse(xercesc::InputSource& source) {
    const bool parsed = attempt([&] { read(source); });
    if (!parsed)
        deallocateBindList();
    return parsed;
}

void AgentConfig_Configuration::read(const xercesc::InputSource& source) {
    const Xerces_DocumentPtr document = Config_ParseDocument(source, RootName);
    const xercesc::DOMElement& root = *Xerces_Root(*document);
    if (Xerces_GetAttribute(root, "version") != Version)
        throw Config_UnknownVersion(root, Config_Quoted(Version).c_str());

    Config_ReadAttributes(Config_OnlyElement(root, "ServerInfo"), Format::Server, *this);
    const xercesc::DOMElement& agent = Config_OnlyElement(root, "AgentInfo");
    Config_ReadAttributes(agent, Format::Agent, *this);
    for (const xercesc::DOMElement* element :
         Xerces_ChildElements(Config_OnlyElement(agent, "BindList"), "Bind")) {
        Bind bind;
        Config_ReadAttributes(*element, BindAttributes, bind);
        addBindPair(bind.address, static_cast<int>(bind.port));
    }
}

bool AgentConfig_Configuration::serialize(char*& buffer, unsigned& length) {
    buffer = nullptr;
    length = 0;
    return attempt([&] {
        const Xerces_DocumentPtr document = Xerces_CreateDocument(RootName);
        xercesc::DOMElement& root = *Xerces_Root(*document);
        Xerces_SetAttribute(root, "version", Version);
        Config_WriteAttributes(Xerces_AppendElement(root, "ServerInfo"), Format::Server, *this);
        xercesc::DOMElement& agent = Xerces_AppendElement(root, "AgentInfo");
        Config_WriteAttributes(agent, Format::Agent, *this);
        xercesc::DOMElement& list = Xerces_AppendElement(agent, "BindList");
        for (const auto& pair : bindList_) {
            const char* address = pair->getAddress();
            Config_WriteAttributes(
                Xerces_AppendElement(list, "Bind"), BindAttributes,
                Bind{address == nullptr ? "" : address, static_cast<unsigned>(pair->getPort())});
        }
        Config_GiveDocument(*document, buffer, length);
    });
}

void AgentConfig_Configuration::setPassword(const std::string& password) {
    if (&password == &password_)
        return;
    nxWipeText(password_);
    password_ = password;
}

std::vector<HTTP_AddressPortPair*> AgentConfig_Configuration::getBindList() const {
    std::vector<HTTP_AddressPortPair*> list;
    list.reserve(bindList_.size());
    for (const auto& pair : bindList_)
        list.push_back(pair.get());
    return list;
}

void AgentConfig_Configuration::addBindPair(const std::string& address, int port) {
    bindList_.push_back(std::make_unique<HTTP_AddressPortPair>(address, port));
}

void AgentConfig_Configuration::deallocateBindList() {
    bindList_.clear();
}
