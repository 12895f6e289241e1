#pragma once

#include <cstdint>

#include "face/ReturnCode.h"
#include "face/String.h"

/// The four life-cycle interfaces that the process's main drives. A call that answers
/// IN_PROGRESS wants to be made again. One thread calls them, one call at a time.
namespace FACE::LCM {

namespace Initializable {
class InitializableInstance {
public:
    virtual ~InitializableInstance() = default;
    virtual void Initialize(RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Finalize(RETURN_CODE_TYPE::Value& return_code) = 0;
};
}  // namespace Initializable

namespace Configurable {
class ConfigurableInstance {
public:
    virtual ~ConfigurableInstance() = default;
    virtual void Configure(String const& configuration, RETURN_CODE_TYPE::Value& return_code) = 0;
};
}  // namespace Configurable

namespace Connectable {
class ConnectableInstance {
public:
    virtual ~ConnectableInstance() = default;
    virtual void Framework_Connect(String const& configuration,
                                   RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Framework_Disconnect(RETURN_CODE_TYPE::Value& return_code) = 0;
};
}  // namespace Connectable

namespace Meridane {

struct RequestedState {
    enum Value : std::int32_t { START = 0, STOP = 1 };
};

struct ReportedState {
    enum Value : std::int32_t { RUNNING = 0, STOPPED = 1 };
};

namespace RequestedState_ReportedState::Stateful {
class StatefulInstance {
public:
    virtual ~StatefulInstance() = default;
    virtual void Query_State(ReportedState::Value& state, RETURN_CODE_TYPE::Value& return_code) = 0;
    /// NOT_AVAILABLE when the transition does not lead out of the present state.
    virtual void Request_State_Transition(RequestedState::Value request,
                                          RETURN_CODE_TYPE::Value& return_code) = 0;
};
}  // namespace RequestedState_ReportedState::Stateful

}  // namespace Meridane

}  // namespace FACE::LCM
