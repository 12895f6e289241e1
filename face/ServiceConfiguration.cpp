#include "face/ServiceConfiguration.h"

namespace FACE::IOSS {

void ServiceConfiguration::Set_Reference(std::shared_ptr<Configuration> const& reference,
                                         RETURN_CODE_TYPE::Value& rc) {
    if (configuration_ != nullptr) {
        rc = RETURN_CODE_TYPE::NOT_AVAILABLE;
        return;
    }
    if (reference == nullptr) {
        rc = RETURN_CODE_TYPE::INVALID_PARAM;
        return;
    }
    configuration_ = reference;
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void ServiceConfiguration::Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc) {
    if (initialized_) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
        return;
    }
    if (!config_name.is_valid()) {
        rc = RETURN_CODE_TYPE::INVALID_PARAM;
        return;
    }
    RETURN_CODE_TYPE::Value loaded = RETURN_CODE_TYPE::INVALID_CONFIG;
    if (configuration_ != nullptr) {
        configuration_->Initialize(config_name, loaded);
    }
    if (loaded != RETURN_CODE_TYPE::NO_ERROR && loaded != RETURN_CODE_TYPE::NO_ACTION) {
        rc = RETURN_CODE_TYPE::INVALID_CONFIG;
        return;
    }
    initialized_ = true;
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

}  // namespace FACE::IOSS
