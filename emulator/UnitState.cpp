#include "emulator/UnitState.hpp"

#include <algorithm>
#include <array>

#include "emulator/FrameWriter.hpp"
#include "emulator/Hex.hpp"

namespace vantoemu {

namespace {

std::uint32_t littleEndian32(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at]) |
           (static_cast<std::uint32_t>(bytes[at + 1]) << 8) |
           (static_cast<std::uint32_t>(bytes[at + 2]) << 16) |
           (static_cast<std::uint32_t>(bytes[at + 3]) << 24);
}

// Output lines of the IO word: two bits per diagnostic LED position, single lines for the
// cosmetic light, the solenoid and USB power.
constexpr int LINE_COSMETIC_GREEN = 8;
constexpr int LINE_COSMETIC_BLUE = 9;
constexpr int LINE_COSMETIC_RED = 10;
constexpr int LINE_SOLENOID = 12;
constexpr int LINE_USB_POWER = 26;
constexpr std::size_t IO_CONTENT = 32;
constexpr std::size_t IO_MASK_AT = 24;
constexpr std::size_t IO_VALUE_AT = 28;

bool lineOn(std::uint32_t lines, int line) {
    return ((lines >> line) & 1u) != 0;
}

int ledColour(std::uint32_t lines, int position) {
    return static_cast<int>((lines >> (2 * position)) & 3u);
}

int cosmeticColour(std::uint32_t lines) {
    return (lineOn(lines, LINE_COSMETIC_BLUE) ? 1 : 0) +
           (lineOn(lines, LINE_COSMETIC_GREEN) ? 2 : 0) +
           (lineOn(lines, LINE_COSMETIC_RED) ? 4 : 0);
}

}  // namespace

UnitState::UnitState(asio::io_context& io, EventLog& log, Faults faults,
                     std::chrono::milliseconds drawerCloseAfter,
                     std::chrono::milliseconds jobIdleGap)
    : mIo(io),
      mLog(log),
      mDrawerTimer(io),
      mFaults(faults),
      mDrawerCloseAfter(drawerCloseAfter),
      mJobs(jobIdleGap) {}

void UnitState::setJobHandler(JobHandler handler) {
    std::lock_guard lock(mMutex);
    mJobHandler = std::move(handler);
}

FrameAnswer UnitState::answer(std::span<const std::uint8_t> message, const std::string& sender,
                              std::uint64_t connection) {
    FrameAnswer answer;
    if (connection != 0) {
        std::lock_guard lock(mMutex);
        if (mFaults.dropConnections > 0) {
            --mFaults.dropConnections;
            answer.dropConnection = true;
        }
    }
    handle(message, sender, connection, answer);
    // Wire faults apply to every reply alike; the printer's data path has already applied
    // them to its acknowledgement, because whether the sender can read it decides what a
    // repeat of the packet means.
    while (answer.framed < answer.replies.size()) {
        reply(message, connection, answer);
    }
    if (answer.dropConnection) {
        mLog.record("connection_dropped",
                    {{"connection", connection}, {"answers_lost", answer.replies.size()}});
    }
    return answer;
}

