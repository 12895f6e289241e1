#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

#include "bench/Bench.h"
#include "bench/ChildProcess.h"
#include "bench/PseudoTerminal.h"
#include "bench/UnitFrame.h"
#include "bench/UnitParser.h"
#include "benchmarks/FrameLedger.h"
#include "benchmarks/PacedSource.h"
#include "benchmarks/QueueReader.h"

namespace benchmarks {

/// What a load run gave, in frames of all links together.
struct LoadResult {
    std::uint64_t towardsQueues = 0;  ///< sent on the lines
    std::uint64_t onQueues = 0;       ///< of these, arrived
    std::uint64_t towardsLines = 0;   ///< sent by the program, or on the pipes that feed it
    std::uint64_t onLines = 0;        ///< of these, arrived
    std::uint64_t defects = 0;        ///< gaps, foreign bytes, refused pieces, errors it counted
    double seconds = 0;
    double processorSeconds = 0;

    std::uint64_t lost() const { return towardsQueues - onQueues + towardsLines - onLines; }
    double share() const { return processorSeconds / seconds; }
    double microsecondsPerFrame() const {
        return 1e6 * processorSeconds / static_cast<double>(onQueues + onLines);
    }
    void add(LoadResult const& other);
};

/// A program between three serial lines and queue devices, and the unit's end of the lines and the
/// readers of the queues. One thread.
class LoadedProgram {
public:
    static constexpr unsigned links = 3;
    /// What a line of 921600 bit/s carries, with ten bits for a byte.
    static constexpr double lineBytesPerSecond = 92160;

    explicit LoadedProgram(std::size_t piece);
    virtual ~LoadedProgram() = default;
    LoadedProgram(LoadedProgram const&) = delete;
    LoadedProgram& operator=(LoadedProgram const&) = delete;

    /// Both directions for so long, and until all has arrived or nothing comes any more. What
    /// passes is added to the result as well as the processor time, also that of the end.
    LoadResult run(double seconds);

    /// What the feeds carry towards each line, from the next run on. A program that feeds itself
    /// has none.
    void setFeedRate(double framesPerSecond) { feedRate_ = framesPerSecond; }

    /// The longest time that the sender itself was late.
    PacedSource::Clock::duration longestDelay() const;

    std::string slavePath(unsigned link) const { return lines_.at(link - 1).slavePath(); }

protected:
    /// Begins to send towards the lines, for so long.
    virtual void beginOutgoing(PacedSource::Clock::time_point start, double seconds) = 0;
    /// True once the number of frames that were sent towards the lines is known, and none waits.
    virtual bool outgoingIsSent() = 0;
    virtual std::uint64_t outgoingFrames() const = 0;  ///< since the beginning
    virtual void takeFromQueue(std::size_t index) = 0;
    virtual std::vector<pid_t> processes() const = 0;

    /// What a program sent on a line. The base knows the numbered frames, and takes all others for
    /// damage.
    virtual void takeFrame(unsigned link, bench::UnitFrame const& frame);

    bench::PseudoTerminal& line(unsigned link) { return lines_.at(link - 1); }
    std::vector<PacedSource>& sources() { return sources_; }
    std::vector<PacedSource> const& sources() const { return sources_; }
    /// The sources behind the first three feed the program: they begin to, and so many frames they
    /// have sent.
    void beginFeeds(PacedSource::Clock::time_point start, double seconds);
    std::uint64_t framesOfFeeds() const;
    /// Takes the records that the queue was just read for.
    void takeRecords(std::size_t index);
    /// Makes our lines those of a bench, and its queues ours.
    void connectLines(bench::Bench& bench) const;
    void readQueues(bench::Bench& bench);
    std::vector<QueueReader>& queues() { return queues_; }
    FrameLedger& onQueues() { return onQueues_; }

private:
    void takeFromLine(std::size_t index);
    bool allArrived() const;
    void pass(PacedSource::Clock::time_point deadline);
    double processorSeconds() const;
    std::uint64_t defects() const;

    std::array<bench::PseudoTerminal, links> lines_;
    std::vector<PacedSource> sources_;  // the first three feed the lines
    std::vector<QueueReader> queues_;
    std::vector<bench::UnitParser> lineParsers_;
    FrameLedger onQueues_;
    FrameLedger onLines_;
    double feedRate_ = 0;  // frames a second and line
};

/// The real links.
class LoadedLinks final : public LoadedProgram {
public:
    explicit LoadedLinks(std::size_t piece);
    /// Ends the program and gives the errors that its links counted.
    std::uint64_t finish();

    bench::Bench& bench() { return *bench_; }

private:
    void beginOutgoing(PacedSource::Clock::time_point start, double seconds) override;
    bool outgoingIsSent() override;
    std::uint64_t outgoingFrames() const override { return outgoing_; }
    void takeFromQueue(std::size_t index) override { takeRecords(index); }
    std::vector<pid_t> processes() const override;

    std::unique_ptr<bench::Bench> bench_;
    std::size_t runs_ = 0;
    std::uint64_t outgoing_ = 0;
};

/// The real server, whole. Its siblings feed it on their queue devices: records of the engine leave
/// on link 1, those of the data transfer on link 2. Nothing feeds link 3 so fast. The lines hand
/// whole frames over, between which there is room for the answers to the server's.
class LoadedServer final : public LoadedProgram {
public:
    /// Raises std::runtime_error when the server does not come up.
    LoadedServer();

private:
    void addFeed(std::uint16_t link, unsigned queue, std::int32_t device, std::uint16_t id);
    void takeFrame(unsigned link, bench::UnitFrame const& frame) override;
    void beginOutgoing(PacedSource::Clock::time_point start, double seconds) override {
        beginFeeds(start, seconds);
    }
    bool outgoingIsSent() override { return true; }  // when the sources are done
    std::uint64_t outgoingFrames() const override { return framesOfFeeds(); }
    void takeFromQueue(std::size_t index) override { takeRecords(index); }
    std::vector<pid_t> processes() const override;

    std::unique_ptr<bench::Bench> bench_;
    std::vector<bench::FileDescriptor> feeds_;
};

/// One `socat` for each line, which moves bytes between it and two pipes.
class LoadedRelays final : public LoadedProgram {
public:
    /// `devices` gives the pipes their place. Raises std::runtime_error when socat is not there.
    LoadedRelays(std::size_t piece, bench::DeviceRoot& devices);

private:
    void beginOutgoing(PacedSource::Clock::time_point start, double seconds) override {
        beginFeeds(start, seconds);
    }
    bool outgoingIsSent() override { return true; }  // when the sources are done
    std::uint64_t outgoingFrames() const override { return framesOfFeeds(); }
    void takeFromQueue(std::size_t index) override;
    std::vector<pid_t> processes() const override;

    std::vector<bench::FileDescriptor> feeds_;
    std::vector<bench::UnitParser> queueParsers_;
    std::vector<std::unique_ptr<bench::ChildProcess>> relays_;
};

}  // namespace benchmarks
