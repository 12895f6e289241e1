#include "benchmarks/LocalServer.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace benchmarks {

void connect(ZephonServer& server, bench::Bench& bench) {
    if (::setenv(bench::DeviceRoot::environmentVariable, bench.devices().path().c_str(), 1) != 0) {
        throw std::runtime_error("the environment takes no device root");
    }
    std::string const file = bench.configuration().write(bench.folder().path());
    FACE::RETURN_CODE_TYPE::Value code = FACE::RETURN_CODE_TYPE::NO_ACTION;
    server.Configure(file.c_str(), code);
    if (code == FACE::RETURN_CODE_TYPE::NO_ERROR) {
        server.Framework_Connect(file.c_str(), code);
    }
    if (code != FACE::RETURN_CODE_TYPE::NO_ERROR) {
        throw std::runtime_error("the server does not connect");
    }
}

void start(ZephonServer& server) {
    FACE::RETURN_CODE_TYPE::Value code = FACE::RETURN_CODE_TYPE::NO_ACTION;
    server.Request_State_Transition(ZephonServer::RequestedState::START, code);
    if (code != FACE::RETURN_CODE_TYPE::NO_ERROR) {
        throw std::runtime_error("the server does not start");
    }
}

}  // namespace benchmarks
