#include "net/HTTP_Types.h"

#include "net/HTTP_Text.h"

namespace {

template <typename Value>
struct Named {
    Value value;
    std::string_view text;
};

constexpr Named<HTTP_Method> methods[] = {
    {HTTP_METHOD_GET, "GET"},
    {HTTP_METHOD_POST, "POST"},
};

constexpr Named<HTTP_Content_Type> contentTypes[] = {
    {HTTP_CONTENT_TYPE_TEXT_HTML, "text/html"},
    {HTTP_CONTENT_TYPE_IMAGE_JPG, "image/jpg"},
    {HTTP_CONTENT_TYPE_IMAGE_GIF, "image/gif"},
    {HTTP_CONTENT_TYPE_TEXT_XML, "text/xml"},
    {HTTP_CONTENT_TYPE_FORM_URLENCODED, "application/x-www-form-urlencoded"},
    {HTTP_CONTENT_TYPE_ANY, "*/*"},
};

constexpr Named<HTTP_Return_Code> reasons[] = {
    {HTTP_RETURN_OK, "OK"},
    {HTTP_RETURN_CREATED, "CREATED"},
    {HTTP_RETURN_ACCEPTED, "ACCEPTED"},
    {HTTP_RETURN_NO_CONTENT, "NO CONTENT"},
    {HTTP_RETURN_MOVED_PERMANENTLY, "MOVED PERMANENTLY"},
    {HTTP_RETURN_MOVED_TEMPORARILY, "MOVED TEMPORARILY"},
    {HTTP_RETURN_NOT_MODIFIED, "NOT MODIFIED"},
    {HTTP_RETURN_BAD_REQUEST, "BAD REQUEST"},
    {HTTP_RETURN_UNAUTHORIZED, "UNAUTHORIZED"},
    {HTTP_RETURN_FORBIDDEN, "FORBIDDEN"},
    {HTTP_RETURN_NOT_FOUND, "NOT FOUND"},
    {HTTP_RETURN_PROXY_AUTHORIZATION, "PROXY AUTHORIZATION"},
    {HTTP_RETURN_INTERNAL_SERVER_ERROR, "INTERNAL SERVER ERROR"},
    {HTTP_RETURN_NOT_IMPLEMENTED, "NOT IMPLEMENTED"},
    {HTTP_RETURN_BAD_GATEWAY, "BAD GATEWAY"},
    {HTTP_RETURN_SERVICE_UNAVAILABLE, "SERVICE UNAVAILABLE"},
};

template <typename Value, std::size_t size>
std::optional<std::string_view> textOf(const Named<Value> (&table)[size], Value value) {
    for (const auto& row : table) {
        if (row.value == value)
            return row.text;
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string_view> HTTP_MethodText(HTTP_Method method) {
    return textOf(methods, method);
}

HTTP_Method HTTP_MethodFromText(std::string_view text) {
    for (const auto& row : methods) {
        if (text == row.text)
            return row.value;
    }
    return HTTP_METHOD_UNKNOWN;
}

std::string_view HTTP_ReasonText(HTTP_Return_Code code) {
    return textOf(reasons, code).value_or("UNKNOWN");
}

std::optional<std::string_view> HTTP_ContentTypeText(HTTP_Content_Type type) {
    return textOf(contentTypes, type);
}

HTTP_Content_Type HTTP_ContentTypeFromText(std::string_view value) {
    for (const auto& row : contentTypes) {
        if (HTTP_StartsWithIgnoringCase(value, row.text))
            return row.value;
    }
    return HTTP_CONTENT_TYPE_UNKNOWN;
}
