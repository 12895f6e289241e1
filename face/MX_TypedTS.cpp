#include "face/MX_TypedTS.h"

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

#include <fastrtps/publisher/Publisher.h>

#include "aspn2_msgs/Altitude.h"
#include "aspn2_msgs/AssuranceState.h"
#include "aspn2_msgs/BitEntryStatus.h"
#include "aspn2_msgs/BitReport.h"
#include "aspn2_msgs/ChallengedEnvironment.h"
#include "aspn2_msgs/ChannelStatus.h"
#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/DeltaTimeAndFrequency.h"
#include "aspn2_msgs/EventLog.h"
#include "aspn2_msgs/ForwardReverseStatus.h"
#include "aspn2_msgs/GNSS.h"
#include "aspn2_msgs/GNSSSubframe.h"
#include "aspn2_msgs/GPSCryptoStatus.h"
#include "aspn2_msgs/GPSLineOfSight.h"
#include "aspn2_msgs/GPSTime.h"
#include "aspn2_msgs/GSSIP.h"
#include "aspn2_msgs/IMU.h"
#include "aspn2_msgs/MaintenanceEvent.h"
#include "aspn2_msgs/MeasurementIncorporationStatus.h"
#include "aspn2_msgs/MeridanePNT.h"
#include "aspn2_msgs/NavigationMode.h"
#include "aspn2_msgs/PlatformDynamics.h"
#include "aspn2_msgs/PositionVelocity.h"
#include "aspn2_msgs/PositionVelocityAttitude.h"
#include "aspn2_msgs/ReceiverStatus.h"
#include "aspn2_msgs/SVStatus.h"
#include "aspn2_msgs/ThreeAxisMagnetometer.h"
#include "aspn2_msgs/TimeAtTheTone.h"
#include "aspn2_msgs/TimeSync.h"
#include "aspn2_msgs/TopicTypes.h"
#include "aspn2_msgs/UTCTime.h"
#include "aspn2_msgs/UtcDownlink.h"
#include "aspn2_msgs/Velocity3D.h"
#include "face/Listeners.h"
#include "face/MX_TSS.h"

namespace FACE::TSS::Details {

template <class T>
void MX_TypedTS<T>::Receive_Message(long long /*connection_id*/, long long /*timeout*/,
                                    long long& /*transaction_id*/, T& /*message*/,
                                    HEADER_TYPE& /*header*/, Sequence<QoS_Element>& /*qos*/,
                                    RETURN_CODE_TYPE::Value& /*rc*/) {
    throw std::runtime_error("MX_TypedTS::Receive_Message() is not supported.");
}

template <class T>
void MX_TypedTS<T>::Set_Reference(String const& /*interface_name*/,
                                  std::shared_ptr<Base> const& base, long long /*id*/,
                                  RETURN_CODE_TYPE::Value& rc) {
    if (transport_ != nullptr) {
        rc = RETURN_CODE_TYPE::NOT_AVAILABLE;
        return;
    }
    transport_ = std::dynamic_pointer_cast<MX_TSS>(base);
    rc = transport_ != nullptr ? RETURN_CODE_TYPE::NO_ERROR : RETURN_CODE_TYPE::INVALID_PARAM;
}

template <class T>
template <class Action>
RETURN_CODE_TYPE::Value MX_TypedTS<T>::withConnection(long long connection_id, Action action) {
    if (transport_ == nullptr || !transport_->isInitialized()) {
        return RETURN_CODE_TYPE::NOT_AVAILABLE;
    }
    TransportConnection& connection =
        transport_->connectionMap_mutex_at(MX_TSS::tableKey(connection_id));
    return connection.carries(typeid(aspn2_msgs::TopicPubSubType<T>))
               ? action(connection)
               : RETURN_CODE_TYPE::INVALID_PARAM;
}

template <class T>
template <class Action>
void MX_TypedTS<T>::onConnection(long long connection_id, RETURN_CODE_TYPE::Value& rc,
                                 Action action) {
    try {
        rc = withConnection(connection_id, action);
    } catch (std::out_of_range const&) {
        rc = RETURN_CODE_TYPE::INVALID_PARAM;
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';  // piece by piece: it may be about memory
        rc = RETURN_CODE_TYPE::CONNECTION_CLOSED;
    } catch (...) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
    }
}

template <class T>
RETURN_CODE_TYPE::Value MX_TypedTS<T>::write(TransportConnection& connection, T const& message) {
    TransportConnection::PublisherLoan const publisher(connection);
    if (publisher.get() == nullptr) {
        return RETURN_CODE_TYPE::NOT_AVAILABLE;
    }
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the library only encodes it
    return publisher.get()->write(const_cast<T*>(&message)) ? RETURN_CODE_TYPE::NO_ERROR
                                                            : RETURN_CODE_TYPE::DATA_OVERFLOW;
}

template <class T>
void MX_TypedTS<T>::Send_Message(long long connection_id, long long /*timeout*/,
                                 long long& /*transaction_id*/, T const& message,
                                 RETURN_CODE_TYPE::Value& rc) {
    onConnection(connection_id, rc,
                 [&](TransportConnection& connection) { return write(connection, message); });
}

template <class T>
bool MX_TypedTS<T>::Publish(long long connection_id, T const& message) {
    return withConnection(connection_id, [&](TransportConnection& connection) {
               return write(connection, message);
           }) == RETURN_CODE_TYPE::NO_ERROR;
}

template <class T>
void MX_TypedTS<T>::Register_Sender(long long connection_id, RETURN_CODE_TYPE::Value& rc) {
    onConnection(connection_id, rc, [&](TransportConnection& connection) {
        if (connection.isPublisher()) {
            return RETURN_CODE_TYPE::NO_ACTION;
        }
        transport_->registerPublisher(connection);
        return RETURN_CODE_TYPE::NO_ERROR;
    });
}

template <class T>
void MX_TypedTS<T>::Register_Callback(long long connection_id, Read_Callback<T> callback,
                                      RETURN_CODE_TYPE::Value& rc) {
    onConnection(connection_id, rc, [&](TransportConnection& connection) {
        if (connection.isSubscriber()) {
            return RETURN_CODE_TYPE::NO_ACTION;
        }
        registerSubscriberTyped(connection_id, connection, std::move(callback));
        ++subscriber_entry;
        return RETURN_CODE_TYPE::NO_ERROR;
    });
}

template <class T>
void MX_TypedTS<T>::registerSubscriberTyped(long long connection_id,
                                            TransportConnection& connection,
                                            Read_Callback<T> callback) {
    transport_->registerSubscriber(
        connection, std::make_unique<Listeners::SubscriberListenerTyped<T>>(
                        transport_->participantName(), connection_id, std::move(callback)));
}

#define FACE_INSTANTIATE(Name) template class MX_TypedTS<aspn2_msgs::idl::Name>;
ASPN2_MSGS_TOPIC_TYPES(FACE_INSTANTIATE)
#undef FACE_INSTANTIATE

}  // namespace FACE::TSS::Details
