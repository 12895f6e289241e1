#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ASPN/DeviceIds.h"
#include "ASPN/EventTypes.h"
#include "GpsSerialIo/GpsIoProtocol.h"
#include "GpsSerialIo/GssipMessage.h"
#include "GpsSerialIo/GssipParser.h"
#include "GpsSerialIo/PrioritySyncQueue.h"
#include "GpsSerialIo/StopFlag.h"
#include "GpsSerialIo/SyncQueue.h"
#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/GSSIP.h"
#include "face/IoServices.h"
#include "face/SerialWriteControl.h"
#include "ioss_mcsq/GssipMcsq.h"

/// One full-duplex GSSIP link to the unit over a serial connection (ICD-GPS-153 framing and
/// handshake). Every frame that arrives, except those of the handshake and the identifiers that
/// are listed, goes unchanged, as a GSSIP record stamped with FPGA time, to a queue device.
///
/// Three threads run between `start` and `stop`: the read thread feeds the parser and answers
/// with ACKs and publishes, the write thread is the only writer of frames, and the protocol thread
/// sends one handshaked message at a time. Life-cycle operations (`configure...`, `start`, `stop`,
/// the lists) belong to one thread, the owner's; `protocolQueue()` may be filled by any.
class GpsIo : public IHandleGpsipMessages, public IWriteByteStreams {
public:
    /// One message on its way out.
    struct MessageQueueItem_t {
        using Callback = std::function<void(aspn2_msgs::idl::CommandResponse const&, bool)>;

        MessageQueueItem_t() = default;
        explicit MessageQueueItem_t(std::shared_ptr<GssipMessage> messageToSend)
            : message(std::move(messageToSend)) {}
        MessageQueueItem_t(std::shared_ptr<GssipMessage> messageToSend, Callback resultCallback,
                           aspn2_msgs::idl::CommandResponse callbackRecord)
            : message(std::move(messageToSend)),
              callback(std::move(resultCallback)),
              response(std::move(callbackRecord)) {}

        std::shared_ptr<GssipMessage> message;
        Callback callback;  ///< hears on the protocol thread whether the unit took the message
        aspn2_msgs::idl::CommandResponse response;  ///< handed to the callback
    };
    using ProtocolQueue = Utility::PrioritySyncQueue<MessageQueueItem_t, 2>;

    /// What has passed; each counter starts at 0 and only grows.
    struct Counters {
        unsigned int rxCount;
        unsigned int rxChecksumErrors;
        unsigned int writeErrors;
        unsigned int protocolTimeouts;
        unsigned int txChecksumErrors;
        unsigned int rejectedCount;
    };

    /// `name` stands in the link's lines; the serial connection is called `portPrefix`
    /// followed by `port`, which is also the instance in the device id of what is published.
    /// `pulseIndex` is the FPGA's pulse input that tells when a frame was valid, -1 when that is
    /// when it came. `queueConnection` is an open connection of `gssipQueue`; without one,
    /// std::runtime_error is raised: "GSSIP Queue was not initialized". The serial connection is
    /// not opened yet.
    GpsIo(std::string name, std::string const& portPrefix, unsigned short port, short pulseIndex,
          std::shared_ptr<FACE::IOSS::Serial::IO_Service> serial, ASPN2::DeviceIdFactory const& ids,
          std::shared_ptr<GssipMcsq> gssipQueue, long long queueConnection, bool debug);
    ~GpsIo() override;
    GpsIo(GpsIo const&) = delete;
    GpsIo& operator=(GpsIo const&) = delete;

    /// Stops the link, opens its connection, takes rate and parity from it and tells the FPGA
    /// how long the line takes for what its UART collects. Raises std::runtime_error: "Unable to
    /// open I/O connection", "Unable to retrieve I/O connection parameters".
    void configure();
    /// Tells the unit at the present rate to change to `baud` bit/s and `parity` (0 none,
    /// 1 odd, 2 even), gives it 1.5 s, then changes the port. A line that takes no bytes for 2 s
    /// counts as a write error, and the port is changed all the same. Raises as `configure()`, and
    /// "Unable to configure I/O parameters for baud rate and parity".
    void configure(int baud, unsigned short parity);