void UnitState::handle(std::span<const std::uint8_t> message, const std::string& sender,
                       std::uint64_t connection, FrameAnswer& answer) {
    if (message.size() < 4) {
        ignore(message, "message shorter than its 4-byte header", answer);
        return;
    }
    const std::uint8_t channel = message[0] & 0x0F;
    const std::uint8_t type = message[2];
    const std::uint8_t tag = message[3] & 0x0F;
    const std::uint8_t answeredTag = static_cast<std::uint8_t>(0x80 | tag);
    const auto content = message.subspan(4);
    auto portControl = [&](std::uint8_t state, std::uint8_t flags) {
        std::array<std::uint8_t, PORT_CONTROL_CONTENT> body{};
        body[6] = state;
        body[7] = flags;
        answer.replies.push_back(
            FrameWriter::replyMessage(message, TYPE_PORT_CONTROL, answeredTag, body));
    };

    if (channel == CHANNEL_PRINTER && type == TYPE_PORT_CONTROL) {
        std::uint8_t state = PRINTER_READY;
        std::uint8_t flags = 0;
        {
            std::lock_guard lock(mMutex);
            if (mFaults.printerNotReadyPolls > 0) {
                --mFaults.printerNotReadyPolls;
                state = PRINTER_NOT_READY;
            }
            // The library asks before each receipt, never while sending one.
            mJobs.statusQuery(sender);
            if (mFaults.printer == PrinterCondition::NotReady) {
                state = PRINTER_NOT_READY;
            } else if (mFaults.printer == PrinterCondition::Error) {
                state = PRINTER_NOT_READY;
                flags = PRINTER_ERROR_FLAG;
            }
        }
        mLog.record("printer_status",
                    {{"ready", state == PRINTER_READY}, {"error", flags == PRINTER_ERROR_FLAG}});
        portControl(state, flags);
    } else if (channel == CHANNEL_PRINTER && type == TYPE_SWITCH_DATA) {
        printerData(message, tag, content, sender, connection, answer);
    } else if (channel == CHANNEL_DRAWER && type == TYPE_SWITCH_DATA) {
        if (content.size() >= 2 && content[0] == 0x1B && content[1] == 0x70) {
            openDrawer("pulse");
        } else {
            ignore(message, "drawer data that is not a drawer pulse", answer);
        }
    } else if (channel == CHANNEL_DRAWER && type == TYPE_PORT_CONTROL) {
        bool open = false;
        {
            std::lock_guard lock(mMutex);
            open = mDrawerOpen;
        }
        mLog.record("drawer_status", {{"open", open}});
        portControl(open ? DRAWER_OPEN : DRAWER_CLOSED, 0);
    } else if (channel == CHANNEL_IO && type == TYPE_SET_IO_STATE) {
        if (content.size() < IO_CONTENT) {
            ignore(
                message,
                "IO state with " + std::to_string(content.size()) + " content bytes instead of 32",
                answer);
            return;
        }
        applyIo(littleEndian32(content, IO_MASK_AT), littleEndian32(content, IO_VALUE_AT));
        std::array<std::uint8_t, IO_CONTENT> body{};
        std::uint32_t lines;
        {
            std::lock_guard lock(mMutex);
            lines = mOutputLines;
        }
        for (std::size_t k = 0; k < 4; ++k) {
            body[IO_MASK_AT + k] = content[IO_MASK_AT + k];
            body[IO_VALUE_AT + k] = static_cast<std::uint8_t>(lines >> (8 * k));
        }
        answer.replies.push_back(
            FrameWriter::replyMessage(message, TYPE_SET_IO_STATE, answeredTag, body));
    } else {
        ignore(message, "no function for this channel and type", answer);
    }
}

void UnitState::ignore(std::span<const std::uint8_t> message, const std::string& reason,
                       FrameAnswer& answer) {
    nlohmann::json fields = {{"reason", reason}, {"hex", hex(message)}};
    if (message.size() >= 4) {
        fields["channel"] = message[0] & 0x0F;
        fields["type"] = hexByte(message[2]);
    }
    mLog.record("ignored", fields);
    answer.answerOwed = true;
}

