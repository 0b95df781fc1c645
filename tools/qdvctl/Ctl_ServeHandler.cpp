#include "qdvctl/Ctl_ServeHandler.h"

#include "base/Agent_Version.h"
#include "net/HTTP_File.h"
#include "qdvctl/Ctl_Failure.h"
#include "qdvctl/Ctl_Render.h"
#include "qdvctl/Ctl_Text.h"

#include <array>
#include <string_view>

namespace {

constexpr unsigned callIndent = 2;
/// For whoever tries it by hand.
constexpr std::string_view notACall = "not a remote method call\n";
constexpr std::string_view noPage = "no page here\n";

std::string timeText(std::time_t when) {
    std::array<char, 32> text{};
    std::tm parts{};
    gmtime_r(&when, &parts);
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return text.data();
}

/// The method as it is shown below the headline: nothing if it brought nothing but its name.
std::vector<Ctl_Node> contentOf(const Ctl_Request& call) {
    const Ctl_Node method{"Method", {}, call.methodAttributes, call.parameters};
    if (method.attributes.empty() && !method.hasElements() && method.ownText().empty())
        return {};
    return {method};
}

const Ctl_Node* findParameter(const std::vector<Ctl_Node>& nodes, std::string_view name) {
    for (const Ctl_Node& node : nodes) {
        const std::string* found = node.attribute("name");
        if (node.name == "MethodParameter" && found != nullptr && *found == name)
            return &node;
    }
    return nullptr;
}

/// An element whose attributes are the texts of parameters; those that are not there are empty.
Ctl_Node rowOf(std::string name, const std::vector<Ctl_Node>& parameters,
               const std::vector<std::pair<const char*, const char*>>& columns) {
    Ctl_Node row{std::move(name), {}, {}, {}};
    for (const auto& [column, parameter] : columns) {
        const Ctl_Node* found = findParameter(parameters, parameter);
        row.attributes.emplace_back(column, found == nullptr ? std::string() : found->ownText());
    }
    return row;
}

bool reply(HTTP_File& file, HTTP_Return_Code code, HTTP_Content_Type type, std::string_view body) {
    return file.sendReply(code, type, body.data(), static_cast<int>(body.size()));
}

std::string protocolOf(const HTTP_File& file) {
    return file.getEncryptionProtocol() == Socket_Socket::ENCRYPTION_SSL ? "TLS" : "plain";
}

} // namespace

std::string Ctl_DescribeCall(const Ctl_Request& call, std::time_t when, const std::string& protocol,
                             const std::string& uri, bool json) {
    std::vector<Ctl_Node> content = contentOf(call);
    if (json)
        return Ctl_RenderJson({{"time", timeText(when)},
                               {"protocol", protocol},
                               {"uri", uri},
                               {"method", call.method},
                               {"uuid", call.uuid},
                               {"hostTarget", call.hostTarget}},
                              content) +
               "\n";
    if (std::vector<Ctl_Node> action = Ctl_SummariseAction(call); !action.empty())
        content = std::move(action);
    std::string line = timeText(when) + " " + protocol + " " + uri + " " + call.method;
    line += " uuid=" + call.uuid;
    if (!call.hostTarget.empty())
        line += " hostTarget=" + call.hostTarget;
    return Ctl_Printable(line) + "\n" + Ctl_RenderText(content, callIndent);
}

std::vector<Ctl_Node> Ctl_SummariseAction(const Ctl_Request& call) {
    if (call.method != "UpdateAction" || findParameter(call.parameters, "actionid") == nullptr)
        return {};
    std::vector<Ctl_Node> rows{
        rowOf("Action", call.parameters,
              {{"id", "actionid"}, {"status", "actionstatus"}, {"reason", "actionreason"}})};
    if (const Ctl_Node* group = findParameter(call.parameters, "group"))
        for (const Ctl_Node& member : group->children)
            if (!member.isText())
                rows.push_back(rowOf("Member", member.children,
                                     {{"path", "path"}, {"status", "status"}, {"reason", "reason"}}));
    return rows;
}

std::optional<Ctl_Node> Ctl_ResultOf(const std::string& method, const std::string& sslState) {
    if (method == "Ping")
        return Ctl_Node{"Server", {}, {{"version", Agent_Version}}, {}};
    if (method == "GetSSLState")
        return Ctl_Node{"Server", {}, {{"sslState", sslState}}, {}};
    return std::nullopt;
}

bool Ctl_ServeHandler::handleGet(HTTP_File* file, bool& keepFile) {
    keepFile = false;
    return reply(*file, HTTP_RETURN_NOT_FOUND, HTTP_CONTENT_TYPE_TEXT_HTML, noPage);
}

bool Ctl_ServeHandler::handlePost(HTTP_File* file, bool& keepFile) {
    keepFile = false;
    char* text = nullptr;
    int length = 0;
    file->getEntityBody(text, length);
    const std::string_view body =
        text == nullptr ? std::string_view() : std::string_view(text, static_cast<std::size_t>(length));
    try {
        const Ctl_Request call = Ctl_ParseCall(body);
        show(call, *file);
        const auto result = Ctl_ResultOf(call.method, shared_.options.sslState);
        return reply(*file, HTTP_RETURN_OK, HTTP_CONTENT_TYPE_TEXT_XML, Ctl_BuildReply(call.method, result));
    } catch (const Ctl_Failure& failure) {
        Ctl_Say(file->getURI() + (": " + std::string(failure.what())));
        return reply(*file, HTTP_RETURN_BAD_REQUEST, HTTP_CONTENT_TYPE_TEXT_HTML, notACall);
    }
}

void Ctl_ServeHandler::show(const Ctl_Request& call, const HTTP_File& file) {
    const std::time_t now = std::time(nullptr);
    const std::lock_guard lock(shared_.outputMutex);
    if (shared_.observer) {
        shared_.observer(call);
        return;
    }
    const std::string text =
        Ctl_DescribeCall(call, now, protocolOf(file), file.getURI(), shared_.options.json);
    std::fwrite(text.data(), 1, text.size(), shared_.output);
    std::fflush(shared_.output);
}

std::unique_ptr<HTTP_RequestHandler> Ctl_ServeHandlerFactory::createHandler() {
    return std::make_unique<Ctl_ServeHandler>(shared_);
}
