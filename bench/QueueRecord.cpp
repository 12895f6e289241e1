#include "bench/QueueRecord.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::array<std::uint8_t, 4> encapsulation{0, 1, 0, 0};

template <class Number>
void put(Bytes& bytes, Number value) {
    auto rest = static_cast<std::uint64_t>(value);
    for (std::size_t i = 0; i < sizeof value; ++i, rest >>= 8) {
        bytes.push_back(static_cast<std::uint8_t>(rest & 0xFF));
    }
}

void put(Bytes& bytes, const QueueRecord::Time& time) {
    put(bytes, time.seconds);
    put(bytes, time.nanoseconds);
    put(bytes, time.code);
}

/// Takes numbers off the front; the caller has made sure of their bytes.
class Reader {
public:
    explicit Reader(const std::uint8_t* front) : front_(front) {}

    template <class Number>
    void take(Number& value) {
        std::uint64_t whole = 0;
        for (std::size_t i = 0; i < sizeof value; ++i) {
            whole |= static_cast<std::uint64_t>(*front_++) << (8 * i);
        }
        value = static_cast<Number>(whole);
    }

    void take(QueueRecord::Time& time) {
        take(time.seconds);
        take(time.nanoseconds);
        take(time.code);
    }

private:
    const std::uint8_t* front_;
};

}  // namespace

std::vector<std::uint8_t> QueueRecord::encode() const {
    const auto length = static_cast<std::int32_t>(data.size());
    Bytes bytes(encapsulation.begin(), encapsulation.end());
    put(bytes, sequence);
    put(bytes, arrival);
    put(bytes, validity);
    put(bytes, deviceId);
    put(bytes, told.value_or(length));
    put(bytes, length);
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

std::optional<std::vector<QueueRecord>> decodeRecords(const std::vector<std::uint8_t>& bytes) {
    std::vector<QueueRecord> records;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t left = bytes.size() - at;
        const std::uint8_t* const front = bytes.data() + at;
        if (left < QueueRecord::fixedBytes ||
            !std::equal(encapsulation.begin(), encapsulation.end(), front)) {
            return std::nullopt;
        }
        QueueRecord record;
        std::int32_t told = 0;
        std::uint32_t length = 0;
        Reader reader(front + encapsulation.size());
        reader.take(record.sequence);
        reader.take(record.arrival);
        reader.take(record.validity);
        reader.take(record.deviceId);
        reader.take(told);
        reader.take(length);
        if (length > left - QueueRecord::fixedBytes) {
            return std::nullopt;
        }
        const std::uint8_t* const data = front + QueueRecord::fixedBytes;
        record.data.assign(data, data + length);
        if (told != static_cast<std::int64_t>(length)) {
            record.told = told;
        }
        records.push_back(std::move(record));
        at += QueueRecord::fixedBytes + length;
    }
    return records;
}

}  // namespace bench