void UnitState::printerData(std::span<const std::uint8_t> message, std::uint8_t tag,
                            std::span<const std::uint8_t> content, const std::string& sender,
                            std::uint64_t connection, FrameAnswer& answer) {
    if (tag == 0) {
        if (content.size() == 1 && content[0] == 0x00) {
            std::vector<PrintJob> finished;
            {
                std::lock_guard lock(mMutex);
                finished = mJobs.endOfJob(sender, PrintJobCollector::Clock::now());
            }
            finishJobs(std::move(finished));
        } else {
            ignore(message, "printer data with tag 0 that is not the end of a job", answer);
        }
        return;
    }
    bool refused = false;
    PrintJobCollector::Accepted accepted;
    {
        std::lock_guard lock(mMutex);
        if (mFaults.printer == PrinterCondition::Error) {
            refused = true;
        } else if (mFaults.printerErrorReplies > 0) {
            --mFaults.printerErrorReplies;
            refused = true;
        } else {
            accepted = mJobs.data(sender, tag, content, PrintJobCollector::Clock::now());
        }
    }
    if (refused) {
        mLog.record("printer_error_reply",
                    {{"tag", tag}, {"bytes", content.size()}, {"sender", sender}});
        answer.replies.push_back(FrameWriter::replyMessage(message, TYPE_SWITCH_DATA, 0x00, {}));
        return;
    }
    const bool resent = accepted.outcome == PrintJobCollector::Outcome::Resent;
    nlohmann::json fields = {
        {"tag", tag}, {"bytes", content.size()}, {"sender", sender}, {"job", accepted.job}};
    if (!accepted.note.empty()) {
        fields["note"] = accepted.note;
    }
    mLog.record(resent ? "printer_data_resent" : "printer_data", fields);
    answer.replies.push_back(FrameWriter::replyMessage(message, TYPE_SWITCH_DATA,
                                                       static_cast<std::uint8_t>(0x80 | tag), {}));
    const bool readable = reply(message, connection, answer);
    {
        std::lock_guard lock(mMutex);
        mJobs.answered(accepted.job, readable);
    }
    finishJobs(std::move(accepted.finished));
}

bool UnitState::reply(std::span<const std::uint8_t> request, std::uint64_t connection,
                      FrameAnswer& answer) {
    if (answer.dropConnection) {
        ++answer.framed;
        return false;
    }
    Message message = answer.replies.at(answer.framed++);
    bool corrupt = false;
    ReplyMode mode;
    std::chrono::milliseconds delay;
    {
        std::lock_guard lock(mMutex);
        mode = mFaults.replyMode;
        delay = mFaults.replyDelay;
        if (mode == ReplyMode::Normal && mFaults.corruptCrcReplies > 0) {
            --mFaults.corruptCrcReplies;
            corrupt = true;
        }
        if (mode != ReplyMode::Silent) {
            ++mReplyCount;
        }
    }
    if (mode == ReplyMode::Silent) {
        mLog.record("reply_withheld", {{"connection", connection}, {"hex", hex(message)}});
        answer.answerOwed = true;
        return false;
    }
    if (mode == ReplyMode::Unrecognised) {
        message = FrameWriter::replyMessage(
            request, TYPE_UNRECOGNISED, static_cast<std::uint8_t>(0x80 | (request[3] & 0x0F)), {});
    }
    Message frame = FrameWriter::frame(message, corrupt);
    mLog.record("reply", {{"connection", connection},
                          {"type", hexByte(message[2])},
                          {"tag_byte", hexByte(message[3])},
                          {"crc_corrupted", corrupt},
                          {"delay_ms", delay.count()},
                          {"hex", hex(frame)}});
    answer.writes.push_back({std::move(frame), delay});
    return mode == ReplyMode::Normal && !corrupt;
}

void UnitState::finishJobs(std::vector<PrintJob> jobs) {
    for (auto& job : jobs) {
        nlohmann::json fields = {{"bytes", job.bytes.size()},
                                 {"packets", job.packets},
                                 {"sender", job.sender},
                                 {"marks", jobMarks(job.incomplete, job.interleaved)},
                                 {"notes", job.notes}};
        {
            // Numbered and handed on under one lock, so that receipts reach paper in number
            // order whichever thread finished them.
            std::lock_guard lock(mMutex);
            fields["receipt"] = ++mJobCount;
            if (mJobHandler) {
                mJobHandler(std::move(job), mJobCount);
            }
        }
        mLog.record("job", std::move(fields));
    }
}

void UnitState::expireJobs() {
    finishJobsTaken(
        [](PrintJobCollector& jobs) { return jobs.expire(PrintJobCollector::Clock::now()); });
}

