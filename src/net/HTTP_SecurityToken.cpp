#include "net/HTTP_SecurityToken.h"

#include "date/System_Date.h"

#include <cstring>

namespace {

constexpr unsigned char shift = 0x5B;

std::string shifted(const char* text) {
    std::string result(text == nullptr ? "" : text);
    for (char& c : result)
        c = static_cast<char>(static_cast<unsigned char>(c) + shift);
    return result;
}

void unshift(const std::string& held, std::string& text) {
    text.resize(held.size());
    for (std::size_t i = 0; i < held.size(); ++i)
        text[i] = static_cast<char>(static_cast<unsigned char>(held[i]) - shift);
}

void wipe(std::string& text) {
    ::explicit_bzero(text.data(), text.size());
    text.clear();
}

} // namespace

HTTP_SecurityToken::HTTP_SecurityToken() : date_(System_FactoryAllocateDate()) {
    date_->setToCurrentTime();
}

HTTP_SecurityToken::~HTTP_SecurityToken() {
    wipe(user_);
    wipe(password_);
}

void HTTP_SecurityToken::init() {
    date_->setToCurrentTime();
    wipe(user_);
    wipe(password_);
}

void HTTP_SecurityToken::setUser(const char* user) {
    wipe(user_);
    user_ = shifted(user);
}

void HTTP_SecurityToken::setPass(const char* password) {
    wipe(password_);
    password_ = shifted(password);
}

void HTTP_SecurityToken::getUser(std::string& user) const {
    unshift(user_, user);
}

void HTTP_SecurityToken::getPass(std::string& password) const {
    unshift(password_, password);
}

System_Date* HTTP_SecurityToken::getExpiration() const {
    return date_.get();
}
