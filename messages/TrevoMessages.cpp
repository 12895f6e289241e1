#include "messages/TrevoMessages.h"

namespace {

// Codes 8 and 9 are unused, and the codes do not follow the order of speed.
unsigned short knownBaudCode(unsigned short code) {
    return code <= 7 || (code >= 10 && code <= 14) ? code : 0;
}

unsigned short knownParity(unsigned short parity) {
    return parity < 3 ? parity : 0;
}

unsigned short knownProtocol(unsigned short protocol) {
    return protocol == 2 ? protocol : 0;
}

}  // namespace

TrevoHeaderOnlyMsg::TrevoHeaderOnlyMsg(unsigned short id, unsigned short flagWord) {
    setMsgIdAndFlag(id, flagWord);
}

void TrevoHeaderOnlyMsg::setMsgIdAndFlag(unsigned short id, unsigned short flagWord) {
    header[0] = GSSIP_DELSOH;
    header[1] = id;
    header[2] = 0;
    header[3] = flagWord;
    header[4] = 0;
    msgId = id;
}

void TrevoComPortSetup::setRecParams(unsigned short baud, unsigned short parity,
                                     unsigned short protocol) {
    using Layout = TrevoComPortSetupLayout;
    set<Layout::ReceiveValid>(1);
    set<Layout::RecProtocol>(knownProtocol(protocol));
    set<Layout::RecBaud>(knownBaudCode(baud));
    set<Layout::RecParity>(knownParity(parity));
}

void TrevoComPortSetup::setTransParams(unsigned short baud, unsigned short parity,
                                       unsigned short protocol) {
    using Layout = TrevoComPortSetupLayout;
    set<Layout::TransmitValid>(1);
    set<Layout::TransProtocol>(knownProtocol(protocol));
    set<Layout::TransBaud>(knownBaudCode(baud));
    set<Layout::TransParity>(knownParity(parity));
}

void TrevoComPortSetup::setBaud(unsigned short baud, unsigned short parity) {
    setRecParams(baud, parity, 0);
    setTransParams(baud, parity, 0);
}

void TrevoComPortSetup::setPort(unsigned short port) {
    if (port <= 3 || port == 15) {
        set<TrevoComPortSetupLayout::Port>(port);
    }
}

unsigned short toSerialBaudCode(int baud) {
    switch (baud) {
        case 300:
            return 1;
        case 600:
            return 2;
        case 1200:
            return 3;
        case 2400:
            return 4;
        case 4800:
            return 5;
        case 19200:
            return 6;
        case 76800:
            return 7;
        case 38400:
            return 10;
        case 115200:
            return 11;
        case 230400:
            return 12;
        case 460800:
            return 13;
        case 921600:
            return 14;
        default:
            return 0;
    }
}