void UnitState::restarted() {
    finishJobsTaken([](PrintJobCollector& jobs) { return jobs.restart(); });
}

void UnitState::stopped() {
    finishJobsTaken([](PrintJobCollector& jobs) {
        return jobs.cutOff("cut off: the unit stopped before the end of the job came");
    });
}

void UnitState::finishJobsTaken(
    const std::function<std::vector<PrintJob>(PrintJobCollector&)>& take) {
    std::vector<PrintJob> finished;
    {
        std::lock_guard lock(mMutex);
        finished = take(mJobs);
    }
    finishJobs(std::move(finished));
}

std::chrono::milliseconds UnitState::jobIdleGap() const {
    std::lock_guard lock(mMutex);
    return mJobs.idleGap();
}

void UnitState::setJobIdleGap(std::chrono::milliseconds gap) {
    std::lock_guard lock(mMutex);
    mJobs.setIdleGap(gap);
}

void UnitState::applyIo(std::uint32_t mask, std::uint32_t values) {
    std::uint32_t before;
    std::uint32_t after;
    {
        std::lock_guard lock(mMutex);
        before = mOutputLines;
        mOutputLines = (mOutputLines & ~mask) | (values & mask);
        after = mOutputLines;
    }
    mLog.record("io",
                {{"mask", hexWord(mask)}, {"values", hexWord(values)}, {"lines", hexWord(after)}});
    for (int position : UnitSnapshot::DIAGNOSTIC_POSITIONS) {
        if (ledColour(before, position) != ledColour(after, position)) {
            mLog.record("state", {{"what", "diagnostic_led"},
                                  {"position", position},
                                  {"led", diagnosticLedName(position)},
                                  {"colour", ledColourName(ledColour(after, position))}});
        }
    }
    if (cosmeticColour(before) != cosmeticColour(after)) {
        mLog.record("state", {{"what", "cosmetic_light"},
                              {"colour", cosmeticColourName(cosmeticColour(after))}});
    }
    if (lineOn(before, LINE_USB_POWER) != lineOn(after, LINE_USB_POWER)) {
        mLog.record("state", {{"what", "usb_power"}, {"on", lineOn(after, LINE_USB_POWER)}});
    }
    if (lineOn(before, LINE_SOLENOID) != lineOn(after, LINE_SOLENOID)) {
        mLog.record("state", {{"what", "solenoid"}, {"on", lineOn(after, LINE_SOLENOID)}});
    }
}

void UnitState::openDrawer(const std::string& cause) {
    std::chrono::milliseconds after;
    std::uint64_t generation;
    {
        std::lock_guard lock(mMutex);
        mDrawerOpen = true;
        ++mDrawerOpenings;
        generation = ++mDrawerGeneration;
        after = mDrawerCloseAfter;
    }
    mLog.record("state", {{"what", "drawer"}, {"open", true}, {"cause", cause}});
    if (after.count() > 0) {
        asio::post(mIo, [this, after, generation] {
            mDrawerTimer.expires_after(after);
            mDrawerTimer.async_wait([this, generation](std::error_code ec) {
                if (!ec) {
                    closeDrawer("timer", generation);
                }
            });
        });
    }
}

void UnitState::closeDrawer(const std::string& cause, std::uint64_t generation) {
    {
        std::lock_guard lock(mMutex);
        if (!mDrawerOpen || (generation != 0 && generation != mDrawerGeneration)) {
            return;
        }
        mDrawerOpen = false;
    }
    mLog.record("state", {{"what", "drawer"}, {"open", false}, {"cause", cause}});
}

void UnitState::setDrawerCloseAfter(std::chrono::milliseconds after) {
    std::lock_guard lock(mMutex);
    mDrawerCloseAfter = std::max(std::chrono::milliseconds(0), after);
}

