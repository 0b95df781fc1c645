#include "config/AgentConfig_Configuration.h"

#include "config/Config_Document.h"

namespace {

constexpr const char* ConfigurationRoot = "AgentConfiguration";
constexpr const char* Version = "1.0";

constexpr const char* AnyHost = "a host name or an IP address";
constexpr const char* AnyPort = "a decimal port number";

struct Bind {
    std::string address;
    unsigned port = 0;
};

constexpr XMLSerializable_Attribute<Bind> BindAttributes[] = {
    XMLSerializable_Text<&Bind::address>("address").always().required(AnyHost),
    XMLSerializable_Decimal<&Bind::port>("port").always().required(AnyPort),
};

} // namespace

/// The attributes of the file, for reading and for writing.
struct AgentConfig_Configuration::Format {
    using Configuration = AgentConfig_Configuration;
    using Row = XMLSerializable_Attribute<Configuration>;

    static constexpr Row Server[] = {
        XMLSerializable_Text<&Configuration::serverHostname_>("hostname").always().required(AnyHost),
        XMLSerializable_Decimal<&Configuration::serverPort_>("port").always().required(AnyPort),
        XMLSerializable_Decimal<&Configuration::serverSSLPort_>("sslPort").always().required(AnyPort),
        XMLSerializable_Text<&Configuration::serverURI_>("uri").always().required(
            "the path of the server's URI"),
        XMLSerializable_Text<&Configuration::proxyHostname_>("proxyHostname").always(),
        XMLSerializable_Decimal<&Configuration::proxyPort_>("proxyPort").always(),
        XMLSerializable_Text<&Configuration::username_>("username").always(),
        XMLSerializable_Text<&Configuration::password_>("password").always(),
    };

    // A minimum without a maximum is a range of one port.
    static constexpr Row Agent[] = {
        XMLSerializable_Text<&Configuration::getReturnAddress, &Configuration::setReturnAddress>(
            "returnAddress")
            .always(),
        XMLSerializable_Decimal<&Configuration::getReturnPortMin, &Configuration::setReturnPorts>(
            "returnPortMin")
            .always(),
        XMLSerializable_Decimal<&Configuration::getReturnPortMax, &Configuration::setReturnPortMax>(
            "returnPortMax")
            .always(),
    };
};

AgentConfig_Configuration::AgentConfig_Configuration() = default;

AgentConfig_Configuration::~AgentConfig_Configuration() = default;

bool AgentConfig_Configuration::parse(xercesc::InputSource& source) {
    const bool parsed = attempt([&] { read(source); });
    if (!parsed)
        deallocateBindList();
    return parsed;
}

void AgentConfig_Configuration::read(const xercesc::InputSource& source) {
    const Xerces_DocumentPtr document = Config_ParseDocument(source, ConfigurationRoot);
    const xercesc::DOMElement& root = *Xerces_Root(*document);
    if (Xerces_GetAttribute(root, "version") != Version)
        throw Config_UnknownVersion(root, Config_Quoted(Version).c_str());

    XMLSerializable_ReadAttributes(Format::Server, *this, Config_OnlyElement(root, "ServerInfo"));
    const xercesc::DOMElement& agent = Config_OnlyElement(root, "AgentInfo");
    XMLSerializable_ReadAttributes(Format::Agent, *this, agent);
    for (const xercesc::DOMElement* element :
         Xerces_ChildElements(Config_OnlyElement(agent, "BindList"), "Bind")) {
        Bind bind;
        XMLSerializable_ReadAttributes(BindAttributes, bind, *element);
        addBindPair(bind.address, static_cast<int>(bind.port));
    }
}

bool AgentConfig_Configuration::serialize(char*& buffer, unsigned& length) {
    buffer = nullptr;
    length = 0;
    return attempt([&] {
        const Xerces_DocumentPtr document = Xerces_CreateDocument(ConfigurationRoot);
        xercesc::DOMElement& root = *Xerces_Root(*document);
        Xerces_SetAttribute(root, "version", Version);
        XMLSerializable_WriteAttributes(Format::Server, *this, Xerces_AppendElement(root, "ServerInfo"));
        xercesc::DOMElement& agent = Xerces_AppendElement(root, "AgentInfo");
        XMLSerializable_WriteAttributes(Format::Agent, *this, agent);
        xercesc::DOMElement& list = Xerces_AppendElement(agent, "BindList");
        for (const auto& pair : bindList_) {
            const Bind bind{pair->address(), static_cast<unsigned>(pair->getPort())};
            XMLSerializable_WriteAttributes(BindAttributes, bind, Xerces_AppendElement(list, "Bind"));
        }
        Config_GiveDocument(*document, buffer, length);
    });
}

HTTP_Route AgentConfig_Configuration::getRoute(bool ssl) const {
    const unsigned port = ssl ? serverSSLPort_ : serverPort_;
    HTTP_Route route{.target = {serverHostname_, static_cast<int>(port)},
                     .uri = serverURI_,
                     .localEnd = returnEnd_,
                     .username = username_,
                     .password = password_.copy()};
    if (!proxyHostname_.empty() && proxyPort_ != 0) {
        route.target = {proxyHostname_, static_cast<int>(proxyPort_)};
        // Over TLS too: no tunnel is made.
        route.uri = "http://" + serverHostname_ + ":" + std::to_string(port) + serverURI_;
    }
    return route;
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
