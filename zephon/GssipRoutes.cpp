#include "zephon/GssipRoutes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <limits>

#include "ASPN/DeviceIds.h"
#include "zephon/ZephonServer.h"

using ASPN2::ServerIds;
using aspn2_msgs::idl::GSSIP;

namespace {

constexpr bool copied = true;
constexpr bool taken = false;  // by its handler only

constexpr std::array pntDeviceRoutes{
    GssipRoute{5001, &ZephonServer::handleZP_Block5001, taken},
    GssipRoute{5044, &ZephonServer::handleZP_Block5044, taken},
    GssipRoute{27532, &ZephonServer::handleZP_PntdStatus, taken},
    GssipRoute{27533, &ZephonServer::handleZP_PntdFaultReport, taken},
    GssipRoute{27534, &ZephonServer::handleZP_PntdLogReport, taken},
    GssipRoute{27535, &ZephonServer::handleZP_PntdBitStatus, taken},
    GssipRoute{27536, &ZephonServer::handleZP_PntdFaultLabels, taken},
    GssipRoute{27553, &ZephonServer::handleZP_Block27553, taken},
    GssipRoute{27558, &ZephonServer::handleZP_PntdIds, taken},
    GssipRoute{27561, &ZephonServer::handleZP_PntConfigStatus, taken},
};

constexpr std::array halvorRoutes{
    GssipRoute{2516, &ZephonServer::handleAJ_Block2516, taken},
    GssipRoute{2518, &ZephonServer::handleAJ_BlockDigarPN, taken},
    GssipRoute{15051, &ZephonServer::handleAJ_BlockThreatData, taken},
};

constexpr std::array trevoRoutes{
    GssipRoute{5040, &ZephonServer::handleTV_Block5040, taken},
    GssipRoute{5044, &ZephonServer::handleTV_Block5044, taken},
    GssipRoute{5047, nullptr, copied},
    GssipRoute{5048, nullptr, copied},
    GssipRoute{5406, nullptr, copied},
    GssipRoute{8040, &ZephonServer::handleTV_Block8040, copied},
    GssipRoute{8080, nullptr, copied},
    GssipRoute{8504, &ZephonServer::handleTV_Block8504, taken},
    GssipRoute{9391, &ZephonServer::handleTV_Block9391, taken},
};

template <std::size_t Count>
constexpr GssipSource makeSource(unsigned char server, char const* name, GssipSource::Told told,
                                 std::array<GssipRoute, Count> const& routes) {
    return {server, name, told, routes.data(), Count};
}

constexpr std::array sources{
    makeSource(ServerIds::Trevo, "Trevo", GssipSource::Told::AfterTheHandler, trevoRoutes),
    makeSource(ServerIds::HalvorServer, "HALVOR", GssipSource::Told::OnArrival, halvorRoutes),
    // The PNT device speaks through this server's links, and so under its id.
    makeSource(ServerIds::ZephonServer, "PNT-D", GssipSource::Told::OnArrival, pntDeviceRoutes),
};

constexpr std::array<std::uint16_t, 12> dataTransferIds{5103, 5104, 5120, 5121, 5122, 5123,
                                                        5124, 5125, 5126, 5134, 5135, 8015};

constexpr std::uint16_t copyFlagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

}  // namespace

GssipRoute const* GssipSource::find(std::uint16_t id) const {
    GssipRoute const* const end = routes + count;
    GssipRoute const* const found =
        std::find_if(routes, end, [id](GssipRoute const& route) { return route.id == id; });
    return found == end ? nullptr : found;
}

GssipSource const* findGssipSource(unsigned char server) {
    const auto found = std::find_if(sources.begin(), sources.end(), [server](auto const& source) {
        return source.server == server;
    });
    return found == sources.end() ? nullptr : &*found;
}

bool isDataTransferId(std::uint16_t id) {
    return std::binary_search(dataTransferIds.begin(), dataTransferIds.end(), id);
}

unsigned short gssipFrameLength(GSSIP const& record) {
    if (record.num_bytes() < static_cast<std::int32_t>(GSSIP_HEADER_BYTES)) {
        return 0;
    }
    const std::size_t length =
        std::min<std::size_t>(static_cast<std::size_t>(record.num_bytes()), record.data().size());
    const bool isFrame =
        length >= GSSIP_HEADER_BYTES && length <= std::numeric_limits<unsigned short>::max();
    return isFrame ? static_cast<unsigned short>(length) : static_cast<unsigned short>(0);
}

std::uint16_t gssipMessageId(GSSIP const& record) {
    return static_cast<std::uint16_t>(record.data()[2] | record.data()[3] << 8U);
}

std::shared_ptr<Generic_MSID_Msg> makeGssipCopy(GSSIP const& record) {
    return makeMessageOf<Generic_MSID_Msg>(record);
}

void setCopyFlagWord(GssipMessage& message) {
    if (message.header[3] != copyFlagWord) {
        message.header[3] = copyFlagWord;
        message.setHeaderChecksum();
    }
}
