#pragma once

#include <cstdlib>
#include <iostream>
#include <string>

#include "face/LifeCycle.h"

/// Stands in for the server in LifeCycleMainTest, so that each step of main can fail. It writes the
/// name of each step; the one that the environment variable STEP names is answered with the code in
/// ANSWER, from the second time on with NO_ERROR when that was IN_PROGRESS; all others with
/// NO_ERROR.
class ZephonServer
    : public FACE::LCM::Initializable::InitializableInstance,
      public FACE::LCM::Configurable::ConfigurableInstance,
      public FACE::LCM::Connectable::ConnectableInstance,
      public FACE::LCM::Meridane::RequestedState_ReportedState::Stateful::StatefulInstance {
public:
    using Code = FACE::RETURN_CODE_TYPE;

    ~ZephonServer() override { std::cout << "destroyed" << std::endl; }

    void Initialize(Code::Value& rc) override { rc = step("Initialize()"); }
    void Finalize(Code::Value& rc) override { rc = step("Finalize()"); }
    void Configure(FACE::String const& /*configuration*/, Code::Value& rc) override {
        rc = step("Configure()");
    }
    void Framework_Connect(FACE::String const& /*configuration*/, Code::Value& rc) override {
        rc = step("Framework_Connect()");
    }
    void Framework_Disconnect(Code::Value& rc) override { rc = step("Framework_Disconnect()"); }
    void Query_State(FACE::LCM::Meridane::ReportedState::Value& /*state*/,
                     Code::Value& rc) override {
        rc = step("Query_State()");
    }
    void Request_State_Transition(FACE::LCM::Meridane::RequestedState::Value request,
                                  Code::Value& rc) override {
        rc = step(request == FACE::LCM::Meridane::RequestedState::START
                      ? "Request_State_Transition(START)"
                      : "Request_State_Transition(STOP)");
    }

private:
    Code::Value step(std::string const& name) {
        std::cout << "step " << name << std::endl;
        char const* const chosen = std::getenv("STEP");
        char const* const answer = std::getenv("ANSWER");
        if (chosen == nullptr || answer == nullptr || name != chosen || delayed_) {
            return Code::NO_ERROR;
        }
        auto const code = static_cast<Code::Value>(std::stoi(answer));
        delayed_ = code == Code::IN_PROGRESS;
        return code;
    }

    bool delayed_ = false;
};
