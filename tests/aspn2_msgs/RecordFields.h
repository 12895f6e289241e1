#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

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
#include "aspn2_msgs/UTCTime.h"
#include "aspn2_msgs/UtcDownlink.h"
#include "aspn2_msgs/Velocity3D.h"

// What each record holds, field by field in the order of the wire, with the type in memory. This
// list stands apart from the IDL files, so that it checks them. Nested records come first.

// clang-format off
#define RECORD_timestamp(F) \
    F(sec, std::int64_t) \
    F(nsec, std::int32_t) \
    F(time_code, std::int32_t)
#define RECORD_header(F) \
    F(seq_num, std::int64_t) \
    F(timestamp_arrival, timestamp) \
    F(timestamp_valid, timestamp) \
    F(device_id, std::int32_t)
#define RECORD_geodeticposition3d_type(F) \
    F(latitude, double) \
    F(longitude, double) \
    F(altitude, double)
#define RECORD_Altitude(F) \
    F(header, header) \
    F(altitude, double) \
    F(variance, double)
#define RECORD_bit_comp_set(F) \
    F(server_id, std::int32_t) \
    F(has_communicated, bool) \
    F(warn_received, bool) \
    F(error_received, bool) \
    F(critical_received, bool)
#define RECORD_BitReport(F) \
    F(header, header) \
    F(bit_rollup, bool) \
    F(num_servers_expected, std::int32_t) \
    F(num_servers_available, std::int32_t) \
    F(bit_components, std::vector<bit_comp_set>)
#define RECORD_BitEntryStatus(F) \
    F(header, header) \
    F(requestedEntryAvailable, bool) \
    F(testCodeOfRequestedEntry, std::uint8_t) \
    F(subTestCodeOfRequestedEntry, std::uint8_t)
#define RECORD_interference_type_set(F) \
    F(interference_band, interference_band_enum) \
    F(interference_signal, interference_signal_enum) \
    F(interference_type, interference_type_enum) \
    F(interference_value, std::int32_t)
#define RECORD_ChallengedEnvironment(F) \
    F(header, header) \
    F(num_interference_types, std::int32_t) \
    F(interference_types, std::vector<interference_type_set>)
#define RECORD_channel_status_obs(F) \
    F(prn, std::int32_t) \
    F(channel, std::int32_t) \
    F(rinex3_satellite_system, rinex3_satellite_system_enum) \
    F(rinex3_band, rinex3_band_enum) \
    F(rinex3_attribute, rinex3_attribute_enum) \
    F(gnss_tracking_status, gnss_tracking_status_enum) \
    F(carrier_to_noise, float) \
    F(jammer_to_signal, float) \
    F(used_in_solution, bool) \
    F(gnss_corrections_used, gnss_corrections_used_enum) \
    F(assurance_level, assurance_level_enum)
#define RECORD_ChannelStatus(F) \
    F(header, header) \
    F(num_channels, std::int32_t) \
    F(channels, std::vector<channel_status_obs>)
#define RECORD_CommandResponse(F) \
    F(header, header) \
    F(commanded_device_id, std::int32_t) \
    F(command_identifier, std::int32_t) \
    F(command_response_type, command_response_type_enum) \
    F(command_response, std::string)
#define RECORD_DeltaTimeAndFrequency(F) \
    F(header, header) \
    F(dt, double) \
    F(variance, double) \
    F(freqB, double)
#define RECORD_EventLog(F) \
    F(header, header) \
    F(event_log_type, event_log_type_enum) \
    F(eventlog, std::string)
#define RECORD_gnss_obs(F) \
    F(prn, std::int32_t) \
    F(satellite_system, satellite_system_enum) \
    F(type, type_enum) \
    F(band, band_enum) \
    F(attrib, attrib_enum) \
    F(observation, double) \
    F(LLI, std::int32_t) \
    F(signal_strength, std::int32_t) \
    F(lock_count, std::int32_t)
