#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "face/IoServices.h"
#include "face/ReturnCode.h"
#include "face/String.h"

namespace FACE::IOSS {

/// The connections of an I/O service. A handle is an index, of which the low 32 bits count;
/// connections are never removed, so a handle stays good and a pointer stays valid for the life
/// of the table. What every bus answers alike is answered here.
///
/// A `Connection` has a `name`, a `state`, `isOpen`, and `open()` and `close()`, which return
/// whether they succeeded; its destructor closes it.
///
/// No locks: `open` may add a connection, so nobody else may use the table meanwhile, unless its
/// owner has a lock around both.
template <class Connection>
class ConnectionTable {
public:
    /// The handle behind the last one.
    std::uint32_t size() const { return static_cast<std::uint32_t>(connections_.size()); }

    /// Null when there is no such connection.
    Connection* find(long long handle) const {
        auto const index = static_cast<std::uint32_t>(handle);
        return index < connections_.size() ? connections_[index].get() : nullptr;
    }

    /// The same, with INVALID_PARAM in `rc` when there is none; else `rc` stays as it is.
    Connection* find(long long handle, RETURN_CODE_TYPE::Value& rc) const {
        Connection* const connection = find(handle);
        if (connection == nullptr) {
            rc = RETURN_CODE_TYPE::INVALID_PARAM;
        }
        return connection;
    }

    /// Null, with INVALID_PARAM or CONNECTION_CLOSED in `rc`, when the handle is bad or the
    /// connection is not open; else `rc` stays as it is.
    Connection* findOpen(long long handle, RETURN_CODE_TYPE::Value& rc) const {
        Connection* const connection = find(handle, rc);
        if (connection != nullptr && !connection->isOpen) {
            rc = RETURN_CODE_TYPE::CONNECTION_CLOSED;
            return nullptr;
        }
        return connection;
    }

    /// Opens the connection of that name and gives its handle; one that is open stays as it is.
    /// For a name that is new, `make(name)` gives the connection (a unique pointer), or null when
    /// its configuration is not complete.
    ///
    /// INVALID_PARAM for an invalid name, INVALID_CONFIG when `make` gives null, NO_ACTION when
    /// the connection does not open, which a later call tries again. `handle` is then -1.
    template <class Make>
    void open(String const& connection_name, Make make, long long& handle,
              RETURN_CODE_TYPE::Value& rc) {
        handle = -1;
        if (!connection_name.is_valid()) {
            rc = RETURN_CODE_TYPE::INVALID_PARAM;
            return;
        }
        std::string const name = ToStdString(connection_name);
        auto known = std::find_if(connections_.begin(), connections_.end(),
                                  [&name](auto const& each) { return each->name == name; });
        if (known == connections_.end()) {
            std::unique_ptr<Connection> made = make(name);
            if (made == nullptr) {
                rc = RETURN_CODE_TYPE::INVALID_CONFIG;
                return;
            }
            connections_.push_back(std::move(made));
            known = std::prev(connections_.end());
        }
        if (!(*known)->isOpen && !(*known)->open()) {
            rc = RETURN_CODE_TYPE::NO_ACTION;
            return;
        }
        handle = std::distance(connections_.begin(), known);
        rc = RETURN_CODE_TYPE::NO_ERROR;
    }

    /// CONNECTION_CLOSED when it is not open, NO_ACTION when it does not close.
    void close(long long handle, RETURN_CODE_TYPE::Value& rc) const {
        if (Connection* const connection = findOpen(handle, rc)) {
            rc = connection->close() ? RETURN_CODE_TYPE::NO_ERROR : RETURN_CODE_TYPE::NO_ACTION;
        }
    }

    /// CONNECTION_CLOSED when it is not open.
    void getStatus(long long handle, CONNECTION_STATUS_TYPE& status,
                   RETURN_CODE_TYPE::Value& rc) const {
        if (Connection const* const connection = findOpen(handle, rc)) {
            status.timestamp = 0;
            status.available = 1;
            status.state = connection->state;
            rc = RETURN_CODE_TYPE::NO_ERROR;
        }
    }

private:
    std::vector<std::unique_ptr<Connection>> connections_;
};

}  // namespace FACE::IOSS
