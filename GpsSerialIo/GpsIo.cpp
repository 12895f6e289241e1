#include "GpsSerialIo/GpsIo.h"

#include <algorithm>
#include <array>
#include <exception>
#include <iomanip>
#include <iostream>
#include <pthread.h>
#include <sstream>
#include <stdexcept>

#include "ASPN/HealthReporter.h"
#include "ASPN/TimeTags.h"
#include "GpsSerialIo/GssipFrame.h"
#include "messages/TrevoHeaderOnlyMsg.h"
#include "messages/TrevoPortSetup.h"
#include "platform/FpgaFace.h"
#include "platform/WatchdogTimer.h"

using namespace std::chrono_literals;
using ReturnCode = FACE::RETURN_CODE_TYPE;
using FACE::IOSS::Serial::IO_PARAMETER;
using FACE::IOSS::Serial::IO_PARAMETER_KIND;
using FACE::IOSS::Serial::IO_PARAMETER_TRANSACTION_TYPE;

namespace {

constexpr std::chrono::nanoseconds pollDuration = 200ms;  // how soon a thread sees its stop flag
constexpr std::uint32_t readSize = 128;
constexpr unsigned char linkTopicId = 46;    // of the device id of what a link publishes
constexpr unsigned int uartDelayChars = 10;  // the UART tells of data when it has so many
constexpr unsigned int flushReads = 1000;
constexpr std::chrono::nanoseconds flushDuration = 1s;
constexpr std::chrono::nanoseconds pauseDuration = 100ms;
constexpr std::chrono::nanoseconds unitChangesRate = 1500ms;
// Only a line that stands still keeps the driver from taking one frame for so long.
constexpr std::chrono::nanoseconds ownersWriteDuration = 2s;

std::uint16_t wordAt(unsigned char const* frame, std::size_t word) {
    return static_cast<std::uint16_t>(frame[2 * word] | frame[2 * word + 1] << 8);
}

bool contains(std::vector<int> const& ids, int id) {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

IO_PARAMETER parameterOf(IO_PARAMETER_KIND::Value kind) {
    IO_PARAMETER parameter;
    parameter.kind = kind;
    return parameter;
}

bool isQuiet(ReturnCode::Value code) {
    return code == ReturnCode::NOT_AVAILABLE || code == ReturnCode::TIMED_OUT;
}

char const* textOf(FACE::String const& text) {
    return text.is_valid() ? text.buffer() : "";
}

/// While it lives, the writes of one connection wait for the line no longer than `duration` from
/// its beginning. For a thread that nobody stops and joins.
class WriteLimit {
public:
    WriteLimit(FACE::IOSS::Serial::Write_Control* control, long long handle,
               std::chrono::nanoseconds duration)
        : control_(control), handle_(handle) {
        if (control_ != nullptr) {
            timer_.startWatchdog(duration, [this] {
                ReturnCode::Value ignored = ReturnCode::NO_ERROR;
                control_->Abandon_Writes(handle_, ignored);
            });
        }
    }
    ~WriteLimit() {
        if (control_ != nullptr) {
            timer_.cancelWatchdog();
            ReturnCode::Value ignored = ReturnCode::NO_ERROR;
            control_->Resume_Writes(handle_, ignored);
        }
    }
    WriteLimit(WriteLimit const&) = delete;
    WriteLimit& operator=(WriteLimit const&) = delete;

private:
    FACE::IOSS::Serial::Write_Control* const control_;
    long long const handle_;
    WatchdogTimer timer_;  // its thread only reads the two above
};

}  // namespace

GpsIo::GpsIo(std::string name, std::string const& portPrefix, unsigned short port, short pulseIndex,
             std::shared_ptr<FACE::IOSS::Serial::IO_Service> serial,
             ASPN2::DeviceIdFactory const& ids, std::shared_ptr<GssipMcsq> gssipQueue,
             long long queueConnection, bool debug)
    : name_(std::move(name)),
      portName_(portPrefix + std::to_string(port)),
      pulseIndex_(pulseIndex),
      serial_(std::move(serial)),
      writeControl_(std::dynamic_pointer_cast<FACE::IOSS::Serial::Write_Control>(serial_)),
      gssipQueue_(std::move(gssipQueue)),
      debug_(debug),
      queueConnection_(queueConnection) {
    if (gssipQueue_ == nullptr || !gssipQueue_->IsInitialized(queueConnection_)) {
        FACE::Return_Code_Value_No_Error("GpsIo.cpp", __LINE__, "GSSIP Queue was not initialized",
                                         ReturnCode::NO_ACTION);
    }
    record_.header().device_id(
        static_cast<std::int32_t>(ids.makeDeviceId(linkTopicId, port & 0xFFU)));
    parser_.ProcessMessagesWithThis(this, 0);
    parser_.doDebug(debug ? 1 : 0);
}

GpsIo::~GpsIo() {
    stop();
}

void GpsIo::openConnection() {
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    serial_->Open_Connection(portName_.c_str(), -1, handle_, code);
    FACE::Return_Code_Value_No_Error("GpsIo.cpp", __LINE__, "Unable to open I/O connection", code);
}

void GpsIo::configure() {
    stop();
    openConnection();
    configProtocolandIMG();
}

void GpsIo::configure(int baud, unsigned short parity) {
    stop();
    openConnection();

    TrevocomPortSetup setup;
    setup.setBaud(toSerialBaudCode(baud), static_cast<e5331_SerialParity>(parity));
    setup.setPort(e5331_Port::Port0);
    {
        const WriteLimit limit(writeControl_.get(), handle_, ownersWriteDuration);
        setup.WriteMessage(this);
    }
    std::this_thread::sleep_for(unitChangesRate);

    IO_PARAMETER_TRANSACTION_TYPE transaction;
    IO_PARAMETER rate = parameterOf(IO_PARAMETER_KIND::BAUD_RATE);
    rate.value.long_value(baud);
    IO_PARAMETER check = parameterOf(IO_PARAMETER_KIND::PARITY);
    check.value.ushort_value(parity);
    transaction.parameters.append(rate);
    transaction.parameters.append(check);
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    serial_->Configure_Bus_Parameters(handle_, -1, transaction, code);
    FACE::Return_Code_Value_No_Error(
        "GpsIo.cpp", __LINE__, "Unable to configure I/O parameters for baud rate and parity", code);
    configProtocolandIMG();
}

void GpsIo::configProtocolandIMG() {
    IO_PARAMETER_TRANSACTION_TYPE transaction;
    for (const auto kind :
         {IO_PARAMETER_KIND::CHANNEL, IO_PARAMETER_KIND::BAUD_RATE, IO_PARAMETER_KIND::PARITY}) {
        transaction.parameters.append(parameterOf(kind));
    }
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    serial_->Get_Bus_Configuration(handle_, -1, transaction, code);
    FACE::Return_Code_Value_No_Error("GpsIo.cpp", __LINE__,
                                     "Unable to retrieve I/O connection parameters", code);

    using Value = FACE::IOSS::IO_PARAMETER_VALUE_TYPE;
    std::array<Value::RETURN_CODE, 3> results{};
    std::uint8_t uartIndex = 0;
    std::int32_t baud = 0;
    std::uint16_t parity = 0;
    std::as_const(transaction.parameters)[0]->value.octet_value(uartIndex, results[0]);
    std::as_const(transaction.parameters)[1]->value.long_value(baud, results[1]);
    std::as_const(transaction.parameters)[2]->value.ushort_value(parity, results[2]);
    if (std::all_of(results.begin(), results.end(), [](auto result) { return result == 0; })) {
        std::ostringstream line;
        line << "Serial Params: " << int{uartIndex} << ", " << baud << ", " << parity << "\n";
        std::cout << line.str() << std::flush;
    }
    protocol_ = std::make_unique<GpsIoProtocol>(baud, parity);
    uartIndex_ = uartIndex;
    FpgaFace::setUartDelay(uartIndex_, static_cast<unsigned int>(baud), uartDelayChars,
                           parity != 0 ? 11 : 10);
}

template <typename Pass>
void GpsIo::launch(Worker& worker, char const* suffix, char const* function, Pass pass) {
    worker.stop.clear();
    worker.thread =
        std::thread([this, &worker, function, pass] { runPasses(worker.stop, function, pass); });
    // The system keeps 15 characters.
    const std::string name = (portName_ + suffix).substr(0, 15);
    pthread_setname_np(worker.thread.native_handle(), name.c_str());
}

template <typename Pass>
void GpsIo::runPasses(StopFlag const& stop, char const* function, Pass pass) {
    while (!stop.isRequested()) {
        try {
            pass();
        } catch (std::exception const& exception) {
            reportException(function, exception.what());
        } catch (...) {
            reportException(function, "<unknown>");
        }
    }
}

void GpsIo::reportException(char const* function, char const* what) const noexcept {
    try {
        report(__LINE__, EventTypes::FAILURE,
               std::string(": ") + function + "() EXCEPTION: " + what);
    } catch (...) {
        // Piece by piece: there may be no memory for the text. What escaped here would end the
        // process.
        std::cout << name_ << ": " << function << "() EXCEPTION: " << what << std::endl;
    }
}

void GpsIo::start() {
    if (protocol_ == nullptr) {
        throw std::logic_error(name_ + ": a link is started before it is configured");
    }
    stop();
    flush();
    protocol_->allowWaits();
    launch(reader_, "-read", "readThreadFunction", [this] { readPass(); });
    std::this_thread::sleep_for(100ms);
    launch(writer_, "-write", "writeThreadFunction", [this] { writePass(); });
    launch(protocolWorker_, "-proto", "protocolThreadFunction", [this] { protocolPass(); });
}

void GpsIo::stop() {
    if (protocolWorker_.thread.joinable()) {
        protocolWorker_.stop.request();
        protocol_->abandonWaits();
        protocolWorker_.thread.join();
        protocolQueue_.clear();
    }
    if (writer_.thread.joinable()) {
        writer_.stop.request();
        joinWriter();
        writeQueue_.clear();
    }
    if (reader_.thread.joinable()) {
        reader_.stop.request();
        reader_.thread.join();
        parser_.reset();
    }
}

/// A line that takes no bytes holds the thread inside the serial service, where it cannot see its
/// stop flag; the service then has to give the write up.
void GpsIo::joinWriter() {
    // A bad handle is no failure here: nothing waits on it.
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    if (writeControl_ != nullptr) {
        writeControl_->Abandon_Writes(handle_, code);
    }
    writer_.thread.join();
    if (writeControl_ != nullptr) {
        writeControl_->Resume_Writes(handle_, code);
    }
}

void GpsIo::flush() {
    const auto deadline = std::chrono::steady_clock::now() + flushDuration;
    unsigned int flushed = 0;
    for (unsigned int reads = 0; reads < flushReads; ++reads) {
        readPayload_.data.resize(readSize);
        ReturnCode::Value code = ReturnCode::NO_ERROR;
        serial_->Read(handle_, 0, readPayload_, code);
        if (code == ReturnCode::NO_ERROR) {
            ++flushed;
        } else {
            if (debug_ && !isQuiet(code)) {
                std::cout << std::string("GpsIo::flush() received unexpected return code: ") +
                                 textOf(ReturnCode::ToString(code)) + "\n"
                          << std::flush;
            }
            break;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            break;
        }
    }
    if (debug_) {
        std::cout << "GpsIo::flush() number of bytes flushed: " + std::to_string(flushed) + "\n"
                  << std::flush;
    }
}

void GpsIo::addToNoHandshakeList(int id) {
    if (protocol_ != nullptr) {
        protocol_->addToNoHandshakeList(id);
    }
}

void GpsIo::addToDoNotPublishList(int id) {
    doNotPublish_.push_back(id);
}

void GpsIo::addToIgnoreACKRequestList(int id) {
    ignoreAckRequest_.push_back(id);
}

void GpsIo::disableRetransmit() {
    retransmitEnabled_ = false;
}

void GpsIo::disableReportProtocolTimeout() {
    reportProtocolTimeout_ = false;
}

std::int64_t GpsIo::timeToSendDataWordCount(unsigned short words) const {
    return protocol_ == nullptr ? 0 : protocol_->timeToSendDataWordCount(words) * 1000;
}

std::int64_t GpsIo::timeToSendMessageByteCount(unsigned short bytes) const {
    return protocol_ == nullptr ? 0 : protocol_->timeToSendMessageByteCount(bytes) * 1000;
}

GpsIo::Counters GpsIo::counters() const {
    return {rxCount_,          rxChecksumErrors_, writeErrors_,
            protocolTimeouts_, txChecksumErrors_, rejectedCount_};
}

void GpsIo::readPass() {
    const auto begin = std::chrono::steady_clock::now();
    readPayload_.data.resize(readSize);
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    serial_->Read(handle_, pollDuration.count(), readPayload_, code);
    if (code == ReturnCode::NO_ERROR) {
        parser_.LoadBytes(readPayload_.data.buffer(),
                          static_cast<unsigned short>(readPayload_.data.length()));
        return;
    }
    if (debug_ && !isQuiet(code)) {
        std::cout << std::string("GpsIo::readThreadFunction() received unexpected return code: ") +
                         textOf(ReturnCode::ToString(code)) + "\n"
                  << std::flush;
    }
    // A line that has hung up answers at once; without this rest the thread would spin.
    reader_.stop.sleepFor(pollDuration - (std::chrono::steady_clock::now() - begin));
}

void GpsIo::writePass() {
    std::shared_ptr<GssipMessage> message;
    if (!writeQueue_.pop_front(message, pollDuration)) {
        return;
    }
    if (message->header == nullptr) {
        return;
    }
    if (message->header[3] == 0) {
        writer_.stop.sleepFor(pauseDuration);
        return;
    }
    message->WriteMessage(this);
    // Keeps the queue from outrunning the line.
    const std::chrono::nanoseconds lineTime(timeToSendDataWordCount(message->header[2]));
    if (lineTime > 0ns) {
        writer_.stop.sleepFor(lineTime);
    }
}

unsigned int GpsIo::WriteBytes(void const* bytes, unsigned int length) {
    if (debug_) {
        PrintMessageInHex(bytes, length, "T:");
    }
    auto const* const frame = static_cast<unsigned char const*>(bytes);
    const FACE::IOSS::Serial::WRITE_PAYLOAD_TYPE payload{
        0, FACE::Sequence<FACE::IOSS::octet>(frame, length)};
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    serial_->Write(handle_, -1, payload, code);
    if (code != ReturnCode::NO_ERROR) {
        const unsigned int count = ++writeErrors_;
        std::ostringstream line;
        line << ": WriteBytes() GSSIP WRITE ERROR (" << count << ")";
        if (length >= GSSIP_HEADER_BYTES) {
            line << ", msgid = " << wordAt(frame, 1) << ", wdcnt = " << wordAt(frame, 2)
                 << ", flagWord = 0x" << std::hex << wordAt(frame, 3);
        }
        report(__LINE__, EventTypes::FAILURE, line.str());
    }
    return length;
}

void GpsIo::OnGpsMessageReceived(unsigned char* frame, unsigned int length,
                                 unsigned int /*context*/) {
    ++rxCount_;
    if (debug_) {
        PrintMessageInHex(frame, length, "R:");
    }
    const std::uint16_t id = wordAt(frame, 1);
    const std::uint16_t flagWord = wordAt(frame, 3);
    if ((flagWord & FLAG_ACK_REQUEST) != 0 && !contains(ignoreAckRequest_, id)) {
        writeQueue_.push_back(std::make_shared<TrevoHeaderOnlyMsg>(id, FLAG_LINK_READY | FLAG_ACK));
    }
    if ((flagWord & FLAG_LINK_READY) == 0) {
        writeQueue_.push_back(std::make_shared<TrevoHeaderOnlyMsg>(id, 0));
    }
    if (length == GSSIP_HEADER_BYTES && (flagWord & (FLAG_RESPONSE | FLAG_NAK | FLAG_ACK)) != 0) {
        protocol_->newProtocolMessage(id, flagWord);
        return;
    }
    if (!contains(doNotPublish_, id)) {
        publish(frame, length);
    }
}

void GpsIo::publish(unsigned char const* frame, unsigned int length) {
    aspn2_msgs::idl::header& header = record_.header();
    const std::uint64_t arrival = FpgaFace::getUARTDataTimestampRaw(uartIndex_);
    ASPN2::setToA_fromFpgaTicks(arrival, header);
    ASPN2::setToV_fromFpgaTicks(
        pulseIndex_ == -1 ? arrival : FpgaFace::getPulseTimestampRaw(pulseIndex_), header);
    header.seq_num(seqNum_++);
    record_.data().assign(frame, frame + length);
    record_.num_bytes(static_cast<std::int32_t>(length));
    gssipQueue_->Write(queueConnection_, record_, ReturnCode::NO_ERROR);
}

void GpsIo::OnParserChecksumError(unsigned int /*context*/) {
    const unsigned int count = ++rxChecksumErrors_;
    report(__LINE__, EventTypes::FAILURE,
           ": readThreadFunction() GSSIP RX CHECKSUM ERROR (" + std::to_string(count) + ")");
}

void GpsIo::protocolPass() {
    unsigned int level = 0;
    MessageQueueItem_t item;
    if (!protocolQueue_.pop_front(level, item, pollDuration)) {
        return;
    }
    if (item.message == nullptr || item.message->header == nullptr) {
        if (item.callback) {
            item.callback(item.response, false);  // there is nothing that could go out
        }
        return;
    }
    if (debug_ && level == 0) {
        std::ostringstream line;
        line << "Popped DT message (" << item.message->header[1] << ") " << item.message->header[2]
             << " words, flagword: " << std::hex << item.message->header[3] << "\n";
        std::cout << line.str() << std::flush;
    }
    exchange(item);
}

void GpsIo::transmit(MessageQueueItem_t const& item, Outcome& outcome) {
    std::uint16_t const* const header = item.message->header;
    protocol_->startNewSequence(header[1], header[2], header[3]);
    writeQueue_.push_back(item.message);
    outcome.ok = protocol_->wait(outcome.nak, outcome.rejected);
}

void GpsIo::exchange(MessageQueueItem_t& item) {
    const unsigned int id = item.message->header[1];
    Outcome outcome;
    bool resent = false;
    transmit(item, outcome);
    // A wait that a stop has cut short is no time-out: nothing is told or counted.
    if (!outcome.ok && !protocolWorker_.stop.isRequested()) {
        reportTimeout(__LINE__, EventTypes::INFORMATION, "1st", id);
        if (retransmitEnabled_) {
            resent = true;
            transmit(item, outcome);
            if (!outcome.ok && !protocolWorker_.stop.isRequested()) {
                ++protocolTimeouts_;
                reportTimeout(__LINE__, EventTypes::FAILURE, "2nd", id);
            }
        }
    }
    if (outcome.ok && outcome.nak) {
        reportNak(id);
        if (!resent) {
            outcome = {};
            transmit(item, outcome);
            if (outcome.ok && outcome.nak) {
                reportNak(id);
            }
        }
    }
    if (outcome.rejected) {
        reportReject(id);
    }
    if (item.callback) {
        item.callback(item.response, outcome.ok && !outcome.nak && !outcome.rejected);
    }
}

void GpsIo::reportTimeout(int line, EventTypes::eEventType type, char const* which,
                          unsigned int id) {
    std::ostringstream text;
    text << ": protocolThreadFunction() GSSIP PROTOCOL TIMEOUT (" << which << ") " << portName_
         << " (" << id << ") (" << protocolTimeouts_ << ")";
    if (reportProtocolTimeout_) {
        report(line, type, text.str());
    } else {
        print(text.str());
    }
}

void GpsIo::reportNak(unsigned int id) {
    const unsigned int count = ++txChecksumErrors_;
    std::ostringstream text;
    text << ": protocolThreadFunction() GSSIP TX CHECKSUM ERROR (" << id << ") (" << count << ")";
    report(__LINE__, EventTypes::FAILURE, text.str());
}

void GpsIo::reportReject(unsigned int id) {
    const unsigned int count = ++rejectedCount_;
    std::ostringstream text;
    text << ": protocolThreadFunction() GSSIP MSG REJECTED (" << id << ") (" << count << ")";
    report(__LINE__, EventTypes::FAILURE, text.str());
}

void GpsIo::print(std::string const& text) const {
    // One write for the whole line, so that the lines of the links' threads do not mix.
    std::cout << name_ + text + "\n" << std::flush;
}

void GpsIo::report(int line, EventTypes::eEventType type, std::string const& text) const {
    HealthReporter::Instance().SendEvent(__FILE__, line, type, name_ + text);
    print(text);
}
