#include "bench/QueuePeer.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "bench/Patience.h"
#include "bench/QueuePeerProtocol.h"
#include "bench/UnitFrame.h"

namespace bench {

QueuePeer::QueuePeer(Options options) : options_(std::move(options)) {
    ChildProcess::Options child;
    for (const auto& [name, path] : options_.queues) {
        child.arguments.insert(child.arguments.end(), {"--queue", name + "=" + path.string()});
    }
    child.lineHandler = [this](const std::string& line) { return takeLine(line); };
    process_ = std::make_unique<PeerProcess>(options_.program, std::move(child));
    if (!process().waitForLine(queueProtocol::ready, PeerProcess::requestTimeout)) {
        throw std::runtime_error("zephon-queue-peer: " + process().output());
    }
}

/// Takes the reports of reads; they are too many to be kept as lines.
bool QueuePeer::takeLine(const std::string& line) {
    if (line.compare(0, queueProtocol::took.size(), queueProtocol::took) != 0) {
        return false;
    }
    std::istringstream words(line.substr(queueProtocol::took.size()));
    QueueRead read;
    std::int64_t at = 0;
    std::string pairs;
    std::getline(words >> read.queue >> at, pairs);
    auto bytes = fromHexadecimal(pairs);
    if (!words || !bytes) {
        return false;
    }
    read.bytes = std::move(*bytes);
    read.at = std::chrono::steady_clock::time_point(std::chrono::nanoseconds(at));
    if (options_.onRead) {
        options_.onRead(read);
    }
    const auto records = decodeRecords(read.bytes);
    const std::lock_guard<std::mutex> lock(mutex_);
    Books& books = books_[read.queue];
    books.records += records ? records->size() : 0;
    books.foreign = books.foreign || !records;
    books.reads.push_back(std::move(read));
    if (books.reads.size() > options_.keptReads) {
        books.reads.pop_front();
    }
    changed_.notify_all();
    return true;
}

bool QueuePeer::write(const std::string& queue, const Bytes& bytes) {
    return process_->request("write " + queue + " " + hexadecimal(bytes));
}

bool QueuePeer::write(const std::string& queue, const QueueRecord& record) {
    return write(queue, record.encode());
}

bool QueuePeer::startReading(const std::string& queue) {
    return process_->request("read " + queue);
}

bool QueuePeer::stopReading(const std::string& queue) {
    return process_->request("pause " + queue);
}

std::deque<QueueRead> QueuePeer::reads(const std::string& queue) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto books = books_.find(queue);
    return books == books_.end() ? std::deque<QueueRead>() : books->second.reads;
}

std::optional<std::vector<QueueRecord>> QueuePeer::records(const std::string& queue) const {
    std::vector<QueueRecord> found;
    for (const QueueRead& read : reads(queue)) {
        auto records = decodeRecords(read.bytes);
        if (!records) {
            return std::nullopt;
        }
        std::move(records->begin(), records->end(), std::back_inserter(found));
    }
    return found;
}

bool QueuePeer::waitForRecords(const std::string& queue, std::size_t count,
                               Duration timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    std::size_t records = 0;
    bool foreign = false;
    waitFor(changed_, lock, timeout, [&] {
        if (const auto books = books_.find(queue); books != books_.end()) {
            records = books->second.records;
            foreign = books->second.foreign;
        }
        return foreign || records >= count;
    });
    return !foreign && records >= count;
}

}  // namespace bench
