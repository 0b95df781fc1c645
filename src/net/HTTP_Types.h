#pragma once

#include <optional>
#include <string_view>

/// The closed sets of HTTP that the agent speaks, with their texts on the wire.

enum HTTP_Method {
    HTTP_METHOD_GET = 1,
    HTTP_METHOD_POST = 2,
    HTTP_METHOD_UNKNOWN = 999,
};

enum HTTP_Content_Type {
    HTTP_CONTENT_TYPE_TEXT_HTML = 0,
    HTTP_CONTENT_TYPE_IMAGE_JPG = 1,
    HTTP_CONTENT_TYPE_IMAGE_GIF = 2,
    HTTP_CONTENT_TYPE_TEXT_XML = 3,
    HTTP_CONTENT_TYPE_FORM_URLENCODED = 4,
    HTTP_CONTENT_TYPE_ANY = 999,
    HTTP_CONTENT_TYPE_UNKNOWN = 1000,
};

/// A peer may answer with a code that is not listed, so any int is a value of this type.
enum HTTP_Return_Code : int {
    HTTP_RETURN_OK = 200,
    HTTP_RETURN_CREATED = 201,
    HTTP_RETURN_ACCEPTED = 202,
    HTTP_RETURN_NO_CONTENT = 204,
    HTTP_RETURN_MOVED_PERMANENTLY = 301,
    HTTP_RETURN_MOVED_TEMPORARILY = 302,
    HTTP_RETURN_NOT_MODIFIED = 304,
    HTTP_RETURN_BAD_REQUEST = 400,
    HTTP_RETURN_UNAUTHORIZED = 401,
    HTTP_RETURN_FORBIDDEN = 403,
    HTTP_RETURN_NOT_FOUND = 404,
    HTTP_RETURN_PROXY_AUTHORIZATION = 407,
    HTTP_RETURN_INTERNAL_SERVER_ERROR = 500,
    HTTP_RETURN_NOT_IMPLEMENTED = 501,
    HTTP_RETURN_BAD_GATEWAY = 502,
    HTTP_RETURN_SERVICE_UNAVAILABLE = 503,
};

/// "GET" or "POST"; nothing for any other method.
std::optional<std::string_view> HTTP_MethodText(HTTP_Method method);
/// Exactly "GET" or "POST", case included; anything else is HTTP_METHOD_UNKNOWN.
HTTP_Method HTTP_MethodFromText(std::string_view text);

/// The reason text of a status line, "UNKNOWN" for a code that is not listed.
std::string_view HTTP_ReasonText(HTTP_Return_Code code);

/// The type's text; nothing for HTTP_CONTENT_TYPE_UNKNOWN or a value outside the enumeration.
std::optional<std::string_view> HTTP_ContentTypeText(HTTP_Content_Type type);
/// The type with whose text `value` begins in any case, so that parameters such as a charset are passed over.
HTTP_Content_Type HTTP_ContentTypeFromText(std::string_view value);
