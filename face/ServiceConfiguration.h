#pragma once

#include <memory>

#include "face/Configuration.h"
#include "face/ReturnCode.h"
#include "face/String.h"

namespace FACE::IOSS {

/// The configuration of an I/O service: given once, initialized once. Every bus holds one, and its
/// Set_Reference and Initialize are the two here. No locks: both belong to the start-up path.
class ServiceConfiguration {
public:
    /// NOT_AVAILABLE when there is a configuration already, INVALID_PARAM for null.
    void Set_Reference(std::shared_ptr<Configuration> const& reference,
                       RETURN_CODE_TYPE::Value& rc);

    /// Initializes the configuration with `config_name`; INVALID_CONFIG when that fails or there
    /// is none, INVALID_PARAM for an invalid name. NO_ACTION when it was done already.
    void Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc);

    /// Opens the container of that name, has `readKeys(config, handle)` read it, and closes it.
    /// Returns what `readKeys` answers; false without a configuration or the container.
    template <typename ReadKeys>
    bool readContainer(String const& container, ReadKeys readKeys) const {
        if (configuration_ == nullptr) {
            return false;
        }
        int handle = -1;
        RETURN_CODE_TYPE::Value rc = RETURN_CODE_TYPE::NO_ERROR;
        configuration_->Open(container, handle, rc);
        if (rc != RETURN_CODE_TYPE::NO_ERROR) {
            return false;
        }
        bool const complete = readKeys(*configuration_, handle);
        configuration_->Close(handle, rc);  // nothing hangs on its answer
        return complete;
    }

private:
    bool initialized_ = false;
    std::shared_ptr<Configuration> configuration_;
};

}  // namespace FACE::IOSS
