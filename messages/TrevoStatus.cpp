#include "messages/TrevoStatus.h"

void Trevo_5040_Msg::unpack_5040() {
    using Layout = Trevo5040Layout;
    const auto nibble = [](std::uint16_t value) { return static_cast<std::uint8_t>(value); };
    record.time = get<Layout::Time>().AsDouble();
    record.words18 = get<Layout::Words18>();
    record.word25 = get<Layout::Word25>();
    record.nibble33 = nibble(get<Layout::Nibble33>());
    record.word42 = get<Layout::Word42>();
    record.float44 = get<Layout::Float44>().AsFloat();
    record.nibble46 = nibble(get<Layout::Nibble46>());
    record.nibble49 = nibble(get<Layout::Nibble49>());
    record.word71 = get<Layout::Word71>();
    record.word72 = get<Layout::Word72>();
    record.word73 = get<Layout::Word73>();
    record.value74 = get<Layout::Hundredths74>() / 100.0;
    record.word75 = get<Layout::Word75>();
    record.word76 = get<Layout::Word76>();
    record.nibble77 = nibble(get<Layout::Nibble77>());
    record.float78 = get<Layout::Float78>().AsFloat();
    record.nibble80 = nibble(get<Layout::Nibble80>());
    record.distance36 = get<Layout::Distance36>().AsFloat();
    record.distanceUnit38 = nibble(get<Layout::DistanceUnit38>());
    record.distance82 = get<Layout::Distance82>().AsFloat();
    record.distanceUnit84 = nibble(get<Layout::DistanceUnit84>());
    record.flag61 = get<Layout::Flag61>() != 0;
}

void Trevo_5044_Msg::unpack_5044() {
    record.time = get<Trevo5044Layout::Time>().AsDouble();
    record.statusId = get<Trevo5044Layout::StatusId>();
    record.text = get<Trevo5044Layout::Text>();
}

bool Trevo_8040_Msg::ok_set_8040_gpsip(const unsigned char* bytes, unsigned short length) {
    if (length < GSSIP_HEADER_BYTES || GssipDataWords(length) > int{Trevo8040Layout::words}) {
        return false;
    }
    frame().fill(0);
    copyToFrame(bytes, length);
    return header[1] == Trevo8040Layout::id;
}

void Trevo_8040_Msg::unpack_8040() {
    record.time = get<Trevo8040Layout::Time>().AsDouble();
    record.words4 = get<Trevo8040Layout::Words4>();
}
