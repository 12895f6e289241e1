#include "messages/TrevoPortSetup.h"

#include <algorithm>
#include <unordered_map>

namespace {

std::uint16_t knownCode(e5331_SerialBaud baud) {
    const auto code = static_cast<std::uint16_t>(baud);
    return code <= 7 || (code >= 10 && code <= 14) ? code : std::uint16_t{0};
}

std::uint16_t knownCode(e5331_SerialParity parity) {
    const auto code = static_cast<std::uint16_t>(parity);
    return code < 3 ? code : std::uint16_t{0};
}

std::uint16_t knownCode(e5331_SerialProtocol protocol) {
    const auto code = static_cast<std::uint16_t>(protocol);
    return code == 2 ? code : std::uint16_t{0};
}

using SentenceCodes = std::unordered_map<std::string, std::uint16_t>;

SentenceCodes makeSentenceCodes() {
    SentenceCodes codes = {{"none", std::uint16_t{0}}};
    std::uint16_t code = 0;
    for (const char* sentence : {"DTM", "GBS", "GGA", "GLL", "GNS", "GRS", "GSA", "GST", "GSV",
                                 "HDT", "RMC", "VTG", "ZDA"}) {
        ++code;
        codes.emplace(sentence, code);
        codes.emplace(std::string("GP") + sentence, code);  // with the talker of GPS
    }
    return codes;
}

}  // namespace

void TrevocomPortSetup::setRecParams(e5331_SerialBaud baud, e5331_SerialParity parity,
                                     e5331_SerialProtocol protocol) {
    using Layout = TrevocomPortSetupLayout;
    set<Layout::ReceiveValid>(1);
    set<Layout::RecProtocol>(knownCode(protocol));
    set<Layout::RecBaud>(knownCode(baud));
    set<Layout::RecParity>(knownCode(parity));
}

void TrevocomPortSetup::setTransParams(e5331_SerialBaud baud, e5331_SerialParity parity,
                                       e5331_SerialProtocol protocol) {
    using Layout = TrevocomPortSetupLayout;
    set<Layout::TransmitValid>(1);
    set<Layout::TransProtocol>(knownCode(protocol));
    set<Layout::TransBaud>(knownCode(baud));
    set<Layout::TransParity>(knownCode(parity));
}

void TrevocomPortSetup::setBaud(e5331_SerialBaud baud, e5331_SerialParity parity) {
    setRecParams(baud, parity, e5331_SerialProtocol::ICD153D);
    setTransParams(baud, parity, e5331_SerialProtocol::ICD153D);
}

void TrevocomPortSetup::setPulse(e5331_Pulse pulse) {
    using Layout = TrevocomPortSetupLayout;
    const auto code = static_cast<std::uint16_t>(pulse);
    set<Layout::PulseValid>(1);
    if (code < 4) {
        set<Layout::Pulse>(code);
    }
}

void TrevocomPortSetup::setPort(e5331_Port port) {
    const auto code = static_cast<std::uint16_t>(port);
    if (code <= 3 || code == 15) {
        set<TrevocomPortSetupLayout::Port>(code);
    }
}

void TrevocomPortSetup::setRedundantComPorts(bool redundant) {
    using Layout = TrevocomPortSetupLayout;
    set<Layout::RedundantValid>(1);
    set<Layout::NotRedundant>(redundant ? 0 : 1);
}

void TrevocomPortSetup::setNMEASentenceID(const std::vector<std::string>& names) {
    using Sentences = TrevocomPortSetupLayout::NmeaSentences;
    auto codes = get<Sentences>();
    const std::size_t count = std::min(names.size(), codes.size());
    for (std::size_t i = 0; i < count; ++i) {
        codes[i] = nmeaSentenceCode(names[i]);
    }
    set<Sentences>(codes);
}

std::uint16_t TrevocomPortSetup::nmeaSentenceCode(const std::string& name) {
    static const SentenceCodes codes = makeSentenceCodes();
    return codes.at(name);
}

e5331_SerialBaud toSerialBaudCode(int baud) {
    switch (baud) {
        case 300:
            return e5331_SerialBaud::Baud300;
        case 600:
            return e5331_SerialBaud::Baud600;
        case 1200:
            return e5331_SerialBaud::Baud1200;
        case 2400:
            return e5331_SerialBaud::Baud2400;
        case 4800:
            return e5331_SerialBaud::Baud4800;
        case 19200:
            return e5331_SerialBaud::Baud19200;
        case 76800:
            return e5331_SerialBaud::Baud76800;
        case 38400:
            return e5331_SerialBaud::Baud38400;
        case 115200:
            return e5331_SerialBaud::Baud115200;
        case 230400:
            return e5331_SerialBaud::Baud230400;
        case 460800:
            return e5331_SerialBaud::Baud460800;
        case 921600:
            return e5331_SerialBaud::Baud921600;
        default:
            return e5331_SerialBaud::Baud9600;
    }
}
