#include "messages/TrevoHeaderOnlyMsg.h"

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
