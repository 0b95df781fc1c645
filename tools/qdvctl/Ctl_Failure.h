#pragma once

#include <stdexcept>
#include <string>

/// How qdvctl ends. Scripts rely on the numbers.
enum Ctl_Status {
    Ctl_Succeeded = 0,
    Ctl_Refused = 1,    ///< the agent answered with another word than "success"; a file was found faulty
    Ctl_WrongUsage = 2, ///< the command line cannot be obeyed
    Ctl_Unanswered = 3, ///< nobody answered, or with something that is no answer
};

/// Ends the command: main prints the message as one line and returns the status.
class Ctl_Failure : public std::runtime_error {
public:
    Ctl_Failure(Ctl_Status status, const std::string& message)
        : std::runtime_error(message), status_(status) {}
    Ctl_Status status() const { return status_; }

private:
    Ctl_Status status_;
};
