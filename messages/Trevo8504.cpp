#include "messages/Trevo8504.h"

void Trevo_8504_Msg::unpack_8504() {
    using Layout = Trevo8504Layout;
    record.gpsTowSeconds = get<Layout::GpsTowSeconds>().AsDouble();
    record.utcTodSeconds = get<Layout::UtcTodSeconds>().AsDouble();
    record.extended16 = get<Layout::Extended16>().AsDouble();
    record.extended22 = get<Layout::Extended22>().AsDouble();
    record.double28 = get<Layout::Double28>().AsDouble();
    record.double36 = get<Layout::Double36>().AsDouble();
    record.double44 = get<Layout::Double44>().AsDouble();
    record.float52 = get<Layout::Float52>().AsFloat();
    record.floats56 = {get<Layout::Float56>().AsFloat(), get<Layout::Float60>().AsFloat(),
                       get<Layout::Float64>().AsFloat(), get<Layout::Float68>().AsFloat()};
    record.timeUncertainty = get<Layout::TimeUncertainty>().AsFloat();
    record.year = get<Layout::Year>();
    record.monthDay = get<Layout::MonthDay>();
    record.dayOfYear = get<Layout::DayOfYear>();
    record.word94 = get<Layout::Word94>();
    record.status96 = static_cast<std::uint8_t>(get<Layout::Status96>());
    record.status97 = static_cast<std::uint8_t>(get<Layout::Status97>());
    record.word98 = get<Layout::Word98>();
    record.status100 = get<Layout::Status100>();
    record.words110 = get<Layout::Words110>();
    record.status116 = get<Layout::Status116>();
    record.float122 = get<Layout::Float122>().AsFloat();
    record.float126 = get<Layout::Float126>().AsFloat();
    record.bytes130 = get<Layout::Bytes130>();
    record.bytes144 = get<Layout::Bytes144>();
}

void Trevo_8504_Msg::pack_8504() {
    using Layout = Trevo8504Layout;
    set<Layout::GpsTowSeconds>(record.gpsTowSeconds);
    set<Layout::UtcTodSeconds>(record.utcTodSeconds);
    set<Layout::Extended16>(record.extended16);
    set<Layout::Extended22>(record.extended22);
    set<Layout::Double28>(record.double28);
    set<Layout::Double36>(record.double36);
    set<Layout::Double44>(record.double44);
    set<Layout::Float52>(record.float52);
    set<Layout::Float56>(record.floats56[0]);
    set<Layout::Float60>(record.floats56[1]);
    set<Layout::Float64>(record.floats56[2]);
    set<Layout::Float68>(record.floats56[3]);
    set<Layout::TimeUncertainty>(record.timeUncertainty);
    set<Layout::Year>(record.year);
    set<Layout::MonthDay>(record.monthDay);
    set<Layout::DayOfYear>(record.dayOfYear);
    set<Layout::Word94>(record.word94);
    set<Layout::Status96>(record.status96);
    set<Layout::Status97>(record.status97);
    set<Layout::Word98>(record.word98);
    set<Layout::Status100>(record.status100);
    set<Layout::Words110>(record.words110);
    set<Layout::Status116>(record.status116);
    set<Layout::Float122>(record.float122);
    set<Layout::Float126>(record.float126);
    set<Layout::Bytes130>(record.bytes130);
    set<Layout::Bytes144>(record.bytes144);
}

template <typename Bits>
void Trevo_8504_Msg::setStatus(unsigned value) {
    set<Bits>(static_cast<std::uint16_t>(value & 0xFFFFU));
    record.status96 = static_cast<std::uint8_t>(get<Trevo8504Layout::Status96>());
    record.status97 = static_cast<std::uint8_t>(get<Trevo8504Layout::Status97>());
}

void Trevo_8504_Msg::setReceiverFailure(bool failed) {
    setStatus<Trevo8504Layout::ReceiverFailure>(failed ? 1 : 0);
}

void Trevo_8504_Msg::setTimeFigure(unsigned figure) {
    setStatus<Trevo8504Layout::TimeFigure>(figure);
}

void Trevo_8504_Msg::setTimeSource(bool source) {
    setStatus<Trevo8504Layout::TimeSource>(source ? 1 : 0);
}

void Trevo_8504_Msg::copy_all(const Trevo_8504_Msg& other) {
    frame() = other.frame();
    record = other.record;
}
