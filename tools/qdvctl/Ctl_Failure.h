#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

/// How qdvctl ends. Scripts rely on the numbers.
enum Ctl_Status {
    Ctl_Succeeded = 0,
    Ctl_Refused = 1,    ///< the agent answered with another word than "success"; a file was found faulty
    Ctl_WrongUsage = 2, ///< the command line cannot be obeyed
    Ctl_Unanswered = 3, ///< nobody answered, or with something that is no answer
};

/// Ends the command: main prints the message as one line, below it the place, and returns the status.
class Ctl_Failure : public std::runtime_error {
public:
    Ctl_Failure(Ctl_Status status, const std::string& message, std::string place = {})
        : std::runtime_error(message), status_(status),
          place_(std::make_shared<const std::string>(std::move(place))) {}
    Ctl_Status status() const { return status_; }
    /// Lines, fit for a terminal, that show what is meant in what the user wrote; mostly empty.
    const std::string& place() const { return *place_; }

private:
    Ctl_Status status_;
    std::shared_ptr<const std::string> place_; ///< shared, since copying an exception must not throw
};
