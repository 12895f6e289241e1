#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

#include "GpsSerialIo/GpsIo.h"
#include "platform/Mutex.h"

// Numbers of the links to the unit.
constexpr unsigned short mainUnitLink = 1;
constexpr unsigned short dataTransferLink = 2;
constexpr unsigned short pntdBitLink = 3;  ///< the PNT device's BIT port

/// Of the unit on link 1; they count from 1.
constexpr int virtualUnits = 4;

/// The three links to the unit.
///
/// A message may be sent before the links exist and while they go: it is then lost. The mutex
/// is held while a message is put into a link's queue, so only that queue's own lock is taken
/// under it. Creation, the life cycle of a link and destruction belong to one thread.
class LinkTable {
public:
    static constexpr unsigned short count = 3;

    /// `number` from 1 to `count`. A link that had the number is stopped and destroyed.
    void create(unsigned short number, std::unique_ptr<GpsIo> link) EXCLUDES(mutex_) {
        {
            const platform::MutexLock lock(mutex_);
            links_[number - 1U].swap(link);
        }
        link.reset();  // joins threads whose callbacks may send: not under the mutex
    }

    /// The link, or null before it is created. For the owner's thread, which alone changes it.
    GpsIo* at(unsigned short number) const EXCLUDES(mutex_) {
        const platform::MutexLock lock(mutex_);
        return links_[number - 1U].get();
    }

    /// Queues an item at level 1 of the link: a message, or a message with what a
    /// `GpsIo::MessageQueueItem_t` has besides. Without a link, or at its queue's limit, the
    /// message is lost without a report.
    template <typename... Item>
    void send(unsigned short number, Item&&... item) EXCLUDES(mutex_) {
        const platform::MutexLock lock(mutex_);
        if (links_[number - 1U] != nullptr) {
            links_[number - 1U]->protocolQueue().emplace_back(1, std::forward<Item>(item)...);
        }
    }

    /// Stops and destroys the links; later sends find none.
    void destroy() EXCLUDES(mutex_) {
        std::array<std::unique_ptr<GpsIo>, count> links;
        {
            const platform::MutexLock lock(mutex_);
            links.swap(links_);
        }
    }

private:
    mutable platform::Mutex mutex_;
    std::array<std::unique_ptr<GpsIo>, count> links_ GUARDED_BY(mutex_);
};
