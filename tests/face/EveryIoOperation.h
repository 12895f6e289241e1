#pragma once

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "face/IoServices.h"

/// What each operation of an I/O service that takes a handle answers for `handle`; closes it last.
template <class Service>
std::map<std::string, FACE::RETURN_CODE_TYPE::Value> everyIoOperation(Service& service,
                                                                      long long handle) {
    using Code = FACE::RETURN_CODE_TYPE;
    struct Callback : FACE::IOSS::IO_Callback {
        void Process_Notification_Event(
            long long /*handle*/, FACE::IOSS::NOTIFICATION_EVENT_TYPE::Value /*event*/) override {}
    };
    std::map<std::string, Code::Value> codes;
    auto const record = [&codes](char const* name, auto const& call) {
        Code::Value rc = Code::IN_PROGRESS;
        call(rc);
        codes[name] = rc;
    };
    typename Service::READ_PAYLOAD_TYPE readPayload;
    typename Service::WRITE_PAYLOAD_TYPE writePayload;
    FACE::IOSS::IO_PARAMETER_TRANSACTION_TYPE transaction;
    FACE::IOSS::CONNECTION_STATUS_TYPE status;
    unsigned short busStatus = 0xEEEE;
    Callback callback;
    record("Read", [&](auto& rc) { service.Read(handle, 0, readPayload, rc); });
    record("Write", [&](auto& rc) { service.Write(handle, 0, writePayload, rc); });
    record("Configure_Connection_Parameters",
           [&](auto& rc) { service.Configure_Connection_Parameters(handle, 0, transaction, rc); });
    record("Get_Connection_Configuration",
           [&](auto& rc) { service.Get_Connection_Configuration(handle, 0, transaction, rc); });
    record("Configure_Bus_Parameters",
           [&](auto& rc) { service.Configure_Bus_Parameters(handle, 0, transaction, rc); });
    record("Get_Bus_Configuration",
           [&](auto& rc) { service.Get_Bus_Configuration(handle, 0, transaction, rc); });
    record("Get_Connection_Status",
           [&](auto& rc) { service.Get_Connection_Status(handle, status, rc); });
    record("Get_Bus_Status", [&](auto& rc) { service.Get_Bus_Status(handle, busStatus, rc); });
    record("Register_Notification_Event",
           [&](auto& rc) { service.Register_Notification_Event(handle, callback, rc); });
    record("Unregister_Notification_Event",
           [&](auto& rc) { service.Unregister_Notification_Event(handle, rc); });
    record("Close_Connection", [&](auto& rc) { service.Close_Connection(handle, rc); });
    EXPECT_EQ(busStatus, codes["Get_Bus_Status"] == Code::NO_ERROR ? 0 : 0xEEEE);
    return codes;
}
