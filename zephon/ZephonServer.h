#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "ASPN/CmdResponse.h"
#include "ASPN/DeviceIds.h"
#include "ASPN/EventTypes.h"
#include "GpsSerialIo/GssipMessage.h"
#include "aspn2_msgs/BitReport.h"
#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/EventLog.h"
#include "aspn2_msgs/GPSTime.h"
#include "aspn2_msgs/GSSIP.h"
#include "aspn2_msgs/MaintenanceEvent.h"
#include "aspn2_msgs/MeridanePNT.h"
#include "aspn2_msgs/PositionVelocity.h"
#include "aspn2_msgs/UTCTime.h"
#include "face/LifeCycle.h"
#include "face/MX_Config.h"
#include "face/MX_Devmem.h"
#include "face/MX_SerialPort.h"
#include "face/MX_TSS.h"
#include "face/MX_TypedTS.h"
#include "ioss_mcsq/GssipMcsq.h"
#include "messages/PntdMessages.h"
#include "platform/Mutex.h"
#include "zephon/AltNavSolution.h"
#include "zephon/CommandVerbs.h"
#include "zephon/CommandedBit.h"
#include "zephon/FaultLabels.h"
#include "zephon/FusedSolution.h"
#include "zephon/LinkTable.h"
#include "zephon/OptionSettings.h"
#include "zephon/PartNumbers.h"
#include "zephon/PortSettings.h"
#include "zephon/ReceiverStatusJoin.h"
#include "zephon/ServerParameters.h"
#include "zephon/SlipChannel.h"
#include "zephon/StoredCommands.h"
#include "zephon/StoredSettings.h"
#include "zephon/SystemBuild.h"
#include "zephon/TimeMark.h"
#include "zephon/TimedProcedure.h"
#include "zephon/VersionStatus.h"
#include "zephon/Zeroize.h"

struct Trevo5044Record;
class TrevoCommandMsg;
enum class e5001_Command : std::uint16_t;

