#include "zephon/PntdBit.h"

namespace PNTDBIT {
namespace {

namespace Category = ASPN2::Maintenance::Category;

char const* transferOutcome(PntdStatusMsg const& status) {
    switch (status.get<PntdStatusMsg::TransferOutcome>()) {
        case PntdStatusMsg::transferInProgress:
            return "In Progress";
        case PntdStatusMsg::transferFailed:
            return "Failed";
        case PntdStatusMsg::transferPassed:
            return "Passed";
        default:
            return "NA";
    }
}

/// The results of the three kinds of tests, each behind a blank.
void appendTests(std::string& text, bool post, bool bbit, bool cbit) {
    text += ' ';
    text += post ? postFail : postPass;
    text += ' ';
    text += bbit ? bbitFail : bbitPass;
    text += ' ';
    text += cbit ? cbitFail : cbitPass;
}

/// The four texts that both reports have.
template <typename Report>
std::string describeTexts(Report const& report) {
    return " category " + report.template get<typename Report::Category>() + " location " +
           report.template get<typename Report::Location>() + " outcome " +
           report.template get<typename Report::Outcome>() + " relation " +
           report.template get<typename Report::Relation>();
}

template <typename Field, typename Storage>
std::string decimal(Storage const& storage) {
    return std::to_string(storage.template get<Field>());
}

}  // namespace

char const* bitTypeName(ePntD_BitType type) {
    switch (type) {
        case ePntD_BitType::post:
            return "POST";
        case ePntD_BitType::bbit:
            return "BBIT";
        case ePntD_BitType::cbit:
            return "CBIT";
        default:
            return "";
    }
}

char const* faultStatusName(ePntD_FaultType status) {
    switch (status) {
        case ePntD_FaultType::none:
            return "NoFlt";
        case ePntD_FaultType::intermittent:
            return "Intrm";
        case ePntD_FaultType::hard:
            return "Hard";
        default:
            return "";
    }
}

Category::eCat maintenanceCategory(ePntD_BitType type) {
    switch (type) {
        case ePntD_BitType::post:
            return Category::POST;
        case ePntD_BitType::bbit:
            return Category::BBIT;
        case ePntD_BitType::cbit:
            return Category::CBIT;
        default:
            return Category::UNSPECIFIED;
    }
}

std::string describeUndecodable(char const* messageName, unsigned id) {
    return std::string("Error decoding a ") + messageName + " (" + std::to_string(id) +
           ") off the GSSIP topic.";
}

std::string describeInvalid(char const* messageName, unsigned id) {
    return std::string("Error validating a ") + messageName + " (" + std::to_string(id) +
           ") off the GSSIP topic.";
}

std::string describeDataTransfer(PntdStatusMsg const& status) {
    return "Data Transfer Status ZP:" + decimal<PntdStatusMsg::TransferUnit>(status) + " COM" +
           decimal<PntdStatusMsg::TransferPort>(status) + " " + transferOutcome(status);
}

std::string describeRollup(std::string const& server, bool sys, bool post, bool bbit, bool cbit) {
    constexpr std::size_t longest = 64;  // what stands behind the name
    std::string text;
    text.reserve(server.size() + longest);
    text += server;
    text += ": ";
    text += pntdBitLogHeader;
    text += ' ';
    text += sys ? sysFail : sysPass;
    appendTests(text, post, bbit, cbit);
    return text;
}

std::string describeEntries(Received<PntdBitStatusMsg> const& status) {
    std::string text;
    for (std::size_t i = 0; i < status.groups; ++i) {
        const auto entry = PntdBitStatusMsg::Entries::get(status.record, i);
        text += std::string("BitType: ") + bitTypeName(entry.bitType()) +
                " TestId: " + decimal<PntdBitEntry::TestId>(entry) +
                " Fault Status: " + faultStatusName(entry.faultStatus()) + "\n";
    }
    return text;
}

bool isValid(PntdFaultReportMsg const& report) {
    using Report = PntdFaultReportMsg;
    if (report.get<Report::FaultStatus>() == 3) {
        return false;
    }
    // A kind of test that has failed, reported by itself, has found a fault.
    const bool faultless = report.get<Report::FaultStatus>() == 0;
    switch (report.bitType()) {
        case ePntD_BitType::post:
            return !faultless || report.get<Report::PostFailed>() == 0;
        case ePntD_BitType::bbit:
            return !faultless || report.get<Report::BbitFailed>() == 0;
        case ePntD_BitType::cbit:
            return !faultless || report.get<Report::CbitFailed>() == 0;
        default:
            return true;
    }
}

bool isValid(PntdLogReportMsg const& report) {
    constexpr unsigned bothHigh = 3;
    constexpr unsigned bothLow = 6;
    return report.get<PntdLogReportMsg::HighNumber>() != bothHigh &&
           (report.get<PntdLogReportMsg::LowNumber>() & bothLow) != bothLow;
}

std::string describe(PntdFaultReportMsg const& report) {
    using Report = PntdFaultReportMsg;
    std::string text = std::string(pntdBitLogHeader) + " " +
                       (report.get<Report::FaultStatus>() == 1 ? pntdFail : pntdPass);
    appendTests(text, report.get<Report::PostFailed>() != 0, report.get<Report::BbitFailed>() != 0,
                report.get<Report::CbitFailed>() != 0);
    text += " for test " + decimal<Report::TestId>(report) + " " + decimal<Report::Number>(report) +
            describeTexts(report);
    return text;
}

std::string describe(PntdLogReportMsg const& report) {
    return "PNTD RPT: " + report.get<PntdLogReportMsg::Description>();
}

std::string describeOrigin(PntdLogReportMsg const& report) {
    using Report = PntdLogReportMsg;
    return std::string(pntdBitLogHeader) + " " + decimal<Report::HighNumber>(report) + " " +
           decimal<Report::LowNumber>(report) + describeTexts(report) + " description " +
           report.get<Report::Description>();
}

std::string describe(Received<PntdFaultLabelsMsg> const& labels) {
    using Message = PntdFaultLabelsMsg;
    std::string text = std::string(pntdBitLogHeader) +
                       " labels in this message= " + decimal<Message::LabelCount>(labels.record) +
                       " message " + decimal<Message::MessageNumber>(labels.record) + " of " +
                       decimal<Message::MessageCount>(labels.record) + "\n";
    for (std::size_t i = 0; i < labels.groups; ++i) {
        const auto label = Message::Labels::get(labels.record, i);
        text += " BIT Type " + decimal<PntdFaultLabel::BitType>(label) + " TestId " +
                decimal<PntdFaultLabel::TestId>(label) +
                " Descriptor= " + label.get<PntdFaultLabel::Descriptor>() + "\n";
    }
    return text;
}

}  // namespace PNTDBIT
