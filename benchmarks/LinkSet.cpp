#include "benchmarks/LinkSet.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "GpsSerialIo/GssipFrame.h"
#include "GpsSerialIo/GssipMessage.h"
#include "benchmarks/NumberedFrame.h"
#include "face/MX_Config.h"
#include "face/MX_Devmem.h"
#include "platform/FpgaFace.h"

namespace benchmarks {
namespace {

using ReturnCode = FACE::RETURN_CODE_TYPE;

void require(ReturnCode::Value code, std::string const& what) {
    if (code != ReturnCode::NO_ERROR) {
        throw std::runtime_error(what + " does not open");
    }
}

template <class Service>
void initialize(Service& service, std::shared_ptr<FACE::MX_Config> const& configuration,
                std::filesystem::path const& devices) {
    ReturnCode::Value code = ReturnCode::NO_ACTION;
    service.Set_Reference("Configuration", configuration, 0, code);
    require(code, "a service");
    service.Initialize(devices.c_str(), code);
    require(code, devices.string());
}

}  // namespace

void CountingSerialPort::Write(long long handle, long long timeout,
                               FACE::IOSS::Serial::WRITE_PAYLOAD_TYPE const& payload,
                               FACE::RETURN_CODE_TYPE::Value& rc) {
    MX_SerialPort::Write(handle, timeout, payload, rc);
    ++written_.at(static_cast<std::size_t>(handle));
}

LinkSet::LinkSet(std::filesystem::path const& devices)
    : serial_(std::make_shared<CountingSerialPort>()),
      queue_(std::make_shared<GssipMcsq>("links")) {
    auto const configuration = std::make_shared<FACE::MX_Config>();
    auto const memory = std::make_shared<FACE::IOSS::MX_Devmem>();
    initialize(*serial_, configuration, devices);
    initialize(*memory, configuration, devices);
    FpgaFace::InitFpga(memory);

    long long pntdMx = -1;
    long long dtIn = -1;
    ReturnCode::Value code = ReturnCode::NO_ACTION;
    auto const hear = [](aspn2_msgs::idl::GSSIP const&) {};
    queue_->Connect_IOWrite(devices.c_str(), "PNTD_MX", pntdMx, hear, code);
    require(code, "PNTD_MX");
    queue_->Connect_WriteOnly(devices.c_str(), "DT_IN", dtIn, code);
    require(code, "DT_IN");

    constexpr unsigned short dataTransferLink = 2;
    constexpr short noPulse = -1;
    for (unsigned short number = 1; number <= count; ++number) {
        auto link =
            std::make_unique<GpsIo>("links", "Zephon", number, noPulse, serial_, ids_, queue_,
                                    number == dataTransferLink ? dtIn : pntdMx, false);
        link->configure();
        link->addToNoHandshakeList(NumberedFrame::id);
        link->start();
        links_.at(number - 1U) = std::move(link);
    }
}

LinkSet::~LinkSet() {
    links_ = {};
    FpgaFace::DoneFpga();
}

bool LinkSet::queueFrame(unsigned number) {
    std::uint32_t& queued = queued_.at(number - 1);
    auto message = std::make_shared<Generic_MSID_Msg>();
    message->msgId = NumberedFrame::id;
    message->header[1] = NumberedFrame::id;
    message->header[3] = FLAG_LINK_READY;
    message->set_gpsip_wdcnt(NumberedFrame::dataWords);
    NumberedFrame{static_cast<std::uint16_t>(number), queued}.fill(message->data);
    if (!links_.at(number - 1)->protocolQueue().emplace_back(1, std::move(message))) {
        return false;
    }
    ++queued;
    return true;
}

std::uint64_t LinkSet::errors() const {
    std::uint64_t sum = 0;
    for (auto const& link : links_) {
        auto const counted = link->counters();
        sum += std::uint64_t{counted.rxChecksumErrors} + counted.writeErrors +
               counted.protocolTimeouts + counted.txChecksumErrors + counted.rejectedCount;
    }
    return sum;
}

}  // namespace benchmarks