#define RECORD_GNSS(F) \
    F(header, header) \
    F(week_number, std::int32_t) \
    F(seconds_of_week, double) \
    F(time_system, time_system_enum) \
    F(epoch_flag, std::int32_t) \
    F(num_satellites, std::int32_t) \
    F(num_measurements, std::int32_t) \
    F(obs, std::vector<gnss_obs>)
#define RECORD_GNSSSubframe(F) \
    F(header, header) \
    F(gnss_msg_id, std::int64_t) \
    F(prn, std::int32_t) \
    F(subframe_satellite_system, subframe_satellite_system_enum) \
    F(freq_slot_id, std::int32_t) \
    F(num_bytes, std::int32_t) \
    F(data_vector, std::vector<std::uint8_t>)
#define RECORD_GPSTime(F) \
    F(header, header) \
    F(rcvr_set_time_sec, std::int32_t) \
    F(rcvr_set_time_nsec, double) \
    F(rcvr_time_bias, double) \
    F(rcvr_time_bias_error, double) \
    F(rcvr_time_bias_error_rate, double) \
    F(gps_tow_sec, std::int32_t) \
    F(gps_tow_nsec, double) \
    F(gps_week, std::int32_t) \
    F(covariance, std::array<std::array<double, 2>, 2>)
#define RECORD_IMU(F) \
    F(header, header) \
    F(delta_v, std::array<double, 3>) \
    F(delta_theta, std::array<double, 3>)
#define RECORD_lru_comp_set(F) \
    F(lru_id, std::int32_t) \
    F(component_id, std::int32_t)
#define RECORD_MaintenanceEvent(F) \
    F(header, header) \
    F(fault_sources, std::array<lru_comp_set, 4>) \
    F(criticality_id, std::int32_t) \
    F(category_id, std::int32_t) \
    F(location_id, std::int32_t) \
    F(outcome_id, std::int32_t) \
    F(repeat_in_seconds, std::int32_t) \
    F(identity, std::array<char, 16>) \
    F(description, std::array<char, 56>)
#define RECORD_meas_type_set(F) \
    F(meas_set_id, std::int32_t) \
    F(meas_avail, std::int32_t) \
    F(meas_used, std::int32_t)
#define RECORD_MeasurementIncorporationStatus(F) \
    F(header, header) \
    F(num_measurement_types, std::int32_t) \
    F(meas_types, std::vector<meas_type_set>)
#define RECORD_MeridanePNT(F) \
    F(header, header) \
    F(GPS_Time, double) \
    F(UTC_Time, double) \
    F(ECEF_Pos_X, double) \
    F(ECEF_Pos_Y, double) \
    F(ECEF_Pos_Z, double) \
    F(ECEF_Vel_X, double) \
    F(ECEF_Vel_Y, double) \
    F(ECEF_Vel_Z, double) \
    F(Roll, double) \
    F(Pitch, double) \
    F(Heading, double) \
    F(Horz_PosError, double) \
    F(Vert_PosError, double) \
    F(Horz_Vel_Error, double) \
    F(Vert_VelError, double) \
    F(Time_Error, double) \
    F(Roll_Error, double) \
    F(Pitch_Error, double) \
    F(Heading_Error, double) \
    F(GPS_Week, std::int64_t) \
    F(MX_PNT_Solution_Assurance, MX_PNT_Solution_Assurance_enum)
#define RECORD_NavigationMode(F) \
    F(header, header) \
    F(navigation_mode, navigation_mode_enum)
#define RECORD_PositionVelocity(F) \
    F(header, header) \
    F(position, geodeticposition3d_type) \
    F(velocity, std::array<double, 3>) \
    F(covariance, std::array<std::array<double, 6>, 6>)
#define RECORD_PositionVelocityAttitude(F) \
    F(header, header) \
    F(position, geodeticposition3d_type) \
    F(velocity, std::array<double, 3>) \
    F(attitude, std::array<double, 3>) \
    F(covariance, std::array<std::array<double, 9>, 9>)
