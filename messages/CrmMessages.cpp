#include "messages/CrmMessages.h"

bool CRM30000_Msg::ok_set_30000_gpsip(const unsigned char* bytes, unsigned short length) {
    return OkSetContent(bytes, length);
}

void CRM30000_Msg::pack_30000() {
    using Layout = Crm30000Layout;
    set<Layout::Time>(record.time);
    set<Layout::From9391Words2To3>(record.from9391Words2To3);
    set<Layout::From9391Word12>(record.from9391Word12);
    set<Layout::Reserved>(record.reserved);
    set<Layout::DistanceOf5040Word36>(record.distanceOf5040Word36);
    set<Layout::DistanceOf5040Word82>(record.distanceOf5040Word82);
    set<Layout::From5040Word42>(record.from5040Word42);
    set<Layout::From5040Word49>(record.from5040Word49);
    set<Layout::From5040Word61>(record.from5040Word61);
    set<Layout::From5040Word71>(record.from5040Word71);
    set<Layout::From5040Word72>(record.from5040Word72);
    set<Layout::From5040Word73>(record.from5040Word73);
    set<Layout::From5040Word74>(record.from5040Word74);
    set<Layout::From5040Word75>(record.from5040Word75);
    set<Layout::From5040Word77>(record.from5040Word77);
    set<Layout::Mode>(record.mode);
    set<Layout::Spare>(record.spare);
}

void CRM30000_Msg::unpack_30000() {
    using Layout = Crm30000Layout;
    record.time = get<Layout::Time>();
    record.from9391Words2To3 = get<Layout::From9391Words2To3>();
    record.from9391Word12 = get<Layout::From9391Word12>();
    record.reserved = get<Layout::Reserved>();
    record.distanceOf5040Word36 = get<Layout::DistanceOf5040Word36>();
    record.distanceOf5040Word82 = get<Layout::DistanceOf5040Word82>();
    record.from5040Word42 = get<Layout::From5040Word42>();
    record.from5040Word49 = get<Layout::From5040Word49>();
    record.from5040Word61 = get<Layout::From5040Word61>();
    record.from5040Word71 = get<Layout::From5040Word71>();
    record.from5040Word72 = get<Layout::From5040Word72>();
    record.from5040Word73 = get<Layout::From5040Word73>();
    record.from5040Word74 = get<Layout::From5040Word74>();
    record.from5040Word75 = get<Layout::From5040Word75>();
    record.from5040Word77 = get<Layout::From5040Word77>();
    record.mode = static_cast<std::uint8_t>(get<Layout::Mode>());
    record.spare = static_cast<std::uint8_t>(get<Layout::Spare>());
}

void Crm30001Record::selectPorts(std::uint16_t portSelect) {
    firstPortSelect = portSelect & static_cast<std::uint16_t>(~Crm30001Layout::reservedPortBit);
    secondPortSelect = portSelect;
}

bool Crm30001Record::addEntry(std::uint16_t messageId, std::uint16_t portSelect) {
    if (entryCount >= entries.size()) {
        return false;
    }
    entries[entryCount] = {messageId, portSelect};
    ++entryCount;
    return true;
}

bool CRM30001_Msg::ok_set_30001_gpsip(const unsigned char* bytes, unsigned short length) {
    return OkSetContent(bytes, length);
}

void CRM30001_Msg::pack_30001() {
    using Layout = Crm30001Layout;
    set<Layout::Operation>(record.operation);
    set<Layout::Marker>(record.marker);
    set<Layout::FirstPortSelect>(record.firstPortSelect);
    set<Layout::SecondPortSelect>(record.secondPortSelect);
    set<Layout::EntryCount>(record.entryCount);
    for (std::size_t i = 0; i < record.entries.size(); ++i) {
        Crm30001Entry entry;
        entry.set<Crm30001Entry::MessageId>(record.entries[i].messageId);
        entry.set<Crm30001Entry::PortSelect>(record.entries[i].portSelect);
        Layout::Entries::set(frame(), i, entry);
    }
}

void CRM30001_Msg::unpack_30001() {
    using Layout = Crm30001Layout;
    record.operation = get<Layout::Operation>();
    record.marker = get<Layout::Marker>();
    record.firstPortSelect = get<Layout::FirstPortSelect>();
    record.secondPortSelect = get<Layout::SecondPortSelect>();
    record.entryCount = get<Layout::EntryCount>();
    for (std::size_t i = 0; i < record.entries.size(); ++i) {
        const auto entry = Layout::Entries::get(frame(), i);
        record.entries[i] = {entry.get<Crm30001Entry::MessageId>(),
                             entry.get<Crm30001Entry::PortSelect>()};
    }
}
