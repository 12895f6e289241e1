#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <tuple>

#include "messages/PntdMessages.h"
#include "platform/Mutex.h"

/// What the tests of the PNT device are called, as the device has told. Labels are added, and stay
/// as long as the object. Any thread may call; the mutex is a leaf.
class FaultLabels {
public:
    static constexpr std::size_t capacity = 4096;

    /// Adds the labels of a message and returns how many there are then. One that is there
    /// already, and one that has no place any more, changes nothing.
    std::size_t add(PNTDBIT::Received<PNTDBIT::PntdFaultLabelsMsg> const& labels) EXCLUDES(mutex_);

    /// Puts what a test has found into `text`, in place of what stood there: the kind of test, its
    /// id, how it stands, and the first of its labels, if it has one. Takes memory only when the
    /// text does not fit what `text` has.
    void describe(PNTDBIT::PntdBitEntry const& entry, std::string& text) const EXCLUDES(mutex_);

private:
    using Label = std::tuple<PNTDBIT::ePntD_BitType, unsigned char, std::string>;

    mutable platform::Mutex mutex_;
    std::set<Label> labels_ GUARDED_BY(mutex_);
};