#define RECORD_ThreeAxisMagnetometer(F) \
    F(header, header) \
    F(field, std::array<double, 3>) \
    F(covariance, std::array<std::array<double, 3>, 3>)
#define RECORD_TimeAtTheTone(F) \
    F(header, header)
#define RECORD_UtcDownlink(F) \
    F(header, header) \
    F(a0, double) \
    F(a1, double) \
    F(tot, std::int32_t) \
    F(WNt, std::int32_t) \
    F(delta_t_ls, std::int32_t) \
    F(wn_lsf, std::int32_t) \
    F(dn, std::int32_t) \
    F(delta_t_lsf, std::int32_t)
#define RECORD_UTCTime(F) \
    F(header, header) \
    F(gps_tow_sec, std::int32_t) \
    F(gps_tow_nsec, double) \
    F(gps_week, std::int32_t) \
    F(utc_tod_sec, std::int32_t) \
    F(utc_tod_nsec, double) \
    F(a1, double) \
    F(covariance, std::array<std::array<double, 2>, 2>)
#define RECORD_GSSIP(F) \
    F(header, header) \
    F(num_bytes, std::int32_t) \
    F(data, std::vector<std::uint8_t>)
#define RECORD_Velocity3D(F) \
    F(header, header) \
    F(x, double) \
    F(y, double) \
    F(z, double) \
    F(covariance, std::array<std::array<double, 3>, 3>)
#define RECORD_ReceiverStatus(F) \
    F(header, header) \
    F(rcvr_fail, bool) \
    F(num_satellites_avail, std::int32_t) \
    F(num_satellites_used, std::int32_t) \
    F(pdop, double) \
    F(tdop, double)
#define RECORD_gpslos_obs(F) \
    F(prn, std::int32_t) \
    F(channel_state, channel_state_enum) \
    F(channel_frequency, channel_frequency_enum) \
    F(channel_code, channel_code_enum) \
    F(ere, double) \
    F(c_n0, std::int32_t) \
    F(assurance, assurance_enum) \
    F(pseudorange_measurement_valid, bool) \
    F(pseudorange_measurement, double) \
    F(pseudorange_measurement_variance, double) \
    F(deltarange_measurement_valid, bool) \
    F(deltarange_measurement, double) \
    F(deltarange_measurement_variance, double) \
    F(deltarange_interval, double) \
    F(sv_position_start, std::array<double, 3>) \
    F(sv_position_stop, std::array<double, 3>) \
    F(tropo_correction_applied, bool) \
    F(iono_correction_applied, bool) \
    F(iono_correction_source, iono_correction_source_enum)
#define RECORD_GPSLineOfSight(F) \
    F(header, header) \
    F(num_measurements, std::int32_t) \
    F(obs, std::vector<gpslos_obs>)
#define RECORD_key_type_set(F) \
    F(key_type, key_type_enum) \
    F(remaining_key_time, std::int32_t) \
    F(key_status, key_status_enum) \
    F(key_load_status, key_load_status_enum) \
    F(key_zeroization_status, key_zeroization_status_enum)
#define RECORD_GPSCryptoStatus(F) \
    F(header, header) \
    F(num_key_types, std::int32_t) \
    F(key_types, std::vector<key_type_set>)
#define RECORD_AssuranceState(F) \
    F(header, header) \
    F(assurance_state, assurance_state_enum)
#define RECORD_PlatformDynamics(F) \
    F(header, header) \
    F(velocity, std::array<double, 3>) \
    F(acceleration, std::array<double, 3>) \
    F(attitude, std::array<double, 3>) \
    F(attitude_rate, std::array<double, 3>) \
    F(covariance, std::array<std::array<double, 12>, 12>)
