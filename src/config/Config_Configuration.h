#pragma once

#include "xml/Xerces_Types.h"

#include <exception>
#include <string>

/// What a configuration file holds: knows the format, knows nothing of files. No locks; no exception leaves
/// it.
class Config_Configuration {
public:
    Config_Configuration() = default;
    Config_Configuration(const Config_Configuration&) = delete;
    Config_Configuration& operator=(const Config_Configuration&) = delete;
    virtual ~Config_Configuration() = default;

    virtual bool parse(xercesc::InputSource& source);
    /// A new zero-terminated array that the caller frees with array delete; the length leaves the zero out.
    /// Null and 0 on failure, and in this class, whose result is true.
    virtual bool serialize(char*& buffer, unsigned& length);

    /// One line for a person why the last operation failed; empty if it did not.
    const std::string& lastError() const { return lastError_; }

protected:
    /// Runs an operation that throws where it fails, and keeps the reason.
    template <class Operation>
    bool attempt(Operation operation) {
        lastError_.clear();
        try {
            operation();
            return true;
        } catch (const std::exception& failure) {
            lastError_ = failure.what();
        } catch (...) {
            lastError_ = "the XML library failed";
        }
        return false;
    }

private:
    std::string lastError_;
};
