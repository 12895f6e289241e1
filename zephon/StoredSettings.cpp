#include "zephon/StoredSettings.h"

#include "face/MX_Config.h"
#include "face/MX_Config_Helpers.h"

namespace {

using ReturnCode = FACE::RETURN_CODE_TYPE;

/// A zero byte would silently end a text.
bool hasZeroByte(std::string const& text) {
    return text.find('\0') != std::string::npos;
}

}  // namespace

/// A container of the file, open while this object lives.
class StoredSettings::Container {
public:
    Container(StoredSettings const& settings, std::string const& name) : config_(*settings.calls_) {
        if (hasZeroByte(name)) {
            return;
        }
        config_.Initialize(settings.file_.c_str(), opened_);
        if (opened_ == ReturnCode::NO_ERROR) {
            config_.Open(name.c_str(), handle_, opened_);
        }
    }

    bool isOpen() const { return opened_ == ReturnCode::NO_ERROR; }

    void read(char const* key, std::string& value) {
        // What is missing keeps its value; the helper has told of it.
        ReturnCode::Value ignored = ReturnCode::NO_ERROR;
        FACE::String text;
        MX_Config_Helpers::Get_String_Parameter(config_, handle_, key, text, ignored);
        if (ignored == ReturnCode::NO_ERROR) {
            value = FACE::ToStdString(text);
        }
    }
    void read(char const* key, int& value) {
        ReturnCode::Value ignored = ReturnCode::NO_ERROR;
        MX_Config_Helpers::Get_Signed_Parameter(config_, handle_, key, value, ignored);
    }

    void write(char const* key, std::string const& value) {
        if (hasZeroByte(value)) {
            written_ = ReturnCode::INVALID_CONFIG;
            return;
        }
        MX_Config_Helpers::Set_String_Parameter(config_, handle_, key, value.c_str(), written_);
    }
    void write(char const* key, int value) {
        MX_Config_Helpers::Set_Signed_Parameter(config_, handle_, key, value, written_);
    }

    StoreResult result() const {
        if (!isOpen()) {
            return StoreResult::NotOpened;
        }
        return written_ == ReturnCode::NO_ERROR ? StoreResult::Stored : StoreResult::NotWritten;
    }

private:
    FACE::MX_Config config_;
    int handle_ = 0;
    ReturnCode::Value opened_ = ReturnCode::INVALID_CONFIG;
    ReturnCode::Value written_ = ReturnCode::NO_ERROR;
};

std::optional<StoredPort> StoredSettings::readPort(std::string const& container) const {
    Container open(*this, container);
    if (!open.isOpen()) {
        return std::nullopt;
    }
    StoredPort port;
    open.read("zephonNumber", port.zephonNumber);
    open.read("comPort", port.comPort);
    open.read("transBaud", port.transBaud);
    open.read("transParity", port.transParity);
    open.read("ppsOut", port.ppsOut);
    open.read("recBaud", port.recBaud);
    open.read("recParity", port.recParity);
    open.read("COM2_Redundant", port.com2Redundant);
    open.read("solutionSource", port.solutionSource);
    return port;
}

std::optional<StoredMessages> StoredSettings::readMessages(std::string const& container) const {
    Container open(*this, container);
    if (!open.isOpen()) {
        return std::nullopt;
    }
    StoredMessages messages;
    open.read("zephonNumber", messages.zephonNumber);
    open.read("comPort", messages.comPort);
    open.read("mode", messages.mode);
    open.read("messageConnects", messages.messageConnects);
    return messages;
}

std::optional<StoredCapabilities> StoredSettings::readCapabilities(
    std::string const& container) const {
    Container open(*this, container);
    if (!open.isOpen()) {
        return std::nullopt;
    }
    StoredCapabilities capabilities;
    open.read("zephonNumber", capabilities.zephonNumber);
    open.read("comPort", capabilities.comPort);
    open.read("receiverCapabilities", capabilities.receiverCapabilities);
    return capabilities;
}

std::optional<StoredHotStart> StoredSettings::readHotStart(std::string const& container) const {
    Container open(*this, container);
    if (!open.isOpen()) {
        return std::nullopt;
    }
    StoredHotStart hotStart;
    open.read("zephonNumber", hotStart.zephonNumber);
    open.read("comPort", hotStart.comPort);
    open.read("HSType", hotStart.type);
    return hotStart;
}

std::optional<StoredSuperUser> StoredSettings::readSuperUser(std::string const& container) const {
    Container open(*this, container);
    if (!open.isOpen()) {
        return std::nullopt;
    }
    StoredSuperUser superUser;
    open.read("zephonNumber", superUser.zephonNumber);
    open.read("comPort", superUser.comPort);
    return superUser;
}

StoreResult StoredSettings::writePort(std::string const& container, StoredPort const& port) const {
    Container open(*this, container);
    if (open.isOpen()) {
        open.write("transBaud", port.transBaud);
        open.write("transParity", port.transParity);
        open.write("ppsOut", port.ppsOut);
        open.write("recBaud", port.recBaud);
        open.write("recParity", port.recParity);
        open.write("COM2_Redundant", port.com2Redundant);
        open.write("solutionSource", port.solutionSource);
    }
    return open.result();
}

StoreResult StoredSettings::writeMessages(std::string const& container,
                                          StoredMessages const& messages) const {
    Container open(*this, container);
    if (open.isOpen()) {
        open.write("mode", messages.mode);
        open.write("messageConnects", messages.messageConnects);
    }
    return open.result();
}

StoreResult StoredSettings::writeCapabilities(std::string const& container,
                                              std::string const& word) const {
    Container open(*this, container);
    if (open.isOpen()) {
        open.write("receiverCapabilities", word);
    }
    return open.result();
}

StoreResult StoredSettings::writeHotStart(std::string const& container,
                                          StoredHotStart const& hotStart) const {
    Container open(*this, container);
    if (open.isOpen()) {
        open.write("zephonNumber", hotStart.zephonNumber);
        open.write("comPort", hotStart.comPort);
        open.write("HSType", hotStart.type);
    }
    return open.result();
}

StoreResult StoredSettings::writeSuperUser(std::string const& container,
                                           StoredSuperUser const& superUser) const {
    Container open(*this, container);
    if (open.isOpen()) {
        open.write("zephonNumber", superUser.zephonNumber);
        open.write("comPort", superUser.comPort);
    }
    return open.result();
}