#define RECORD_TimeSync(F) \
    F(header, header) \
    F(SyncCount, std::int64_t) \
    F(Time_NS, std::int64_t)
#define RECORD_sv_set(F) \
    F(svid, std::int32_t) \
    F(rinex3_gnss_enum, rinex3_gnss_enum_enum) \
    F(healthy, bool) \
    F(azimuth, std::int32_t) \
    F(elevation, std::int32_t) \
    F(rising, bool)
#define RECORD_SVStatus(F) \
    F(header, header) \
    F(num_svs, std::int32_t) \
    F(svs, std::vector<sv_set>)
#define RECORD_ForwardReverseStatus(F) \
    F(header, header) \
    F(DirectionInput, DirectionInput_enum) \
    F(EstimatedDirection, EstimatedDirection_enum)

#define RECORDS(X) \
    X(timestamp) \
    X(header) \
    X(geodeticposition3d_type) \
    X(Altitude) \
    X(bit_comp_set) \
    X(BitReport) \
    X(BitEntryStatus) \
    X(interference_type_set) \
    X(ChallengedEnvironment) \
    X(channel_status_obs) \
    X(ChannelStatus) \
    X(CommandResponse) \
    X(DeltaTimeAndFrequency) \
    X(EventLog) \
    X(gnss_obs) \
    X(GNSS) \
    X(GNSSSubframe) \
    X(GPSTime) \
    X(IMU) \
    X(lru_comp_set) \
    X(MaintenanceEvent) \
    X(meas_type_set) \
    X(MeasurementIncorporationStatus) \
    X(MeridanePNT) \
    X(NavigationMode) \
    X(PositionVelocity) \
    X(PositionVelocityAttitude) \
    X(ThreeAxisMagnetometer) \
    X(TimeAtTheTone) \
    X(UtcDownlink) \
    X(UTCTime) \
    X(GSSIP) \
    X(Velocity3D) \
    X(ReceiverStatus) \
    X(gpslos_obs) \
    X(GPSLineOfSight) \
    X(key_type_set) \
    X(GPSCryptoStatus) \
    X(AssuranceState) \
    X(PlatformDynamics) \
    X(TimeSync) \
    X(sv_set) \
    X(SVStatus) \
    X(ForwardReverseStatus)
// clang-format on

namespace records {

using namespace aspn2_msgs::idl;

template <class T>
struct IsRecord : std::false_type {};

// forEachField calls `visit` with each field in order; assignFields and moveFields copy and move
// a record field by field through its setters.
#define RECORD_FIELD_TYPE(name, ...)                                                         \
    static_assert(                                                                           \
        std::is_same_v<std::decay_t<decltype(std::declval<Record&>().name())>, __VA_ARGS__>, \
        "the field " #name " has another type");
#define RECORD_VISIT(name, ...) visit(record.name());
#define RECORD_ASSIGN(name, ...) to.name(from.name());
#define RECORD_MOVE(name, ...) to.name(std::move(from.name()));

#define RECORD_FUNCTIONS(Name)                               \
    template <>                                              \
    struct IsRecord<Name> : std::true_type {                 \
        using Record = Name;                                 \
        RECORD_##Name(RECORD_FIELD_TYPE)                     \
    };                                                       \
    template <class Visitor>                                 \
    void forEachField(Name& record, Visitor&& visit) {       \
        RECORD_##Name(RECORD_VISIT)                          \
    }                                                        \
    template <class Visitor>                                 \
    void forEachField(Name const& record, Visitor&& visit) { \
        RECORD_##Name(RECORD_VISIT)                          \
    }                                                        \
    inline void assignFields(Name& to, Name const& from) {   \
        RECORD_##Name(RECORD_ASSIGN)                         \
    }                                                        \
    inline void moveFields(Name& to, Name& from) {           \
        RECORD_##Name(RECORD_MOVE)                           \
    }
RECORDS(RECORD_FUNCTIONS)

}  // namespace records
