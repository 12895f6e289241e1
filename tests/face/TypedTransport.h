#pragma once

#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "face/MX_TypedTS.h"
#include "tests/face/TransportFixture.h"

/// What a callback was given.
template <class T>
struct Received {
    long long connection = 0;
    long long transaction = 0;
    T record;
    FACE::TSS::HEADER_TYPE header;
    std::vector<std::pair<std::string, std::string>> policies;
    Code::Value code = Code::TIMED_OUT;
    std::thread::id thread;
};

/// A callback that leaves all it was given in the mailbox, which must outlive it.
template <class T>
FACE::TSS::Read_Callback<T> into(Mailbox<Received<T>>& mailbox) {
    return [&mailbox](long long connection, long long transaction, T const& record,
                      FACE::TSS::HEADER_TYPE const& header,
                      FACE::Sequence<FACE::TSS::QoS_Element> const& policies, Code::Value& code) {
        Received<T> received{
            connection, transaction, record, header, {}, code, std::this_thread::get_id()};
        for (auto const& policy : policies) {
            received.policies.emplace_back(FACE::ToStdString(policy.name),
                                           FACE::ToStdString(policy.value));
        }
        mailbox.put(std::move(received));
    };
}

/// The typed face of a transport, with the codes as results.
template <class T>
class Typed {
public:
    explicit Typed(std::shared_ptr<FACE::TSS::Base> const& base) {
        Code::Value rc = Code::TIMED_OUT;
        ts.Set_Reference("transport", base, 0, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
    }

    Code::Value registerSender(long long id) {
        Code::Value rc = Code::TIMED_OUT;
        ts.Register_Sender(id, rc);
        return rc;
    }
    Code::Value registerCallback(long long id, FACE::TSS::Read_Callback<T> callback) {
        Code::Value rc = Code::TIMED_OUT;
        ts.Register_Callback(id, std::move(callback), rc);
        return rc;
    }
    Code::Value send(long long id, T const& record) {
        Code::Value rc = Code::TIMED_OUT;
        long long transaction = 0;
        ts.Send_Message(id, 0, transaction, record, rc);
        return rc;
    }

    FACE::TSS::Details::MX_TypedTS<T> ts;
};
