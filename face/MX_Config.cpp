#include "face/MX_Config.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <climits>
#include <tinyxml2.h>

#include "face/DurableFile.h"

namespace FACE {

namespace {

constexpr char const* rootName = "MX_Configurations";

std::string NameOf(String const& name) {
    if (!name.is_valid()) {
        throw std::logic_error("basic_string: construction from null is not valid");
    }
    return ToStdString(name);
}

/// The element's text; null when there is none or an empty one, which look the same in a file.
char const* TextOf(tinyxml2::XMLElement const* element) {
    char const* text = element == nullptr ? nullptr : element->GetText();
    return text == nullptr || *text == '\0' ? nullptr : text;
}

char const* ContainerName(tinyxml2::XMLElement const* container) {
    return TextOf(container->FirstChildElement("Name"));
}

/// The element that a parameter's name addresses, null if missing.
tinyxml2::XMLElement* Addressed(tinyxml2::XMLElement* container, std::string const& parameter) {
    if (parameter.empty()) {
        return container->FirstChildElement("Name");
    }
    tinyxml2::XMLElement* parameters = container->FirstChildElement("Parameters");
    return parameters == nullptr ? nullptr : parameters->FirstChildElement(parameter.c_str());
}

tinyxml2::XMLElement* getConfigContainer(tinyxml2::XMLDocument& document, std::string const& name,
                                         bool forward) {
    tinyxml2::XMLElement* root = document.FirstChildElement(rootName);
    if (root == nullptr) {
        return nullptr;
    }
    tinyxml2::XMLElement* element = forward ? root->FirstChildElement() : root->LastChildElement();
    while (element != nullptr) {
        char const* const containerName = ContainerName(element);
        if (containerName != nullptr && (name == containerName || name == element->Name())) {
            return element;
        }
        element = forward ? element->NextSiblingElement() : element->PreviousSiblingElement();
    }
    return nullptr;
}

/// The container `count` places behind (or before) `element` among those of its tag; null when
/// there are not so many.
tinyxml2::XMLElement* Step(tinyxml2::XMLElement* element, std::string const& tag, bool forward,
                           long long count) {
    while (count > 0 && element != nullptr) {
        element = forward ? element->NextSiblingElement(tag.c_str())
                          : element->PreviousSiblingElement(tag.c_str());
        if (element != nullptr && ContainerName(element) != nullptr) {
            --count;
        }
    }
    return element;
}

bool Parse(tinyxml2::XMLDocument& document, std::string const& content) {
    return document.Parse(content.data(), content.size()) == tinyxml2::XML_SUCCESS;
}

std::unique_ptr<tinyxml2::XMLDocument> NewDocument() {
    return std::make_unique<tinyxml2::XMLDocument>(true, tinyxml2::Whitespace::PRESERVE_WHITESPACE);
}

/// The root's end is the last thing of a file that matters: a file cut short has none.
bool IsWhole(std::string const& content) {
    auto const document = NewDocument();
    return Parse(*document, content) && document->FirstChildElement(rootName) != nullptr;
}

}  // namespace

MX_Config::MX_Config(FileCalls& calls) : calls_(calls) {}
MX_Config::~MX_Config() = default;

void MX_Config::Initialize(String const& file_name, RETURN_CODE_TYPE::Value& rc) {
    platform::MutexLock const lock(mutex_);
    if (initialized_) {
        rc = RETURN_CODE_TYPE::NO_ERROR;
        return;
    }
    rc = RETURN_CODE_TYPE::INVALID_CONFIG;
    std::string const fileName = NameOf(file_name);
    document_ = NewDocument();
    DurableFile const file(fileName, IsWhole, calls_);
    std::optional<std::string> const content = file.read();
    bool parsed = content && Parse(*document_, *content);
    if (!parsed || document_->FirstChildElement(rootName) == nullptr) {
        if (std::optional<DurableFile::Recovery> const recovery = file.recover()) {
            parsed = Parse(*document_, recovery->content);
            if (recovery->fromSibling) {
                std::cout << "Configuration XML - " << fileName
                          << " Warning: Unreadable, settings taken from " << file.sibling()
                          << (recovery->inPlace ? "" : ", which cannot be put in its place")
                          << std::endl;
            }
        }
    }
    if (!parsed) {
        return;
    }
    tinyxml2::XMLElement const* root = document_->FirstChildElement(rootName);
    if (root == nullptr) {
        std::cout << "Configuration XML - " << fileName << " Error: Unable to locate the "
                  << rootName << " object" << std::endl;
        return;
    }
    char const* schema = root->Attribute("xsi:noNamespaceSchemaLocation");
    schemaLocation_ = schema == nullptr ? "" : schema;
    fileName_ = fileName;
    initialized_ = true;
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_Config::Open(String const& container_name, int& handle, RETURN_CODE_TYPE::Value& rc) {
    static std::atomic<int> s_HandleCount{0};

    if (!initialized_) {
        rc = RETURN_CODE_TYPE::INVALID_MODE;
        return;
    }
    rc = RETURN_CODE_TYPE::INVALID_CONFIG;
    std::string const name = NameOf(container_name);
    auto const sameName = std::find_if(handles_.begin(), handles_.end(), [&](auto const& entry) {
        return entry.second->name == name;
    });
    if (sameName != handles_.end()) {
        handle = sameName->first;
        rc = RETURN_CODE_TYPE::NO_ERROR;
        return;
    }
    tinyxml2::XMLElement* const element = getConfigContainer(*document_, name, true);
    if (element == nullptr) {
        return;
    }
    config_set found{element, element->Name(), ContainerName(element)};
    auto const sameTag = std::find_if(handles_.begin(), handles_.end(), [&](auto const& entry) {
        return entry.second->tag == found.tag;
    });
    if (sameTag != handles_.end()) {
        *sameTag->second = std::move(found);
        handle = sameTag->first;
    } else {
        handle = s_HandleCount++;
        handles_.emplace(handle, std::make_unique<config_set>(std::move(found)));
    }
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_Config::Get_Size(int handle, String const& parameter, int& size,
                         RETURN_CODE_TYPE::Value& rc) {
    rc = RETURN_CODE_TYPE::INVALID_CONFIG;
    config_set const* const set = find(handle);
    if (set == nullptr) {
        return;
    }
    char const* const text = TextOf(Addressed(set->element, NameOf(parameter)));
    if (text == nullptr) {
        return;
    }
    size = static_cast<int>(std::strlen(text));  // a file is below 64 MiB, and Write takes an int
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_Config::Read(int handle, String const& parameter, void* buffer, int buffer_size,
                     int& bytes_read, RETURN_CODE_TYPE::Value& rc) {
    bytes_read = 0;
    rc = RETURN_CODE_TYPE::INVALID_CONFIG;
    config_set const* const set = find(handle);
    if (set == nullptr) {
        return;
    }
    rc = RETURN_CODE_TYPE::INVALID_PARAM;
    char const* const text = TextOf(Addressed(set->element, NameOf(parameter)));
    if (text == nullptr || buffer == nullptr || buffer_size < 0) {
        return;
    }
    auto const room = static_cast<std::size_t>(buffer_size);
    std::size_t const copied = std::min(std::strlen(text), room);
    std::memset(buffer, 0, room);
    std::memcpy(buffer, text, copied);
    bytes_read = static_cast<int>(copied);
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_Config::Write(int handle, String const& parameter, void* buffer, int buffer_size,
                      int& bytes_written, RETURN_CODE_TYPE::Value& rc) {
    bytes_written = 0;
    rc = RETURN_CODE_TYPE::INVALID_CONFIG;
    config_set const* const set = find(handle);
    if (set == nullptr) {
        return;
    }
    rc = RETURN_CODE_TYPE::INVALID_PARAM;
    std::string const name = NameOf(parameter);
    tinyxml2::XMLElement* const element = Addressed(set->element, name);
    // The name of a container can be read but not changed.
    if (TextOf(element) == nullptr || name.empty() || buffer == nullptr || buffer_size < 0) {
        return;
    }
    std::string const text(static_cast<char const*>(buffer), static_cast<std::size_t>(buffer_size));
    if (text.find('\0') != std::string::npos) {
        return;
    }
    tinyxml2::XMLNode* const first = element->FirstChild();
    if (first != nullptr && first->ToText() != nullptr) {
        first->ToText()->SetCData(false);  // a text with the section's end mark would break out
    }
    element->SetText(text.c_str());

    platform::MutexLock const lock(mutex_);
    if (!save()) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
        return;
    }
    bytes_written = buffer_size;
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_Config::Seek(int handle, WHENCE_TYPE::Value whence, int offset,
                     RETURN_CODE_TYPE::Value& rc) {
    rc = RETURN_CODE_TYPE::INVALID_CONFIG;
    config_set* const set = find(handle);
    if (set == nullptr) {
        return;
    }
    tinyxml2::XMLElement* start = nullptr;
    switch (whence) {
        case WHENCE_TYPE::SEEK_SET:
            start = getConfigContainer(*document_, set->tag, true);
            break;
        case WHENCE_TYPE::SEEK_CUR:
            start = set->element;
            break;
        case WHENCE_TYPE::SEEK_END:
            start = getConfigContainer(*document_, set->tag, false);
            break;
        default:
            return;
    }
    bool const forward = (offset > 0) == (whence != WHENCE_TYPE::SEEK_END);
    tinyxml2::XMLElement* const reached =
        Step(start, set->tag, forward, std::llabs(static_cast<long long>(offset)));
    if (reached == nullptr) {
        rc = RETURN_CODE_TYPE::INVALID_PARAM;
        return;
    }
    set->element = reached;
    set->name = ContainerName(reached);
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_Config::Close(int handle, RETURN_CODE_TYPE::Value& rc) {
    rc =
        handles_.erase(handle) == 0 ? RETURN_CODE_TYPE::INVALID_CONFIG : RETURN_CODE_TYPE::NO_ERROR;
}

MX_Config::config_set* MX_Config::find(int handle) {
    auto const entry = handles_.find(handle);
    return entry == handles_.end() ? nullptr : entry->second.get();
}

bool MX_Config::save() {
    tinyxml2::XMLPrinter printer(nullptr, false);
    document_->Print(&printer);
    std::string_view const content(printer.CStr(),
                                   static_cast<std::size_t>(printer.CStrSize()) - 1);
    return DurableFile(fileName_, IsWhole, calls_).save(content);
}

}  // namespace FACE
