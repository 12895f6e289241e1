#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "GpsSerialIo/GssipParser.h"

/// The stream parser as the plain automaton that defines its behaviour: one byte at a time
/// over a queue, and after each dropped byte all that follow once more. Slow on purpose and
/// without a thought in it; the parser has to report the same, in the same order and inside
/// the same calls.
class ParserOracle {
public:
    void ProcessMessagesWithThis(IHandleGpsipMessages* handler, unsigned int context) {
        if (handler != nullptr) {
            handler_ = handler;
            context_ = context;
        }
    }

    void LoadBytes(const unsigned char* bytes, unsigned short count) {
        bytes_.insert(bytes_.end(), bytes, bytes + count);
        parse();
    }

    void reset() {
        bytes_.clear();
        state_ = State::waitDelim;
        expectedBytes_ = 0;
        index_ = 0;
        sum_ = 0;
    }

private:
    enum class State { waitDelim, waitSoh, inHeader, inData };

    void parse() {
        while (bytes_.size() > index_) {
            const unsigned b = bytes_[index_];
            sum_ = static_cast<std::uint16_t>(sum_ + (index_ % 2 == 0 ? b : b * 256));
            switch (state_) {
                case State::waitDelim:
                    if (b == 0xFF) {
                        state_ = State::waitSoh;
                        ++index_;
                    } else {
                        dropFront();
                    }
                    break;
                case State::waitSoh:
                    if (b == 0x81) {
                        state_ = State::inHeader;
                        ++index_;
                    } else {
                        state_ = State::waitDelim;
                        dropFront();
                    }
                    break;
                case State::inHeader:
                    if (index_ != 9) {
                        ++index_;
                    } else if (sum_ == 0) {
                        expectedBytes_ = (bytes_[4] + bytes_[5] * 256U + 6) * 2;
                        state_ = State::inData;
                        ++index_;
                        if (expectedBytes_ == 12) {
                            post(10);
                        }
                    } else {
                        fail();
                    }
                    break;
                case State::inData:
                    if (index_ + 1 != expectedBytes_) {
                        ++index_;
                    } else if (sum_ == 0) {
                        post(expectedBytes_);
                    } else {
                        fail();
                    }
                    break;
            }
        }
    }

    void dropFront() {
        bytes_.pop_front();
        index_ = 0;
        sum_ = 0;
    }

    void fail() {
        state_ = State::waitDelim;
        dropFront();
        if (handler_ != nullptr) {
            handler_->OnParserChecksumError(context_);
        }
    }

    void post(std::size_t count) {
        const auto end = bytes_.begin() + static_cast<std::ptrdiff_t>(count);
        frame_.assign(bytes_.begin(), end);
        bytes_.erase(bytes_.begin(), end);
        state_ = State::waitDelim;
        index_ = 0;
        sum_ = 0;
        if (handler_ != nullptr) {
            handler_->OnGpsMessageReceived(frame_.data(), static_cast<unsigned int>(count),
                                           context_);
        }
    }

    std::deque<unsigned char> bytes_;
    State state_ = State::waitDelim;
    std::size_t expectedBytes_ = 0;
    std::size_t index_ = 0;
    std::uint16_t sum_ = 0;
    IHandleGpsipMessages* handler_ = nullptr;
    unsigned int context_ = 0;
    std::vector<unsigned char> frame_;
};
