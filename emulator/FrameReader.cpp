#include "emulator/FrameReader.hpp"

#include <cstdio>

namespace vantoemu {

namespace {

std::string hexByte(std::uint8_t b) {
    char text[3];
    std::snprintf(text, sizeof text, "%02x", b);
    return text;
}

}  // namespace

FrameReader::FrameReader(LengthForm form, bool crcEnabled) : mForm(form), mCrcEnabled(crcEnabled) {}

std::string FrameReader::kindName(Error::Kind kind) {
    switch (kind) {
        case Error::Kind::BytesOutsideFrame:
            return "bytes outside a frame";
        case Error::Kind::StartInsideFrame:
            return "start byte inside a frame";
        case Error::Kind::BadEscape:
            return "bad escape";
        case Error::Kind::CrcMismatch:
            return "CRC mismatch";
    }
    return "unknown";
}

void FrameReader::startFrame() {
    mState = State::Length1;
    mEscaped = false;
    mFirstLength = 0;
    mLength = 0;
    mMessage.clear();
    mCrc.reset();
    mReceivedCrc = 0;
}

void FrameReader::fail(Error::Kind kind, std::string message, Output& out) {
    ++mErrors;
    out.errors.push_back(Error{kind, mOffset, std::move(message)});
    mState = State::Idle;
    mEscaped = false;
    mMessage.clear();
}

void FrameReader::flushStray(Output& out) {
    if (mStray == 0) {
        return;
    }
    ++mErrors;
    out.errors.push_back(Error{Error::Kind::BytesOutsideFrame, mStrayStart,
                               std::to_string(mStray) + " byte(s) before a start byte"});
    mStray = 0;
}

FrameReader::Output FrameReader::feed(std::span<const std::uint8_t> bytes) {
    Output out;
    for (std::uint8_t b : bytes) {
        if (b == STX) {
            // A start byte is never escaped inside a frame, so it always begins a new one: a
            // frame still open here was cut short, and reading resumes with the new frame.
            flushStray(out);
            if (mState != State::Idle) {
                fail(
                    Error::Kind::StartInsideFrame,
                    "frame cut short after " + std::to_string(mMessage.size()) + " message byte(s)",
                    out);
            }
            startFrame();
        } else if (mState == State::Idle) {
            if (mStray == 0) {
                mStrayStart = mOffset;
            }
            ++mStray;
        } else if (mEscaped) {
            mEscaped = false;
            const std::uint8_t value = static_cast<std::uint8_t>(b ^ ESCAPE_XOR);
            if (value != STX && value != DLE) {
                fail(Error::Kind::BadEscape,
                     "escape 10 " + hexByte(b) + " stands for no escaped byte", out);
            } else {
                acceptByte(value, out);
            }
        } else if (b == DLE) {
            mEscaped = true;
        } else {
            acceptByte(b, out);
        }
        ++mOffset;
    }
    flushStray(out);
    return out;
}

void FrameReader::acceptByte(std::uint8_t value, Output& out) {
    auto addCrc = [this](std::uint8_t v) { mCrc.add(v); };
    auto lengthDone = [this, &out]() {
        mMessage.reserve(mLength);
        if (mLength > 0) {
            mState = State::Message;
        } else if (mCrcEnabled) {
            mState = State::Crc1;
        } else {
            ++mFrames;
            out.frames.push_back({});
            mState = State::Idle;
        }
    };
    switch (mState) {
        case State::Idle:
            break;
        case State::Length1:
            addCrc(value);
            mFirstLength = value;
            if (mForm == LengthForm::Bits8) {
                mLength = value;
                lengthDone();
            } else if (mForm == LengthForm::Bits12 && (value & 0x80) == 0) {
                mLength = value;
                lengthDone();
            } else {
                mState = State::Length2;
            }
            break;
        case State::Length2:
            addCrc(value);
            if (mForm == LengthForm::Bits12) {
                mLength = static_cast<std::size_t>(mFirstLength & 0x7F) + 128u * value;
            } else {
                mLength = static_cast<std::size_t>(mFirstLength) + 256u * value;
            }
            lengthDone();
            break;
        case State::Message:
            addCrc(value);
            mMessage.push_back(value);
            if (mMessage.size() == mLength) {
                if (mCrcEnabled) {
                    mState = State::Crc1;
                } else {
                    deliverFrame(out);
                }
            }
            break;
        case State::Crc1:
            mReceivedCrc = static_cast<std::uint16_t>(value << 8);
            mState = State::Crc2;
            break;
        case State::Crc2:
            mReceivedCrc = static_cast<std::uint16_t>(mReceivedCrc | value);
            if (mReceivedCrc != mCrc.value()) {
                fail(Error::Kind::CrcMismatch,
                     "CRC received " + hexByte(static_cast<std::uint8_t>(mReceivedCrc >> 8)) +
                         hexByte(static_cast<std::uint8_t>(mReceivedCrc)) + ", computed " +
                         hexByte(static_cast<std::uint8_t>(mCrc.value() >> 8)) +
                         hexByte(static_cast<std::uint8_t>(mCrc.value())) + " over " +
                         std::to_string(mMessage.size()) + " message byte(s)",
                     out);
            } else {
                deliverFrame(out);
            }
            break;
    }
}

void FrameReader::deliverFrame(Output& out) {
    ++mFrames;
    out.frames.push_back(std::move(mMessage));
    mMessage.clear();
    mState = State::Idle;
}

}  // namespace vantoemu
