#pragma once

#include "base/Secret_Text.h"
#include "net/HTTP_Types.h"

#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>

/// One header of a request or a reply: a name and a value. A header class for one purpose has a fixed name,
/// which parsing keeps; a plain header takes the name of the line. A value that is moved: a value of some
/// headers holds a password. Used by one thread at a time.
class HTTP_Header {
public:
    HTTP_Header() = default;
    HTTP_Header(HTTP_Header&&) = default;
    HTTP_Header& operator=(HTTP_Header&&) = default;

    /// `out` gets `in` without any leading or trailing blank or double quote. False if nothing is left.
    virtual bool stripDoubleQuotes(const std::string* in, std::string* out) const;
    /// Appends the value as it goes on the wire; false if there is none.
    virtual bool getSerializeValue(std::string* out) const;
    virtual ~HTTP_Header() = default;
    /// Reads a header line with its CRLF. False if it is none, or if the value is not one for this class.
    virtual bool parse(const std::string* line);

    /// Appends the whole line. False, with nothing appended, if there is no value.
    bool serialize(std::string* out) const;

    const std::string& getName() const { return name_; }
    const std::string& getValue() const { return value_.asString(); }

protected:
    explicit HTTP_Header(std::string_view fixedName) : name_(fixedName), fixedName_(true) {}
    void setValue(std::string_view value) { value_.assign(value); }

private:
    std::string name_;
    bool fixedName_ = false;
    Secret_Text value_;
};

class HTTP_HeaderUserAgent : public HTTP_Header {
public:
    static constexpr std::string_view Name = "User-Agent";
    HTTP_HeaderUserAgent() : HTTP_Header(Name) {}

    const std::string& getUserAgent() const { return getValue(); }
    void setUserAgent(std::string_view userAgent) { setValue(userAgent); }
};

class HTTP_HeaderContentType : public HTTP_Header {
public:
    static constexpr std::string_view Name = "Content-Type";
    HTTP_HeaderContentType() : HTTP_Header(Name) {}

    bool parse(const std::string* line) override;
    HTTP_Content_Type getContentType() const { return type_; }

private:
    HTTP_Content_Type type_ = HTTP_CONTENT_TYPE_UNKNOWN;
};

class HTTP_HeaderContentLength : public HTTP_Header {
public:
    static constexpr std::string_view Name = "Content-Length";
    HTTP_HeaderContentLength() : HTTP_Header(Name) {}

    bool parse(const std::string* line) override;
    /// A negative or unreadable length counts as 0, one too large for the type as the largest.
    unsigned long getContentLength() const { return length_; }

private:
    unsigned long length_ = 0;
};

class HTTP_HeaderConnection : public HTTP_Header {
public:
    enum ConnectionType { KEEP_ALIVE = 1, CLOSE = 2, UNKNOWN = 999 };

    static constexpr std::string_view Name = "Connection";
    HTTP_HeaderConnection() : HTTP_Header(Name) {}

    bool parse(const std::string* line) override;
    ConnectionType getConnectionType() const { return type_; }

private:
    ConnectionType type_ = UNKNOWN;
};

using HTTP_HeaderMap = std::multimap<std::string, std::unique_ptr<HTTP_Header>>;

/// The header for a line, by the start of its name in any case, not parsed yet. Never null.
std::unique_ptr<HTTP_Header> HTTP_FactoryAllocateHeader(std::string_view line);

/// Whether a header of that name came, in any case.
bool HTTP_HasHeader(const HTTP_HeaderMap& headers, std::string_view name);
/// Whether one came with that value, in any case.
bool HTTP_HasHeader(const HTTP_HeaderMap& headers, std::string_view name, std::string_view value);

/// The last header that came with the name of the class; null if none did. The map must hold headers made by
/// HTTP_FactoryAllocateHeader, which gives a fixed name to no other class.
template <typename Header>
const Header* HTTP_LastHeader(const HTTP_HeaderMap& headers) {
    const auto [first, end] = headers.equal_range(std::string(Header::Name));
    return first == end ? nullptr : static_cast<const Header*>(std::prev(end)->second.get());
}
