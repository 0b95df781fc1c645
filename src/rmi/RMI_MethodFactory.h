#pragma once

#include <memory>

class RMI_Method;

/// Makes the object for a call from the method's name.
class RMI_MethodFactory {
public:
    virtual ~RMI_MethodFactory() = default;
    /// Null for a name that is not known. `guid` is the identity that the request named; null counts as
    /// empty.
    virtual std::unique_ptr<RMI_Method> createMethod(const char* name, const char* guid) = 0;
};
