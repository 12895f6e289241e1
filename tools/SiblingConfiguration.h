#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "face/MX_Config.h"

namespace zephonctl {

/// Where a configuration leads to.
struct TransportFiles {
    std::filesystem::path connections;
    std::string system;  ///< that of the device identifiers; empty when the file does not tell it
};

/// Whether the server of these connections is a TCP client, which reaches one neighbour only.
bool isForTcpClient(std::filesystem::path const& connections);

/// `file` is the server's top-level file, whose key Connections is followed (a relative name from
/// the folder of `file`), or the connections file itself. Raises std::runtime_error when it is
/// neither.
TransportFiles findTransportFiles(std::filesystem::path const& file);

/// The server's connections file as a sibling of the server needs it: the other side of TCP, and
/// answers that were published before our reader was known still come. Everything else stands as
/// it is in the file, which is never written. Threads: as MX_Config.
class SiblingConfiguration : public FACE::Configuration {
public:
    using ReturnCode = FACE::RETURN_CODE_TYPE::Value;

    void Initialize(FACE::String const& file_name, ReturnCode& rc) override;
    void Open(FACE::String const& container_name, int& handle, ReturnCode& rc) override;
    void Get_Size(int handle, FACE::String const& parameter, int& size, ReturnCode& rc) override;
    void Read(int handle, FACE::String const& parameter, void* buffer, int buffer_size,
              int& bytes_read, ReturnCode& rc) override;
    /// Refused: NO_ACTION.
    void Write(int handle, FACE::String const& parameter, void* buffer, int buffer_size,
               int& bytes_written, ReturnCode& rc) override;
    void Seek(int handle, WHENCE_TYPE::Value whence, int offset, ReturnCode& rc) override;
    void Close(int handle, ReturnCode& rc) override;

private:
    FACE::MX_Config file_;
    std::map<std::string, std::string> replaced_;  // constant after Initialize
};

}  // namespace zephonctl