    /// Stops the link, drops what the port still holds, and starts the three threads. Raises
    /// std::logic_error before the first `configure`.
    void start();
    /// Ends the three threads and empties their queues. What was queued while no thread ran
    /// stays queued. Takes no longer than the threads' polls of 200 ms, whatever is in flight.
    void stop();
    /// Reads and drops what has arrived: at most 1000 reads and 1 s.
    void flush();

    void addToNoHandshakeList(int id);       ///< after `configure`, before `start`
    void addToDoNotPublishList(int id);      ///< before `start`
    void addToIgnoreACKRequestList(int id);  ///< before `start`
    void disableRetransmit();
    /// Time-outs are then told on standard output only.
    void disableReportProtocolTimeout();

    /// Nanoseconds that a frame takes on the line; 0 before `configure`.
    std::int64_t timeToSendDataWordCount(unsigned short words) const;
    std::int64_t timeToSendMessageByteCount(unsigned short bytes) const;

    /// Messages to the unit, level 1 before level 0. At its limit of 512 the queue refuses.
    ProtocolQueue& protocolQueue() { return protocolQueue_; }

    Counters counters() const;

    // IHandleGpsipMessages, on the read thread.
    void OnGpsMessageReceived(unsigned char* frame, unsigned int length,
                              unsigned int context) override;
    void OnParserChecksumError(unsigned int context) override;

    // IWriteByteStreams, on the write thread, or on the owner's while no thread runs.
    unsigned int WriteBytes(void const* bytes, unsigned int length) override;

private:
    struct Worker {
        StopFlag stop;
        std::thread thread;  // owner's thread only
    };
    struct Outcome {
        bool ok = false;
        bool nak = false;
        bool rejected = false;
    };

    void openConnection();
    void joinWriter();
    void configProtocolandIMG();
    template <typename Pass>
    void launch(Worker& worker, char const* suffix, char const* function, Pass pass);
    template <typename Pass>
    void runPasses(StopFlag const& stop, char const* function, Pass pass);

    void readPass();
    void writePass();
    void protocolPass();
    void exchange(MessageQueueItem_t& item);
    void transmit(MessageQueueItem_t const& item, Outcome& outcome);
    void reportTimeout(int line, EventTypes::eEventType type, char const* which, unsigned int id);
    void reportNak(unsigned int id);
    void reportReject(unsigned int id);
    void reportException(char const* function, char const* what) const noexcept;
    void publish(unsigned char const* frame, unsigned int length);
    void print(std::string const& text) const;
    void report(int line, EventTypes::eEventType type, std::string const& text) const;

    // Constant after construction.
    const std::string name_;
    const std::string portName_;
    const short pulseIndex_;
    const std::shared_ptr<FACE::IOSS::Serial::IO_Service> serial_;
    // The same service; null when its writes never wait.
    const std::shared_ptr<FACE::IOSS::Serial::Write_Control> writeControl_;
    const std::shared_ptr<GssipMcsq> gssipQueue_;
    const bool debug_;

    // Changed by the owner's thread while no worker runs, else only read.
    long long handle_ = -1;
    unsigned int uartIndex_ = 0;
    std::unique_ptr<GpsIoProtocol> protocol_;
    std::vector<int> doNotPublish_;
    std::vector<int> ignoreAckRequest_;

    // Self-synchronised.
    Utility::SyncQueue<std::shared_ptr<GssipMessage>> writeQueue_{32};
    ProtocolQueue protocolQueue_{512};
    std::atomic<bool> retransmitEnabled_{true};
    std::atomic<bool> reportProtocolTimeout_{true};
    std::atomic<unsigned int> rxCount_{0};
    std::atomic<unsigned int> rxChecksumErrors_{0};
    std::atomic<unsigned int> writeErrors_{0};
    std::atomic<unsigned int> protocolTimeouts_{0};
    std::atomic<unsigned int> txChecksumErrors_{0};
    std::atomic<unsigned int> rejectedCount_{0};

    // Read thread, and the owner's while it does not run.
    GssipParser parser_;
    FACE::IOSS::Serial::READ_PAYLOAD_TYPE readPayload_;
    aspn2_msgs::idl::GSSIP record_;  // what is published; kept for its memory
    long long queueConnection_;
    long long seqNum_ = 0;

    Worker reader_;
    Worker writer_;
    Worker protocolWorker_;
};
