#include "model/Auditable_Auditable.h"

#include "host/Host_Host.h"

#include <string_view>

Auditable_Auditable::~Auditable_Auditable() = default;

const char* Auditable_Auditable::getAuditParameterValue(const char* key) const {
    if (key == nullptr || !parameters_)
        return nullptr;
    const auto found = parameters_->find(key);
    return found == parameters_->end() ? nullptr : found->second.c_str();
}

bool Auditable_Auditable::setAuditParameterValue(const char* key, const char* value) {
    if (key == nullptr || value == nullptr)
        return false;
    if (!parameters_)
        parameters_ = std::make_unique<Parameters>();
    parameters_->try_emplace(key, std::string_view(value));
    return true;
}

bool Auditable_Auditable::copyAuditParameters(const Auditable_Auditable* from) {
    if (from == nullptr)
        return false;
    if (from->host_ != nullptr)
        host_ = from->host_;
    if (from == this || !from->parameters_)
        return true;
    for (const auto& [key, value] : *from->parameters_)
        setAuditParameterValue(key.c_str(), value.c_str());
    return true;
}

Host_Host& Auditable_Auditable::getHost() const {
    return host_ != nullptr ? *host_ : Host_Real();
}
