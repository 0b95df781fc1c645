#pragma once

#include "rmi/RMI_MethodFactory.h"

/// Knows every method of this agent by its name on the wire. Stateless.
class AgentRMI_MethodFactory : public RMI_MethodFactory {
public:
    std::unique_ptr<RMI_Method> createMethod(const char* name, const char* guid) override;
};