void UnitState::fill(UnitSnapshot& s) const {
    std::lock_guard lock(mMutex);
    for (std::size_t i = 0; i < UnitSnapshot::DIAGNOSTIC_POSITIONS.size(); ++i) {
        const int position = UnitSnapshot::DIAGNOSTIC_POSITIONS[i];
        auto& led = s.diagnosticLeds[i];
        led.position = position;
        led.name = diagnosticLedName(position);
        led.colour = ledColour(mOutputLines, position);
        led.colourName = ledColourName(led.colour);
    }
    s.cosmeticColour = cosmeticColour(mOutputLines);
    s.cosmeticColourName = cosmeticColourName(s.cosmeticColour);
    s.usbPower = lineOn(mOutputLines, LINE_USB_POWER);
    s.solenoid = lineOn(mOutputLines, LINE_SOLENOID);
    s.outputLines = mOutputLines;
    s.drawerOpen = mDrawerOpen;
    s.drawerOpenings = mDrawerOpenings;
    s.drawerCloseAfter = mDrawerCloseAfter;
    s.faults = mFaults;
    s.jobBytesPending = mJobs.pendingBytes();
    s.replies = mReplyCount;
}

int UnitState::receiptsNumbered() const {
    std::lock_guard lock(mMutex);
    return mJobCount;
}

Faults UnitState::faults() const {
    std::lock_guard lock(mMutex);
    return mFaults;
}

void UnitState::faultChanged(const std::string& what, nlohmann::json value) {
    mLog.record("fault", {{"what", what}, {"value", std::move(value)}});
}

void UnitState::setFaults(const Faults& faults) {
    {
        std::lock_guard lock(mMutex);
        mFaults = faults;
    }
    faultChanged("all", {{"printer", printerConditionName(faults.printer)},
                         {"printer_not_ready_polls", faults.printerNotReadyPolls},
                         {"printer_error_replies", faults.printerErrorReplies},
                         {"reply_mode", replyModeName(faults.replyMode)},
                         {"corrupt_crc_replies", faults.corruptCrcReplies},
                         {"reply_delay_ms", faults.replyDelay.count()},
                         {"refuse_connections", faults.refuseConnections},
                         {"drop_connections", faults.dropConnections}});
}

void UnitState::setPrinterCondition(PrinterCondition condition) {
    {
        std::lock_guard lock(mMutex);
        mFaults.printer = condition;
    }
    faultChanged("printer", printerConditionName(condition));
}

void UnitState::setPrinterNotReadyPolls(int polls) {
    {
        std::lock_guard lock(mMutex);
        mFaults.printerNotReadyPolls = std::max(0, polls);
    }
    faultChanged("printer_not_ready_polls", polls);
}

void UnitState::setPrinterErrorReplies(int replies) {
    {
        std::lock_guard lock(mMutex);
        mFaults.printerErrorReplies = std::max(0, replies);
    }
    faultChanged("printer_error_replies", replies);
}

void UnitState::setReplyMode(ReplyMode mode) {
    {
        std::lock_guard lock(mMutex);
        mFaults.replyMode = mode;
    }
    faultChanged("reply_mode", replyModeName(mode));
}

void UnitState::corruptNextReplies(int replies) {
    {
        std::lock_guard lock(mMutex);
        mFaults.corruptCrcReplies = std::max(0, replies);
    }
    faultChanged("corrupt_crc_replies", replies);
}

void UnitState::setReplyDelay(std::chrono::milliseconds delay) {
    {
        std::lock_guard lock(mMutex);
        mFaults.replyDelay = std::max(std::chrono::milliseconds(0), delay);
    }
    faultChanged("reply_delay_ms", delay.count());
}

void UnitState::setRefuseConnections(bool refuse) {
    {
        std::lock_guard lock(mMutex);
        mFaults.refuseConnections = refuse;
    }
    faultChanged("refuse_connections", refuse);
}

void UnitState::dropNextConnections(int connections) {
    {
        std::lock_guard lock(mMutex);
        mFaults.dropConnections = std::max(0, connections);
    }
    faultChanged("drop_connections", connections);
}

bool UnitState::refusesConnections() const {
    std::lock_guard lock(mMutex);
    return mFaults.refuseConnections;
}

}  // namespace vantoemu
