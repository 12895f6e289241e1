#pragma once

#include <memory>

#include "face/MX_Config.h"
#include "ioss_mcsq/MX_MCSQ.h"
#include "tests/ioss_mcsq/McsqFixture.h"

using FACE::IOSS::MX_MCSQ;
using FACE::IOSS::octet;
using Octets = FACE::Sequence<octet>;
using FACE::IOSS::MCSQ::READ_PAYLOAD_TYPE;
using FACE::IOSS::MCSQ::WRITE_PAYLOAD_TYPE;

/// The queue service over the fixture's pipes.
class ServiceFixture : public McsqFixture {
protected:
    /// Gives the service its configuration.
    void start() {
        Code::Value rc = Code::IN_PROGRESS;
        service->Set_Reference("Configuration", std::make_shared<FACE::MX_Config>(), 0, rc);
        ASSERT_EQ(rc, Code::NO_ERROR);
        rc = Code::IN_PROGRESS;
        service->Initialize(configFile().c_str(), rc);
        ASSERT_EQ(rc, Code::NO_ERROR);
    }

    Code::Value open(char const* name, long long& handle) {
        Code::Value rc = Code::IN_PROGRESS;
        service->Open_Connection(name, 0, handle, rc);
        return rc;
    }

    /// Opens a queue that opens.
    long long opened(char const* name) {
        long long handle = -7;
        EXPECT_EQ(open(name, handle), Code::NO_ERROR);
        return handle;
    }

    Code::Value close(long long handle) {
        Code::Value rc = Code::IN_PROGRESS;
        service->Close_Connection(handle, rc);
        return rc;
    }

    Code::Value read(long long handle, READ_PAYLOAD_TYPE& payload) {
        Code::Value rc = Code::IN_PROGRESS;
        service->Read(handle, -1, payload, rc);
        return rc;
    }

    Code::Value write(long long handle, Bytes const& bytes) {
        WRITE_PAYLOAD_TYPE const payload{
            Octets(bytes.data(), static_cast<std::uint32_t>(bytes.size()))};
        Code::Value rc = Code::IN_PROGRESS;
        service->Write(handle, -1, payload, rc);
        return rc;
    }

    Code::Value listen(long long handle, MX_MCSQ::IO_Callback& callback) {
        Code::Value rc = Code::IN_PROGRESS;
        service->Register_Notification_Event(handle, callback, rc);
        return rc;
    }

    Code::Value ignore(long long handle) {
        Code::Value rc = Code::IN_PROGRESS;
        service->Unregister_Notification_Event(handle, rc);
        return rc;
    }

    unsigned short busStatus(long long handle) {
        unsigned short status = 77;
        Code::Value rc = Code::IN_PROGRESS;
        service->Get_Bus_Status(handle, status, rc);
        EXPECT_EQ(status == 0, rc == Code::NO_ERROR);
        return status;
    }

    static READ_PAYLOAD_TYPE room(std::uint32_t size) {
        Bytes const bytes(size, 0xEE);
        Octets::RETURN_CODE code{};
        return {Octets(bytes.data(), size, code)};
    }

    static Bytes content(READ_PAYLOAD_TYPE const& payload) {
        return {payload.data.begin(), payload.data.end()};
    }

    std::unique_ptr<MX_MCSQ> service = std::make_unique<MX_MCSQ>();
};
