#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>

/// One text in the form that the XML library takes, for the length of a call: objects live on the stack
/// around one operation of the DOM. The mapping is that of Xerces_Text.h; text ends at its first zero byte.
class Xerces_XercesString {
public:
    /// A null pointer gives a null form.
    explicit Xerces_XercesString(const char* text);
    explicit Xerces_XercesString(std::string_view text);
    Xerces_XercesString(const Xerces_XercesString&) = delete;
    Xerces_XercesString& operator=(const Xerces_XercesString&) = delete;
    virtual ~Xerces_XercesString();

    /// Zero-terminated; owned by this object.
    const char16_t* unicodeForm() const { return form_; }

private:
    /// Names, identities and most values fit, so that they cost no allocation.
    static constexpr std::size_t shortLength = 95;

    void transcode(std::string_view text);

    char16_t* form_ = nullptr;
    std::size_t capacity_ = 0; ///< of the form, with its zero
    std::unique_ptr<char16_t[]> long_;
    std::array<char16_t, shortLength + 1> short_;
};

/// A new array that holds `text` and a zero byte. It goes out through a `char*&` and belongs to the caller,
/// who releases it with array delete.
char* nxNewText(std::string_view text);

/// The bytes behind a text of the XML library, as a new array; null for null. nxDeleteTranscode releases it.
char* nxTranscode(const char16_t* units);
void nxDeleteTranscode(char* text);
