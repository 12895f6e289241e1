#pragma once

// The names of WHENCE_TYPE are macros of the C library. Its headers that define them come first,
// so that none brings them back behind this one; a source that includes this header has no
// SEEK_SET for lseek.
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "face/ReturnCode.h"
#include "face/String.h"

#undef SEEK_SET
#undef SEEK_CUR
#undef SEEK_END

namespace FACE {

/// Settings, kept as text in named containers of named parameters. Every operation sets its
/// return code; none throws for a bad handle or value. An empty parameter name addresses the
/// container's own name.
class Configuration {
public:
    struct WHENCE_TYPE {
        enum Value : std::int32_t { SEEK_SET = 0, SEEK_CUR = 1, SEEK_END = 2 };
    };

    virtual ~Configuration() = default;

    virtual void Initialize(String const& config_name, RETURN_CODE_TYPE::Value& return_code) = 0;

    virtual void Open(String const& container_name, int& handle,
                      RETURN_CODE_TYPE::Value& return_code) = 0;

    /// Length of the value in bytes, without terminator; `size` is written on success only.
    virtual void Get_Size(int handle, String const& parameter, int& size,
                          RETURN_CODE_TYPE::Value& return_code) = 0;

    /// The value's first `buffer_size` bytes; no terminator is added when they fill the buffer.
    virtual void Read(int handle, String const& parameter, void* buffer, int buffer_size,
                      int& bytes_read, RETURN_CODE_TYPE::Value& return_code) = 0;

    /// Replaces the value of an existing parameter by exactly `buffer_size` bytes.
    // The buffer is not const, as the interface has it; it is only read.
    virtual void Write(int handle, String const& parameter, void* buffer, int buffer_size,
                       int& bytes_written, RETURN_CODE_TYPE::Value& return_code) = 0;

    /// Moves the handle among the containers that are its siblings of the same kind.
    virtual void Seek(int handle, WHENCE_TYPE::Value whence, int offset,
                      RETURN_CODE_TYPE::Value& return_code) = 0;

    virtual void Close(int handle, RETURN_CODE_TYPE::Value& return_code) = 0;
};

namespace Configuration_Injectable {

/// How a service is given its settings; called once, before the service's `Initialize`.
class Injectable {
public:
    virtual ~Injectable() = default;
    virtual void Set_Reference(String const& interface_name,
                               std::shared_ptr<Configuration> const& reference, long long id,
                               RETURN_CODE_TYPE::Value& return_code) = 0;
};

}  // namespace Configuration_Injectable

}  // namespace FACE
