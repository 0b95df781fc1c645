#include "base/String_Functions.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

template <class Change>
char* changeEach(char* text, Change change) {
    for (char* c = text; c != nullptr && *c != '\0'; ++c)
        *c = static_cast<char>(change(static_cast<unsigned char>(*c)));
    return text;
}

} // namespace

bool nxstrtrim(char* text) {
    if (text == nullptr)
        return false;
    std::size_t end = std::strlen(text);
    while (end > 0 && text[end - 1] == ' ')
        --end;
    const std::size_t start = std::min(std::strspn(text, " "), end);
    std::memmove(text, text + start, end - start);
    text[end - start] = '\0';
    return true;
}

char* nxstrtoupr(char* text) {
    return changeEach(text, [](int c) { return std::toupper(c); });
}

char* nxstrtolwr(char* text) {
    return changeEach(text, [](int c) { return std::tolower(c); });
}

std::uint64_t nxhtoi(const char* text) {
    if (text == nullptr)
        return 0;
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text += 2;
    std::uint64_t number = 0;
    for (int digit = hexDigit(*text); digit >= 0; digit = hexDigit(*++text))
        number = number << 4 | static_cast<std::uint64_t>(digit);
    return number;
}

std::string nxitos(int number) {
    return std::to_string(number);
}

char* nxsubstr(char* destination, const char* source, std::size_t start, std::size_t end) {
    const std::size_t length = *source == '\0' ? 0 : end - start + 1;
    std::memcpy(destination, source + (length == 0 ? 0 : start), length);
    destination[length] = '\0';
    return destination + length;
}

bool isStringNumeric(const char* text, std::size_t count) {
    // Ends at the terminating zero byte, which is no digit.
    return text != nullptr && std::all_of(text, text + count, isDigit);
}

std::vector<std::string> string2vector(const std::string& text, const std::string& delimiters) {
    std::vector<std::string> tokens;
    for (std::size_t end = 0;;) {
        const std::size_t start = text.find_first_not_of(delimiters, end);
        if (start == std::string::npos)
            return tokens;
        end = std::min(text.find_first_of(delimiters, start), text.size());
        tokens.emplace_back(text, start, end - start);
    }
}

std::string nxGetLastErrorMessage() {
    const int error = errno;
    if (error == 0)
        return std::string();
    char buffer[256];
    std::string message =
        "System error " + std::to_string(error) + ' ' + strerror_r(error, buffer, sizeof(buffer));
    errno = error;
    return message;
}
