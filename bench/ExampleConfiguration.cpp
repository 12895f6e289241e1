#include "bench/ExampleConfiguration.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <tinyxml2.h>

#include "bench/ChildProcess.h"

namespace bench {
namespace {

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;
using Documents = std::map<ExampleConfiguration::File, std::unique_ptr<XMLDocument>>;

const char* const server = "ZephonServer";

// The keys of the top-level file that name the others.
const std::array<std::pair<const char*, ExampleConfiguration::File>, 4> namedFiles{
    {{"Connections", ExampleConfiguration::File::Connections},
     {"IODevices", ExampleConfiguration::File::IoDevices},
     {"PARAM_1", ExampleConfiguration::File::Versions},
     {"PARAM_4", ExampleConfiguration::File::StoredSettings}}};

std::string boolean(bool value) {
    return value ? "TRUE" : "FALSE";
}

std::string text(const XMLElement* element) {
    const char* const content = element != nullptr ? element->GetText() : nullptr;
    return content != nullptr ? content : "";
}

void appendContainers(XMLDocument& document, const std::string& name,
                      std::vector<XMLElement*>& found) {
    XMLElement* const root = document.RootElement();
    for (XMLElement* container = root->FirstChildElement(); container != nullptr;
         container = container->NextSiblingElement()) {
        if (name == container->Name() || name == text(container->FirstChildElement("Name"))) {
            found.push_back(container);
        }
    }
}

XMLElement* keyOf(XMLElement& container, const std::string& key) {
    XMLElement* const parameters = container.FirstChildElement("Parameters");
    return parameters != nullptr ? parameters->FirstChildElement(key.c_str()) : nullptr;
}

std::vector<XMLElement*> containersOf(const Documents& files, const std::string& name) {
    std::vector<XMLElement*> found;
    for (const auto& [file, document] : files) {
        appendContainers(*document, name, found);
    }
    return found;
}

std::vector<XMLElement*> keysOf(const Documents& files, const std::string& container,
                                const std::string& key) {
    std::vector<XMLElement*> found;
    for (XMLElement* const candidate : containersOf(files, container)) {
        if (XMLElement* const element = keyOf(*candidate, key)) {
            found.push_back(element);
        }
    }
    if (found.empty()) {
        throw std::out_of_range("no key " + key + " in a container " + container);
    }
    return found;
}

std::string nameOf(const XMLElement& container) {
    return text(container.FirstChildElement("Name"));
}

/// A number of any base; raises std::out_of_range when the container has no such key.
unsigned long long numberOf(XMLElement& container, const char* key) {
    const XMLElement* const element = keyOf(container, key);
    if (element == nullptr) {
        throw std::out_of_range(nameOf(container) + " has no " + key);
    }
    return std::strtoull(text(element).c_str(), nullptr, 0);
}

std::unique_ptr<XMLDocument> load(const std::filesystem::path& path) {
    auto document = std::make_unique<XMLDocument>();
    if (document->LoadFile(path.c_str()) != tinyxml2::XML_SUCCESS) {
        throw std::runtime_error("example configuration " + path.lexically_normal().string() +
                                 ": " + document->ErrorName());
    }
    if (document->RootElement() == nullptr) {
        throw std::runtime_error("example configuration " + path.string() + " has no element");
    }
    return document;
}

}  // namespace

ExampleConfiguration::ExampleConfiguration() : ExampleConfiguration(Settings{}) {}

ExampleConfiguration::ExampleConfiguration(const Settings& settings,
                                           const std::filesystem::path& source) {
    for (const File file : allFiles) {
        files_[file] = load(source / fileName(file));
    }
    for (const auto& [key, file] : namedFiles) {
        set(server, key, fileName(file));
    }
    set(server, "Debug", boolean(settings.debug));
    set(server, "PRI", std::to_string(settings.priority));
    set(server, "CPU", std::to_string(settings.processor));
    set("FastRtps", "DomainId", std::to_string(settings.domain));
    set("FastRtps", "HistoryDepth", std::to_string(settings.historyDepth));
    set("FastRtps", "UseBestEffort", boolean(settings.bestEffort));
    set("FastRtps", "BackFillHistory", boolean(settings.backFill));
    set("FastRtps", "UseTransport", settings.transport);
    set("FastRtps", "TcpAddress", settings.address);
    set("FastRtps", "TcpPort", std::to_string(settings.port));
    for (std::size_t link = 0; link < settings.channels.size(); ++link) {
        const std::string port = "Zephon" + std::to_string(link + 1);
        set(port, "ChannelNum", std::to_string(settings.channels[link]));
        set(port, "Baudrate", std::to_string(settings.baud));
        set(port, "Parity", std::to_string(settings.parity));
    }
}

ExampleConfiguration::~ExampleConfiguration() = default;
ExampleConfiguration::ExampleConfiguration(ExampleConfiguration&& other) noexcept = default;
ExampleConfiguration& ExampleConfiguration::operator=(ExampleConfiguration&& other) noexcept =
    default;

std::filesystem::path ExampleConfiguration::installedFolder() {
    return programFolder() / ZEPHON_EXAMPLE_FOLDER;
}

void ExampleConfiguration::set(const std::string& container, const std::string& key,
                               const std::string& value) {
    for (XMLElement* const element : keysOf(files_, container, key)) {
        element->SetText(value.c_str());
    }
}

void ExampleConfiguration::omit(const std::string& container, const std::string& key) {
    for (XMLElement* const element : keysOf(files_, container, key)) {
        element->Parent()->DeleteChild(element);
    }
}

void ExampleConfiguration::omitContainer(const std::string& container) {
    const std::vector<XMLElement*> found = containersOf(files_, container);
    if (found.empty()) {
        throw std::out_of_range("no container " + container);
    }
    for (XMLElement* const element : found) {
        element->Parent()->DeleteChild(element);
    }
}

std::map<std::string, MemoryRegion> ExampleConfiguration::memoryRegions() const {
    std::map<std::string, MemoryRegion> regions;
    for (XMLElement* const region : containersOf(files_, "Memory_Region")) {
        regions[nameOf(*region)] = {numberOf(*region, "BaseAddress"), numberOf(*region, "Size")};
    }
    return regions;
}

std::map<std::string, unsigned> ExampleConfiguration::queuePorts() const {
    std::map<std::string, unsigned> ports;
    for (XMLElement* const queue : containersOf(files_, "Queue")) {
        ports[nameOf(*queue)] = static_cast<unsigned>(numberOf(*queue, "Port"));
    }
    return ports;
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
        case File::Versions:
            return "versions.xml";
    }
    return {};
}

std::string ExampleConfiguration::textOf(File file, const std::filesystem::path& folder) const {
    const auto replacement = replaced_.find(file);
    if (replacement != replaced_.end()) {
        return replacement->second;
    }
    XMLDocument copy;
    files_.at(file)->DeepCopy(&copy);
    std::vector<XMLElement*> servers;
    appendContainers(copy, server, servers);
    for (XMLElement* const container : servers) {
        for (const auto& [key, named] : namedFiles) {
            XMLElement* const element = keyOf(*container, key);
            const std::filesystem::path name = text(element);
            if (!name.empty() && name.is_relative()) {
                element->SetText((folder / name).c_str());
            }
        }
    }
    tinyxml2::XMLPrinter printer;
    copy.Print(&printer);
    return printer.CStr();
}

std::filesystem::path ExampleConfiguration::write(const std::filesystem::path& folder) const {
    for (const auto& [file, document] : files_) {
        const std::filesystem::path path = folder / fileName(file);
        std::ofstream stream(path);
        stream << textOf(file, folder);
        stream.close();
        if (!stream) {
            throw std::system_error(errno, std::generic_category(), path.string());
        }
    }
    return folder / fileName(File::TopLevel);
}

}  // namespace bench
