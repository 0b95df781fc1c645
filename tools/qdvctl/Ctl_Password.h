#pragma once

#include <string>

/// A password on its way into one request. Its memory is wiped when it goes.
class Ctl_Password {
public:
    Ctl_Password() = default;
    explicit Ctl_Password(std::string text) : text_(std::move(text)) {}
    Ctl_Password(Ctl_Password&& other) noexcept;
    Ctl_Password& operator=(Ctl_Password&& other) noexcept;
    Ctl_Password(const Ctl_Password&) = delete;
    Ctl_Password& operator=(const Ctl_Password&) = delete;
    ~Ctl_Password();

    const std::string& text() const { return text_; }

private:
    std::string text_;
};

/// Asks on the terminal that controls the process, without echo, also when standard input and output go
/// elsewhere. Throws Ctl_Failure if there is no terminal or no answer.
Ctl_Password Ctl_AskPassword(const std::string& user);

/// The first line that can be read from a descriptor. Throws Ctl_Failure if none can.
Ctl_Password Ctl_ReadPassword(int descriptor);
