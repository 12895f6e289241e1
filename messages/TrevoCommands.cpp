#include "messages/TrevoCommands.h"

#include <algorithm>
#include <cstdio>

void Trevo_5000_Msg::setDataTransfer(bool a, bool b, bool c, bool d, e5000_XferScenario scenario,
                                     e5000_DataPort port) {
    using Layout = Trevo5000Layout;
    set<Layout::FlagA>(a);
    set<Layout::FlagB>(b);
    set<Layout::FlagC>(c);
    set<Layout::FlagD>(d);
    set<Layout::Port>(static_cast<std::uint16_t>(port));
    set<Layout::Scenario>(static_cast<std::uint16_t>(scenario));
}

void TrevoCommandMsg::setSimpleModeCommand(e5001_Command command) {
    clearContents();
    set<TrevoCommandLayout::Command>(static_cast<std::uint16_t>(command));
}

void TrevoCommandMsg::setMistMode(e5001_Mist_Command mode) {
    setSimpleModeCommand(e5001_Command::Mist);
    set<TrevoCommandLayout::MistKey>(TrevoCommandLayout::mistKey);
    set<TrevoCommandLayout::MistMode>(static_cast<std::uint16_t>(mode));
}

e5001_Command TrevoCommandMsg::getSimpleModeCommand() const {
    return static_cast<e5001_Command>(get<TrevoCommandLayout::Command>());
}

bool TrevoCommandMsg::ok_set_5001_gpsip(const unsigned char* bytes, unsigned short length) {
    const int words = GssipDataWords(length);
    if (words < TrevoCommandLayout::minWords) {
        std::printf(
            "Warning: Incoming 5001 message must be at least 5 words (GPS Time and command) but "
            "only contains %d words : Message ignored\n",
            words);
        return false;
    }
    if (words > int{TrevoCommandLayout::words}) {
        std::printf(
            "Info: Incoming 5001 message of %d words truncated to only contain %d words : Message "
            "accepted\n",
            words, int{TrevoCommandLayout::words});
    }
    copyToFrame(bytes, length);
    return true;
}