/// The server: it takes records in, decides, and hands messages on.
///
/// One thread, main's, drives the life cycle; `cb...` members run on the transport's listener
/// threads, on the queue service's thread and, for what a link has put on a queue, on that link's
/// read thread: several at a time. They return at once unless the server is running. Lock order:
/// the lock of one join (solution, time mark, alternate navigation) or the version lock, never two
/// of them, then the link table, then a link's queue.
class ZephonServer
    : public FACE::LCM::Initializable::InitializableInstance,
      public FACE::LCM::Configurable::ConfigurableInstance,
      public FACE::LCM::Connectable::ConnectableInstance,
      public FACE::LCM::Meridane::RequestedState_ReportedState::Stateful::StatefulInstance {
public:
    using ReturnCode = FACE::RETURN_CODE_TYPE;
    using RequestedState = FACE::LCM::Meridane::RequestedState;
    using ReportedState = FACE::LCM::Meridane::ReportedState;
    using Clock = std::function<TimedProcedure::Clock::time_point()>;

    /// `clock` times what a command starts and the server ends, and the requests for part numbers;
    /// any thread calls it.
    explicit ZephonServer(Clock clock = TimedProcedure::Clock::now);
    ~ZephonServer() override;
    ZephonServer(ZephonServer const&) = delete;
    ZephonServer& operator=(ZephonServer const&) = delete;

    // ---- Life cycle (ZephonServer.cpp, ZephonServerConnection.cpp) ----------------------

    /// Both answer NO_ACTION: the work lies in the constructor, Configure and the connects.
    void Initialize(ReturnCode::Value& code) override;
    void Finalize(ReturnCode::Value& code) override;
    /// Reads the top-level configuration file, then sets priority and processor.
    /// INVALID_CONFIG for a missing file, container or key, and when either can't be set.
    void Configure(FACE::String const& file, ReturnCode::Value& code) override;
    /// Brings up transport, topics, devices, queues, FPGA, reporters and links. The first failed
    /// step ends it with INVALID_CONFIG; what the FPGA, a reporter or a link raises passes
    /// through. `file` is not used.
    void Framework_Connect(FACE::String const& file, ReturnCode::Value& code) override;
    /// Takes reporters, FPGA and topics down; safe after any partial connect. Answers NO_ERROR.
    void Framework_Disconnect(ReturnCode::Value& code) override;
    void Query_State(ReportedState::Value& state, ReturnCode::Value& code) override;
    /// START from stopped, STOP from running; anything else answers NOT_AVAILABLE.
    void Request_State_Transition(RequestedState::Value request, ReturnCode::Value& code) override;

    // ---- Routing (ZephonServerRouting.cpp), any thread ----------------------------------

    /// Takes what the engine, the Halvor unit and the PNT device say, off the queues and from the
    /// links, by the tables of zephon/GssipRoutes. What has no route is dropped.
    void cbGssip(aspn2_msgs::idl::GSSIP const& record);
    /// Hands data-transfer messages on to link 2; others are dropped.
    void cbDtOut(aspn2_msgs::idl::GSSIP const& record);
    /// Handlers of single messages, called by cbGssip.
    void handleZP_Block5001(aspn2_msgs::idl::GSSIP const& record);
    void handleZP_Block5044(aspn2_msgs::idl::GSSIP const& record);
    void handleZP_Block27553(aspn2_msgs::idl::GSSIP const& record);
    void handleTV_Block8504(aspn2_msgs::idl::GSSIP const& record) EXCLUDES(statusMutex_);
    /// Tells who the unit says is the super user, and answers a command that waits for it.
    void handleZP_PntConfigStatus(aspn2_msgs::idl::GSSIP const& record);
    /// Queues a message for all virtual units, unchanged, on link 1.
    void sendToAllEmulators(std::shared_ptr<GssipMessage> const& message);
    /// Queues a message for one virtual unit, 1 to 4, in a wrapper on link 1; any other number
    /// sends nothing. Inserts the message's checksums. One that is too long for the wrapper is
    /// lost, with an event.
    void sendToEmulator(int unit, std::shared_ptr<GssipMessage> const& message);
    /// Queues a message, unchanged, on link 3.
    void sendToPntdBitPort(std::shared_ptr<GssipMessage> const& message);
    /// Queues message 27530 on link 3; it asks for an ACK.
    void sendPntdCommand(PNTDBIT::PntDBitCmdMsg const& command);

    // ---- Commands (ZephonServerCommands.cpp), any thread that holds no lock -------------

    /// Takes a command and answers it; the vocabulary stands in zephon/CommandVerbs. What is no
    /// command, and a text that is no verb of its sender, gets no answer. What a handler raises
    /// passes through, unanswered and with its text on standard error.
    void cbCmd(aspn2_msgs::idl::CommandResponse const& record);
    /// Publishes a command, and tells it with debug on.
    void sendCommandMessage(aspn2_msgs::idl::CommandResponse& record);
    /// Publishes an answer, and tells it with debug on.
    void sendResponseMessage(aspn2_msgs::idl::CommandResponse& record);
    /// Publishes the record on that connection; what can't be published is reported and lost.
    void sendCmdRspMessage(long long connection, aspn2_msgs::idl::CommandResponse& record);

    // Handlers of verbs, called by cbCmd.
    CommandAnswer selectLiveMode(Command const& command);
    CommandAnswer selectSimulationMode(Command const& command);
    CommandAnswer answerPing(Command const& command);
    CommandAnswer initSincgars(Command const& command) EXCLUDES(sincgars_.mutex);
    /// A hot start with what the command tells, and with what is set for the human interface. One
    /// that runs refuses the next.
    CommandAnswer initToldHotStart(Command const& command) EXCLUDES(hotStart_.mutex);
    CommandAnswer initSetHotStart(Command const& command) EXCLUDES(hotStart_.mutex);

    // ---- Zeroize (ZephonServerZeroize.cpp), any thread that holds no lock ----------------

    /// Handler of verbs, called by cbCmd: has the PNT device zeroize, or refuses while it does.
    CommandAnswer startZeroize(Command const& command);
    /// Answers a zeroize when a virtual unit's status tells its end: the first one decides.
    void collectPossibleZeroizeResponses(int unit, unsigned short id);

    // ---- SLIP channel (SlipSupport.cpp), any thread that holds no lock --------------------

    /// Handler of a verb, called by cbCmd: brings the channel up, for as long as the shell
    /// commands for it take, and has it answered when both sides are settled or after 10 s.
    CommandAnswer openSlip(Command const& command);

    // ---- Port settings (ZephonServerPorts.cpp), any thread ------------------------------

    /// Handlers of verbs, called by cbCmd. A set is stored and sent before it is answered with what
    /// is stored then; nothing comes between.
    CommandAnswer answerSetCom(Command const& command) EXCLUDES(settingsMutex_);
    CommandAnswer answerSetMessageOutput(Command const& command) EXCLUDES(settingsMutex_);
    CommandAnswer answerQueryCom(Command const& command) EXCLUDES(settingsMutex_);
    CommandAnswer answerQueryMessageOutput(Command const& command) EXCLUDES(settingsMutex_);

    // ---- Options (ZephonServerOptions.cpp), any thread ----------------------------------

    /// Handlers of verbs, called by cbCmd, as those of port settings.
    CommandAnswer answerSetHotStart(Command const& command)
        EXCLUDES(settingsMutex_, hotStart_.mutex);
    CommandAnswer answerSetSuperUser(Command const& command) EXCLUDES(settingsMutex_);
    CommandAnswer answerSetOutputConfig(Command const& command) EXCLUDES(settingsMutex_);
    CommandAnswer answerQueryHotStart(Command const& command) EXCLUDES(settingsMutex_);
    /// The unit tells the super user later, and the server then answers once more.
    CommandAnswer answerQuerySuperUser(Command const& command);
    CommandAnswer answerQueryOutputConfig(Command const& command) EXCLUDES(settingsMutex_);

    // ---- Navigation output (ZephonServerNavigation.cpp), listener threads ---------------

    void cbMxPnt(aspn2_msgs::idl::MeridanePNT const& record);
    void cbPosVel(aspn2_msgs::idl::PositionVelocity const& record);
    void cbGpsTime(aspn2_msgs::idl::GPSTime const& record);
    void cbUtcTime(aspn2_msgs::idl::UTCTime const& record);

    // ---- Receiver status (ZephonServerReceiverStatus.cpp), listener threads -------------

    void cbEventLog(aspn2_msgs::idl::EventLog const& record);
    /// Handlers of single messages of the engine and the anti-jam unit, called by cbGssip.
    void handleTV_Block5040(aspn2_msgs::idl::GSSIP const& record) EXCLUDES(statusMutex_);
    void handleTV_Block9391(aspn2_msgs::idl::GSSIP const& record) EXCLUDES(statusMutex_);
    void handleTV_Block5044(aspn2_msgs::idl::GSSIP const& record);
    void handleTV_Block8040(aspn2_msgs::idl::GSSIP const& record);
    void handleAJ_Block2516(aspn2_msgs::idl::GSSIP const& record);
    void handleAJ_BlockDigarPN(aspn2_msgs::idl::GSSIP const& record);
    void handleAJ_BlockThreatData(aspn2_msgs::idl::GSSIP const& record);

    // ---- BIT (ZephonServerBit.cpp), any thread that holds no lock -----------------------

    /// Handlers of single messages of the PNT device, called by cbGssip. One that can't be read is
    /// an event, but for a status, and nothing more.
    void handleZP_PntdStatus(aspn2_msgs::idl::GSSIP const& record);
    /// Publishes a record for each faulted test, and answers the component CBIT that waits for it.
    void handleZP_PntdBitStatus(aspn2_msgs::idl::GSSIP const& record);
    void handleZP_PntdFaultReport(aspn2_msgs::idl::GSSIP const& record);
    void handleZP_PntdLogReport(aspn2_msgs::idl::GSSIP const& record);
    void handleZP_PntdFaultLabels(aspn2_msgs::idl::GSSIP const& record);
    /// Takes how the computer stands and hands it on to the unit, running or not.
    void cbBit(aspn2_msgs::idl::BitReport const& record) EXCLUDES(statusMutex_);
    /// Tells the results of the device's tests; true is failed.
    void reportPntdBitRollup(bool sys, bool post, bool bbit, bool cbit);
    /// Handlers of verbs, called by cbCmd.
    CommandAnswer startComponentCbit(Command const& command);
    CommandAnswer startSystemCbit(Command const& command);

    // ---- Answers and versions (ZephonServerVersions.cpp), any thread that holds no lock -

    /// Takes what other servers answer on the topic Response.
    void cbRsp(aspn2_msgs::idl::CommandResponse const& record);
    /// Handler of a verb, called by cbCmd.
    CommandAnswer answerPartNumbers(Command const& command) EXCLUDES(versionMutex_);
    /// Answers with the PNT device's identifiers. Until it has told them it is asked instead, and
    /// the sender has to come again.
    void sendPartNumbers(aspn2_msgs::idl::CommandResponse const& command) EXCLUDES(versionMutex_);
    /// Asks the PNT device for its identifiers, message 27558.
    void requestPntdIds() EXCLUDES(statusMutex_);
    /// Handler of a message, called by cbGssip.
    void handleZP_PntdIds(aspn2_msgs::idl::GSSIP const& record) EXCLUDES(versionMutex_);
    /// Takes an event of any server: it may announce the server's build.
    void handleEventVersioning(aspn2_msgs::idl::EventLog const& record) EXCLUDES(versionMutex_);

private:
    /// The connections of the nine topics, in the order in which they are made.
    struct Topics {
        long long command = -1;
        long long response = -1;
        long long eventLog = -1;
        long long gpsTime = -1;
        long long meridanePnt = -1;
        long long positionVelocity = -1;
        long long utcTime = -1;
        long long bitReport = -1;
        long long maintenanceEvent = -1;
    };
    struct TopicEntry {
        char const* name;
        long long Topics::*id;
    };
    static TopicEntry const topicEntries[9];

    /// The queue connections that links write to.
    struct Queues {
        long long pntdMx = -1;
        long long dtIn = -1;
    };

    template <typename T>
    using Typed = std::shared_ptr<FACE::TSS::Details::MX_TypedTS<T>>;

    // Steps of Configure and Framework_Connect; each answers whether it succeeded.
    bool readConfiguration(FACE::String const& file);
    bool countServerConfigurations(FACE::Configuration& config);
    bool setProcessPriority() const;
    bool setProcessor() const;
    bool connectTransport();
    bool registerTopics();
    bool connectDevices();
    bool connectQueues();
    /// Waits for callbacks that run; none comes any more.
    void endTopicCallbacks();
    void startReporters();
    static void endReporters();
    void connectLinks();
    static void configure_ZP_Comms(GpsIo& link);
    void announce() const;
    template <typename T>
    bool makeTyped(Typed<T>& typed);
    template <typename T>
    bool receive(Typed<T> const& typed, long long connection,
                 void (ZephonServer::*callback)(T const&), char const* callbackName);
    void reportException(std::string const& place, std::string const& what) const;

    void startServer();
    void stopServer();
    /// Stops the timers of what waits for the unit; nobody is answered.
    void cancelTimers();

    // Timed procedures (ZephonServerPeriodic.cpp).
    void startThreads();
    /// Ends the server's own threads and waits for them, a tenth of a second at most.
    void stopThreads();
    /// Looks ten times a second what is to end. What a round raises is an event.
    void periodicThreadFunction();
    void endSincgars() EXCLUDES(sincgars_.mutex);
    void endHotStart() EXCLUDES(hotStart_.mutex);

    bool isRunning() const { return state_ == ReportedState::RUNNING; }

    /// Reports the states of message 5044 that matter to others; `unit` names who has it.
    void tellStatus(std::string const& unit, Trevo5044Record const& status) const;
    /// Turns what an operator ordered at the unit's own panel into a command to the computer.
    void passOnCommand(TrevoCommandMsg const& message);
    /// Commands of the human-interface server.
    void handleHmiCommandResponse(aspn2_msgs::idl::CommandResponse const& record);
    /// Finds the verb of a command, has it done and answers.
    void dispatch(aspn2_msgs::idl::CommandResponse const& record);
    void sendAnswer(aspn2_msgs::idl::CommandResponse const& command, CommandAnswer const& answer);
    /// Runs `start`; what it raises is an event, and refused.
    template <typename Start>
    CommandAnswer answerHotStart(Start start);
    /// Queues message 5001 for virtual units 1 and 2.
    void sendSincgarsCommand(e5001_Command command);
    void copyToAllEmulators(aspn2_msgs::idl::GSSIP const& record);

    // Zeroize (ZephonServerZeroize.cpp).
    /// Answers a start. What can't be published is an event.
    void generateSendZeroizeMessage(aspn2_msgs::idl::CommandResponse const& command, bool pass);
    void takeSanitizeStatus(bool passed);
    void reportSanitizeFail(bool failed) const;

    // SLIP channel (SlipSupport.cpp).
    void createSLIPChannel(aspn2_msgs::idl::CommandResponse const& command,
                           PNTDBIT::ePntd_ProgStart start);
    void requestSLIP(PNTDBIT::ePntd_ProgStart start);
    void handleZP_SLIP_PntdStatus(PNTDBIT::PntdStatusMsg const& status);
    void sendSLIPResponse(aspn2_msgs::idl::CommandResponse const& command, bool pass);

    // Port settings (ZephonServerPorts.cpp). What is raised there is an event, or with the replay
    // at the start a line on standard error.
    bool zephonComParametersAreValid(Fields const& fields) const;
    bool zephonMessageOutParametersAreValid(Fields const& fields) const;
    /// Store valid fields in a container and send them; without that container nothing is sent.
    void setZephonCom(Fields const& fields, std::string const& key) REQUIRES(settingsMutex_);
    void setZephonMsgConnects(Fields const& fields, std::string const& key)
        REQUIRES(settingsMutex_);
    /// Raise without the container; values that can't be written are an event.
    void writeComParams(Fields const& fields, std::string const& key) const
        REQUIRES(settingsMutex_);
    void writeZephonMsgConnects(Fields const& fields, std::string const& key) const
        REQUIRES(settingsMutex_);
    /// What is stored in a container, as it is answered; empty values and zeros without it.
    std::string getComRsp(std::string const& key) const REQUIRES(settingsMutex_);
    std::string getMessageRsp(std::string const& key) const REQUIRES(settingsMutex_);
    /// Send a command or an answer; raise for what has no code in the message.
    void buildAndSend5331(Fields const& row) REQUIRES(settingsMutex_);
    void buildAndSend30001(Fields const& row) REQUIRES(settingsMutex_);
    Fields portRow(std::string const& unit, std::string const& port) const REQUIRES(settingsMutex_);
    Fields messageRow(std::string const& unit, std::string const& port) const
        REQUIRES(settingsMutex_);
    Fields optionRow(std::string const& unit, std::string const& port) const
        REQUIRES(settingsMutex_);
    /// Whether the row is about a COM2 that repeats COM1, which the unit sets up by itself.
    bool isLeftToCom1(Fields const& row) const REQUIRES(settingsMutex_);
    /// Replays what is stored of all ports. True also when the file is damaged: the unit then
    /// keeps what it has, from that port on.
    bool configureComPortInfo() EXCLUDES(settingsMutex_);
    void configureComPortsOf(std::string const& unit) REQUIRES(settingsMutex_);

    // Options (ZephonServerOptions.cpp). What fails there is an event; a row that is not good
    // changes and sends nothing.
    /// Read what is stored, repaired, with an event for each repair. False without the file or the
    /// container; then all stays as it is.
    bool loadSuperUserInfo() EXCLUDES(settingsMutex_);
    bool loadHotStartInfo() EXCLUDES(settingsMutex_, hotStart_.mutex);
    /// Remembers a command that the unit's next status of the super user answers.
    void awaitSuperUser(Command const& command);
    /// Stores the fields, for the operator and not for the next start, and takes them for the
    /// hot starts of the human interface, also when they can't be stored.
    void setZephonHotStart(Fields const& fields) REQUIRES(settingsMutex_) EXCLUDES(hotStart_.mutex);
    /// True when the fields are stored, and sent.
    bool setZephonSuperUser(Fields const& fields) REQUIRES(settingsMutex_);
    /// True when the fields are sent; they are not without their container.
    bool setZephonOutputConfig(std::string const& key, Fields const& fields)
        REQUIRES(settingsMutex_);
    /// What is stored, as it is answered; empty values and zeros without its container.
    std::string getHSRsp() const REQUIRES(settingsMutex_);
    std::string getZephonOutputConfig(std::string const& key) const REQUIRES(settingsMutex_);
    /// Orders a data transfer for a hot start.
    void initHotStart(unsigned short unit, std::string const& port, std::string const& type);
    /// Answers the hot start that has ended.
    void generateSendHotStartRspMessage(bool pass);
    /// Sends a command or an answer about capabilities, false for any other row; raises for what
    /// has no code in the message.
    bool buildAndSendOptionCmd(Fields const& row);
    /// Sends who the super user is, and asks the unit for it.
    bool buildAndSendConfigCmd(unsigned short unit, unsigned short port);
    bool buildAndSendConfigRequest();
    void reportSetting(std::string const& what) const;

    /// Sends a command or an answer; the caller reports what can't be sent.
    bool sendRecord(long long connection, aspn2_msgs::idl::CommandResponse& record);

    void handleUTCTimeMessage(aspn2_msgs::idl::UTCTime const& record);
    void handleMeridanePNTMessage(aspn2_msgs::idl::MeridanePNT const& record);
    void checkIfReceivedBoth();
    void handleAltNavPv(aspn2_msgs::idl::PositionVelocity const& record);
    void handleAltNavGpsTime(aspn2_msgs::idl::GPSTime const& record);
    void checkForAltNavPvt();

    // Time mark and part numbers (ZephonServerTimeMark.cpp).
    void handleGPSTimeMessageAtGpsTm(aspn2_msgs::idl::GPSTime const& record) EXCLUDES(statusMutex_);
    void handleUTCTimeMessageAtGpsTm(aspn2_msgs::idl::UTCTime const& record) EXCLUDES(statusMutex_);
    /// Sends the time mark when all that goes with it is there.
    void checkIf8504_UTCTime_GPSTime() EXCLUDES(statusMutex_);
    /// Sends the time mark that is due, alone or with the fused time; does nothing without one.
    void doHoldover(bool merge) REQUIRES(statusMutex_);
    /// Sends the part numbers, once they are known; seconds of the week.
    void buildAndSendMXPN(double gpsTimeOfWeek) EXCLUDES(versionMutex_);
    void handleTrevoEventLog(aspn2_msgs::idl::EventLog const& record) EXCLUDES(versionMutex_);

    void checkIfReceived5040_9391() EXCLUDES(statusMutex_);
    /// Hears on link 1's protocol thread whether the unit took a message 30000.
    void crm30000AckCallback(aspn2_msgs::idl::CommandResponse const& record, bool ok);
    void handleBlockEventLog(aspn2_msgs::idl::EventLog const& record);
    template <typename Message>
    void handOn(aspn2_msgs::idl::GSSIP const& record);

    // Answers and versions (ZephonServerVersions.cpp).
    /// Reads what is installed and compares it with what runs. False when the file can't be loaded;
    /// then all stays as it is.
    bool loadVersionInfo() EXCLUDES(versionMutex_);
    /// Asks the alternate navigation unit for the PNT device's part numbers until it has told them.
    /// What is raised there is an event, and ends the thread.
    void requestPartNumbersThread() EXCLUDES(versionMutex_);
    bool knowsPntdVersions() EXCLUDES(versionMutex_);
    void requestPartNumbers();
    void takePntdVersions(std::string const& text) EXCLUDES(versionMutex_);

    // BIT (ZephonServerBit.cpp).
    /// Publishes what has failed; true when there is any, published or not.
    bool reportFaults(PNTDBIT::Received<PNTDBIT::PntdBitStatusMsg> const& status) const;
    /// Takes the engine's answer to a component CBIT; any other of its answers is none of it.
    void takeEngineCbit(aspn2_msgs::idl::CommandResponse const& record) EXCLUDES(statusMutex_);
    /// GPS time of week of the last time mark, in seconds; 0 before the first.
    double lastMarkTime() EXCLUDES(statusMutex_);
    void requestBitStatus(double gpsTimeOfWeek);
    /// Tells all virtual units how the system CBIT has ended.
    void sendSystemCbitResult(double gpsTimeOfWeek, bool failed);
    /// Sends an event, and tells it with debug on; `line` is the place in that file.
    void tellBit(int line, EventTypes::eEventType type, std::string const& text) const;
    /// Reports a message that is no good.
    void refuseBit(int line, std::string const& what) const;

    // Constant after construction.
    const unsigned char serverId_;
    const std::string name_;
    const Clock clock_;

    // Changed by Configure and Framework_Connect only, before any other thread reads them.
    SystemParameters system_;
    ConfigParameters config_;
    int serverConfigurations_ = 0;
    ASPN2::DeviceIdFactory deviceIds_;
    Topics topics_;
    Queues queues_;
    SuperUser superUser_;  // as loaded

    // Written by main's thread, read by all.
    std::atomic<ReportedState::Value> state_{ReportedState::STOPPED};

    platform::Mutex solutionMutex_;
    FusedSolution solution_ GUARDED_BY(solutionMutex_);

    platform::Mutex altNavMutex_;
    AltNavSolution altNav_ GUARDED_BY(altNavMutex_);

    platform::Mutex statusMutex_;
    TimeMark timeMark_ GUARDED_BY(statusMutex_);
    ReceiverStatusJoin statusJoin_ GUARDED_BY(statusMutex_);

    // Set when a message 30000 is queued, cleared on link 1's protocol thread.
    std::atomic<bool> crmAckPending_{false};

    platform::Mutex versionMutex_;
    PartNumbers partNumbers_ GUARDED_BY(versionMutex_);
    SystemBuild systemBuild_ GUARDED_BY(versionMutex_);
    VersionStatus pntdIds_ GUARDED_BY(versionMutex_);

    // The box's built-in test has failed. Written by the callback of BitReport, read by the threads
    // that take and send time marks.
    std::atomic<bool> bitFailed_{false};

    // BIT. The two objects synchronise themselves, as leaves.
    FaultLabels faultLabels_;
    CommandedBit commandedBit_;
    // Between the order of a system CBIT and its report: its background tests find what it causes.
    std::atomic<bool> suppressBbitFaults_{false};

    // Held from a command to its answer: a file that is written holds still for who reads it, and
    // an answer tells what its own command left. Over the link table's and the event queue's.
    platform::Mutex settingsMutex_;
    StoredSettings settings_ GUARDED_BY(settingsMutex_);

    // Commands and what they start; each synchronises itself. Never two of these locks at once.
    StoredCommands storedCommands_;
    TimedProcedure sincgars_;
    TimedProcedure hotStart_;
    HotStartSettings hotStartSettings_ GUARDED_BY(hotStart_.mutex);
    // The last super-user command waits for the unit's status.
    std::atomic<bool> superUserPending_{false};

    // Each has a timer, which may answer as long as the transport stands, and a lock that it holds
    // while it answers.
    Zeroize zeroize_{
        [this](auto const& command, bool pass) { generateSendZeroizeMessage(command, pass); }};
    SlipChannel slip_{[this](auto const& command, bool pass) { sendSLIPResponse(command, pass); }};

    // Set by main's thread, read by the server's own threads, which main's alone starts and joins.
    std::atomic<bool> stopThreads_{false};
    std::thread periodicThread_;
    std::thread partNumbersThread_;

    // Owned here, self-synchronised. The destructor gives them up in an order of its own.
    std::shared_ptr<FACE::MX_Config> transportConfig_;
    std::shared_ptr<FACE::MX_Config> ioConfig_;
    std::shared_ptr<FACE::TSS::MX_TSS> transport_;
    Typed<aspn2_msgs::idl::CommandResponse> commandResponseTs_;
    Typed<aspn2_msgs::idl::EventLog> eventLogTs_;
    Typed<aspn2_msgs::idl::GPSTime> gpsTimeTs_;
    Typed<aspn2_msgs::idl::MeridanePNT> meridanePntTs_;
    Typed<aspn2_msgs::idl::PositionVelocity> positionVelocityTs_;
    Typed<aspn2_msgs::idl::UTCTime> utcTimeTs_;
    Typed<aspn2_msgs::idl::BitReport> bitReportTs_;
    Typed<aspn2_msgs::idl::MaintenanceEvent> maintenanceEventTs_;
    ASPN2::CmdResponse cmdResponse_;
    std::shared_ptr<FACE::IOSS::MX_SerialPort> serial_;
    std::shared_ptr<FACE::IOSS::MX_Devmem> memory_;
    std::shared_ptr<GssipMcsq> gssipQueue_;
    LinkTable links_;
};
