#include "net/HTTP_SecurityToken.h"

#include "date/System_Date.h"

#include <algorithm>

namespace {

constexpr unsigned char shift = 0x5B;

Secret_Text shifted(const char* text) {
    Secret_Text result(text == nullptr ? "" : text);
    std::for_each(result.data(), result.data() + result.size(),
                  [](char& c) { c = static_cast<char>(static_cast<unsigned char>(c) + shift); });
    return result;
}

void unshift(const Secret_Text& held, std::string& text) {
    text.resize(held.size());
    for (std::size_t i = 0; i < held.size(); ++i)
        text[i] = static_cast<char>(static_cast<unsigned char>(held.view()[i]) - shift);
}

} // namespace

HTTP_SecurityToken::HTTP_SecurityToken() : date_(System_FactoryAllocateDate()) {
    date_->setToCurrentTime();
}

HTTP_SecurityToken::~HTTP_SecurityToken() = default;

void HTTP_SecurityToken::init() {
    date_->setToCurrentTime();
    user_.clear();
    password_.clear();
}

void HTTP_SecurityToken::setUser(const char* user) {
    user_ = shifted(user);
}

void HTTP_SecurityToken::setPass(const char* password) {
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
