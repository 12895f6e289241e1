#include "bench/ExampleConfiguration.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace bench {
namespace {

using Parameters = std::vector<std::pair<std::string, std::string>>;

// Stands for the folder that the files are written to, until it is known.
const std::string folderMark = "@folder@/";

std::string boolean(bool value) {
    return value ? "TRUE" : "FALSE";
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

Parameters portSettings(int unit, int port) {
    return {{"zephonNumber", std::to_string(unit)},
            {"comPort", "COM" + std::to_string(port)},
            {"transBaud", "19200"},
            {"transParity", "None"},
            {"ppsOut", port == 1 ? "1PPS UTC" : "Off"},
            {"recBaud", "19200"},
            {"recParity", "None"},
            {"COM2_Redundant", "Off"},
            {"solutionSource", "Meridane"},
            {"mode", port == 3 ? "NMEA" : "153D"},
            {"messageConnects", port == 3 ? "GGA" : "5040,5044"},
            {"receiverCapabilities", "CORVANE"}};
}

}  // namespace

ExampleConfiguration::ExampleConfiguration() : ExampleConfiguration(Settings{}) {}

ExampleConfiguration::ExampleConfiguration(const Settings& settings) {
    std::vector<Container>& top = files_[File::TopLevel];
    top.push_back(
        {"System_Parameters",
         "Meridane",
         {{"System", "CorvanePlus"}, {"Configuration", "Bench"}, {"CommandedBitTimeout", "30"}}});
    top.push_back({"Server",
                   "ZephonServer",
                   {{"Connections", folderMark + fileName(File::Connections)},
                    {"IODevices", folderMark + fileName(File::IoDevices)},
                    {"Debug", boolean(settings.debug)},
                    {"PRI", std::to_string(settings.priority)},
                    {"CPU", std::to_string(settings.processor)},
                    {"PARAM_1", folderMark + "versions.xml"},
                    {"PARAM_2", "TRUE"},
                    {"PARAM_3", "FALSE"},
                    {"PARAM_4", folderMark + fileName(File::StoredSettings)},
                    {"PARAM_5", "30"},
                    {"PARAM_6", "0"}}});
    for (unsigned i = 1; i <= settings.serverConfigurations; ++i) {
        top.push_back({"Server_Configuration",
                       "Configuration_" + std::to_string(i),
                       {{"ServerId", std::to_string(40 + i)}}});
    }

    std::vector<Container>& connections = files_[File::Connections];
    connections.push_back({"Transport",
                           "FastRtps",
                           {{"DomainId", std::to_string(settings.domain)},
                            {"HistoryDepth", std::to_string(settings.historyDepth)},
                            {"UseBestEffort", boolean(settings.bestEffort)},
                            {"BackFillHistory", boolean(settings.backFill)},
                            {"UseTransport", settings.transport},
                            {"TcpAddress", settings.address},
                            {"TcpPort", std::to_string(settings.port)}}});
    const std::array<std::pair<std::string, std::string>, 9> topics{
        {{"Command", "CommandResponse"},
         {"Response", "CommandResponse"},
         {"EventLog", "EventLog"},
         {"GPSTime", "GPSTime"},
         {"MeridanePNT", "MeridanePNT"},
         {"PositionVelocity", "PositionVelocity"},
         {"UTCTime", "UTCTime"},
         {"BitReport", "BitReport"},
         {"MaintenanceEvent", "MaintenanceEvent"}}};
    for (const auto& [topic, type] : topics) {
        connections.push_back(
            {"Connection",
             topic,
             {{"TopicType", "aspn2_msgs::idl::" + type}, {"PubSubType", type + "PubSubType"}}});
    }

    std::vector<Container>& devices = files_[File::IoDevices];
    for (std::size_t link = 0; link < settings.channels.size(); ++link) {
        devices.push_back({"Serial_Port",
                           "Zephon" + std::to_string(link + 1),
                           {{"ChannelNum", std::to_string(settings.channels[link])},
                            {"SerialMode", "0"},
                            {"Baudrate", std::to_string(settings.baud)},
                            {"DataBits", "8"},
                            {"StopBits", "1"},
                            {"Parity", std::to_string(settings.parity)},
                            {"FlowControl", "0"}}});
    }

    std::vector<Container>& stored = files_[File::StoredSettings];
    for (int unit = 1; unit <= 4; ++unit) {
        for (int port = 1; port <= 3; ++port) {
            stored.push_back({"Zephon_Port",
                              "ZP" + std::to_string(unit) + "COM" + std::to_string(port),
                              portSettings(unit, port)});
        }
    }
    const Parameters hotStart{{"zephonNumber", "1"}, {"comPort", "COM1"}, {"HSType", "BOTH"}};
    stored.push_back({"Loaded_Hot_Start", "ZP_Hot_Start", hotStart});
    stored.push_back({"Commanded_Hot_Start", "Hot_Start", hotStart});
    stored.push_back({"Super_User", "ZP_Super_User", {{"zephonNumber", "1"}, {"comPort", "COM1"}}});
}

template <class Change>
void ExampleConfiguration::forEachKey(const std::string& container, const std::string& key,
                                      Change change) {
    bool found = false;
    for (auto& [file, containers] : files_) {
        for (Container& candidate : containers) {
            auto& parameters = candidate.parameters;
            const auto entry =
                std::find_if(parameters.begin(), parameters.end(),
                             [&key](const auto& parameter) { return parameter.first == key; });
            if (candidate.isNamed(container) && entry != parameters.end()) {
                change(parameters, entry);
                found = true;
            }
        }
    }
    if (!found) {
        throw std::out_of_range("no key " + key + " in a container " + container);
    }
}

void ExampleConfiguration::set(const std::string& container, const std::string& key,
                               const std::string& value) {
    forEachKey(container, key,
               [&value](Parameters&, Parameters::iterator entry) { entry->second = value; });
}

void ExampleConfiguration::omit(const std::string& container, const std::string& key) {
    forEachKey(container, key,
               [](Parameters& parameters, Parameters::iterator entry) { parameters.erase(entry); });
}

void ExampleConfiguration::omitContainer(const std::string& container) {
    std::size_t removed = 0;
    for (auto& [file, containers] : files_) {
        const auto end = std::remove_if(
            containers.begin(), containers.end(),
            [&container](const Container& candidate) { return candidate.isNamed(container); });
        removed += static_cast<std::size_t>(containers.end() - end);
        containers.erase(end, containers.end());
    }
    if (removed == 0) {
        throw std::out_of_range("no container " + container);
    }
}

void ExampleConfiguration::replace(File file, const std::string& text) {
    replaced_[file] = text;
}

void ExampleConfiguration::omit(File file) {
    files_.erase(file);
    replaced_.erase(file);
}

std::string ExampleConfiguration::fileName(File file) {
    switch (file) {
        case File::TopLevel:
            return "zephon-server.xml";
        case File::Connections:
            return "connections.xml";
        case File::IoDevices:
            return "io-devices.xml";
        case File::StoredSettings:
            return "stored-settings.xml";
    }
    return {};
}

std::string ExampleConfiguration::fileText(const std::vector<Container>& containers,
                                           const std::filesystem::path& folder) {
    std::ostringstream text;
    text << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MX_Configurations>\n";
    for (const Container& container : containers) {
        text << "  <" << container.tag << ">\n    <Name>" << escaped(container.name)
             << "</Name>\n    <Parameters>\n";
        for (const auto& [key, value] : container.parameters) {
            const bool isPath = value.compare(0, folderMark.size(), folderMark) == 0;
            const std::string shown =
                isPath ? (folder / value.substr(folderMark.size())).string() : value;
            text << "      <" << key << ">" << escaped(shown) << "</" << key << ">\n";
        }
        text << "    </Parameters>\n  </" << container.tag << ">\n";
    }
    text << "</MX_Configurations>\n";
    return text.str();
}

std::filesystem::path ExampleConfiguration::write(const std::filesystem::path& folder) const {
    for (const auto& [file, containers] : files_) {
        const auto replacement = replaced_.find(file);
        const std::filesystem::path path = folder / fileName(file);
        std::ofstream stream(path);
        stream << (replacement == replaced_.end() ? fileText(containers, folder)
                                                  : replacement->second);
        stream.close();
        if (!stream) {
            throw std::system_error(errno, std::generic_category(), path.string());
        }
    }
    return folder / fileName(File::TopLevel);
}

}  // namespace bench
