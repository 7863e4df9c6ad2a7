#include "emulator/EmulatedUnit.hpp"

#include <asio.hpp>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

#include "emulator/FrameReader.hpp"
#include "emulator/FrameWriter.hpp"
#include "emulator/PrinterInterpreter.hpp"

namespace vantoemu {

namespace {

using Message = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

std::string hex(std::span<const std::uint8_t> bytes) {
    std::string out;
    out.reserve(bytes.size() * 2);
    for (std::uint8_t b : bytes) {
        char text[3];
        std::snprintf(text, sizeof text, "%02x", b);
        out += text;
    }
    return out;
}

std::string hexByte(std::uint8_t b) {
    return "0x" + hex(std::span<const std::uint8_t>(&b, 1));
}

std::string hexWord(std::uint32_t value) {
    char text[12];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

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

struct EmulatedUnit::Impl {
    struct Connection;

    explicit Impl(UnitOptions opts)
        : options(std::move(opts)),
          log(prepareLogPath(options.outDir)),
          ioWork(asio::make_work_guard(io)),
          renderWork(asio::make_work_guard(renderIo)),
          drawerTimer(io) {
        faults = options.faults;
        drawerCloseAfter = options.drawerCloseAfter;
        ioThread = std::thread([this] { io.run(); });
        renderThread = std::thread([this] { renderIo.run(); });
    }

    ~Impl() {
        stop();
        ioWork.reset();
        io.stop();
        if (ioThread.joinable()) {
            ioThread.join();
        }
        renderWork.reset();
        if (renderThread.joinable()) {
            renderThread.join();
        }
    }

    static std::string prepareLogPath(const std::string& outDir) {
        if (outDir.empty()) {
            return {};
        }
        std::error_code ec;
        std::filesystem::create_directories(outDir, ec);
        if (ec) {
            throw std::runtime_error("cannot create the output directory " + outDir + ": " +
                                     ec.message());
        }
        return (std::filesystem::path(outDir) / "events.jsonl").string();
    }

    // ---- server ---------------------------------------------------------------------------

    void start() {
        std::promise<void> started;
        auto result = started.get_future();
        asio::post(io, [this, &started] {
            try {
                if (acceptor) {
                    started.set_value();
                    return;
                }
                asio::ip::tcp::endpoint endpoint(asio::ip::make_address(options.bind),
                                                 options.port);
                auto a = std::make_unique<asio::ip::tcp::acceptor>(io);
                a->open(endpoint.protocol());
                a->set_option(asio::socket_base::reuse_address(true));
                a->bind(endpoint);
                a->listen(asio::socket_base::max_listen_connections);
                boundPort = a->local_endpoint().port();
                acceptor = std::move(a);
                listening = true;
                log.record("listening", {{"address", options.bind}, {"port", boundPort.load()}});
                accept();
                started.set_value();
            } catch (const std::exception& e) {
                started.set_exception(std::make_exception_ptr(
                    std::runtime_error("cannot listen on " + options.bind + ":" +
                                       std::to_string(options.port) + ": " + e.what())));
            }
        });
        result.get();
    }

    void stop() {
        if (ioThread.get_id() == std::this_thread::get_id()) {
            return;
        }
        std::promise<void> stopped;
        auto result = stopped.get_future();
        asio::post(io, [this, &stopped] {
            if (acceptor) {
                std::error_code ignored;
                acceptor->close(ignored);
                acceptor.reset();
                listening = false;
                log.record("stopped");
            }
            auto open = connections;
            for (auto& [id, weak] : open) {
                if (auto c = weak.lock()) {
                    c->close("unit stopped");
                }
            }
            stopped.set_value();
        });
        result.wait();
        // Let rendering already queued finish, so every received job has its files.
        std::promise<void> drained;
        auto done = drained.get_future();
        asio::post(renderIo, [&drained] { drained.set_value(); });
        done.wait();
    }

    void accept() {
        if (!acceptor) {
            return;
        }
        acceptor->async_accept([this](std::error_code ec, asio::ip::tcp::socket socket) {
            if (ec) {
                if (ec != asio::error::operation_aborted) {
                    log.record("accept_error", {{"error", ec.message()}});
                    accept();
                }
                return;
            }
            onAccepted(std::move(socket));
            accept();
        });
    }

    void onAccepted(asio::ip::tcp::socket socket) {
        std::uint64_t id = 0;
        bool refuse = false;
        {
            std::lock_guard lock(mutex);
            id = ++connectionCount;
            refuse = faults.refuseConnections;
        }
        std::error_code ec;
        const auto peer = socket.remote_endpoint(ec);
        const std::string peerText =
            ec ? std::string("unknown")
               : peer.address().to_string() + ":" + std::to_string(peer.port());
        if (refuse) {
            log.record("connection_refused", {{"connection", id}, {"peer", peerText}});
            socket.close(ec);
            return;
        }
        log.record("connection", {{"connection", id}, {"peer", peerText}});
        auto connection = std::make_shared<Connection>(*this, std::move(socket), id);
        connections[id] = connection;
        ++openConnections;
        connection->read();
    }

    struct Connection : std::enable_shared_from_this<Connection> {
        Connection(Impl& unit, asio::ip::tcp::socket s, std::uint64_t connectionId)
            : owner(unit), socket(std::move(s)), timer(unit.io), id(connectionId) {}

        void read() {
            auto self = shared_from_this();
            socket.async_read_some(asio::buffer(buffer), [self](std::error_code ec, std::size_t n) {
                self->onRead(ec, n);
            });
        }

        void onRead(std::error_code ec, std::size_t n) {
            if (ec) {
                close(ec == asio::error::eof ? "closed by peer" : ec.message());
                return;
            }
            const auto output = reader.feed(std::span<const std::uint8_t>(buffer.data(), n));
            for (const auto& error : output.errors) {
                owner.frameError(id, error);
            }
            for (const auto& frame : output.frames) {
                for (auto& reply : owner.onFrame(id, frame)) {
                    schedule(std::move(reply));
                }
            }
            read();
        }

        // Replies leave in the order they were made, each after the delay in force when it was
        // made, and each in one write.
        void schedule(std::pair<Message, std::chrono::milliseconds> reply) {
            pending.emplace_back(Clock::now() + reply.second, std::move(reply.first));
            if (pending.size() == 1) {
                arm();
            }
        }

        void arm() {
            if (pending.empty() || closed) {
                return;
            }
            timer.expires_at(pending.front().first);
            auto self = shared_from_this();
            timer.async_wait([self](std::error_code ec) {
                if (ec || self->closed) {
                    return;
                }
                while (!self->pending.empty() && self->pending.front().first <= Clock::now()) {
                    self->outbox.push_back(std::move(self->pending.front().second));
                    self->pending.pop_front();
                }
                self->writeNext();
                self->arm();
            });
        }

        void writeNext() {
            if (writing || outbox.empty() || closed) {
                return;
            }
            writing = true;
            auto self = shared_from_this();
            asio::async_write(
                socket, asio::buffer(outbox.front()), [self](std::error_code ec, std::size_t) {
                    self->writing = false;
                    self->outbox.pop_front();
                    if (ec) {
                        self->owner.log.record("write_error",
                                               {{"connection", self->id}, {"error", ec.message()}});
                        return;
                    }
                    self->writeNext();
                });
        }

        void close(const std::string& reason) {
            if (closed) {
                return;
            }
            closed = true;
            std::error_code ignored;
            timer.cancel();
            socket.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
            socket.close(ignored);
            owner.connections.erase(id);
            --owner.openConnections;
            owner.log.record("disconnect", {{"connection", id}, {"reason", reason}});
        }

        Impl& owner;
        asio::ip::tcp::socket socket;
        asio::steady_timer timer;
        std::uint64_t id;
        FrameReader reader;
        std::array<std::uint8_t, 4096> buffer{};
        std::deque<std::pair<Clock::time_point, Message>> pending;
        std::deque<Message> outbox;
        bool writing = false;
        bool closed = false;
    };

    void frameError(std::uint64_t connection, const FrameReader::Error& error) {
        {
            std::lock_guard lock(mutex);
            ++frameErrors;
        }
        log.record("frame_error", {{"connection", connection},
                                   {"kind", FrameReader::kindName(error.kind)},
                                   {"offset", error.offset},
                                   {"detail", error.message}});
    }

    // A received frame: its replies, framed and with the network faults applied.
    std::vector<std::pair<Message, std::chrono::milliseconds>> onFrame(std::uint64_t connection,
                                                                       const Message& message) {
        nlohmann::json fields = {{"connection", connection}, {"size", message.size()}};
        if (message.size() >= 4) {
            fields["dest_node"] = message[0] >> 4;
            fields["dest_channel"] = message[0] & 0x0F;
            fields["source_node"] = message[1] >> 4;
            fields["source_channel"] = message[1] & 0x0F;
            fields["type"] = hexByte(message[2]);
            fields["tag_byte"] = hexByte(message[3]);
        }
        fields["hex"] = hex(message);
        {
            std::lock_guard lock(mutex);
            ++frameCount;
        }
        log.record("frame", fields);

        std::vector<std::pair<Message, std::chrono::milliseconds>> out;
        for (auto& reply : handleMessage(message)) {
            bool corrupt = false;
            ReplyMode mode;
            std::chrono::milliseconds delay;
            {
                std::lock_guard lock(mutex);
                mode = faults.replyMode;
                delay = faults.replyDelay;
                if (mode == ReplyMode::Normal && faults.corruptCrcReplies > 0) {
                    --faults.corruptCrcReplies;
                    corrupt = true;
                }
                if (mode != ReplyMode::Silent) {
                    ++replyCount;
                }
            }
            if (mode == ReplyMode::Silent) {
                log.record("reply_withheld", {{"connection", connection}, {"hex", hex(reply)}});
                continue;
            }
            if (mode == ReplyMode::Unrecognised) {
                reply = FrameWriter::replyMessage(
                    message, TYPE_UNRECOGNISED,
                    static_cast<std::uint8_t>(0x80 | (message[3] & 0x0F)), {});
            }
            Message frame = FrameWriter::frame(reply, corrupt);
            log.record("reply", {{"connection", connection},
                                 {"type", hexByte(reply[2])},
                                 {"tag_byte", hexByte(reply[3])},
                                 {"crc_corrupted", corrupt},
                                 {"delay_ms", delay.count()},
                                 {"hex", hex(frame)}});
            out.emplace_back(std::move(frame), delay);
        }
        return out;
    }

    // ---- behaviour ------------------------------------------------------------------------

    std::vector<Message> handleMessage(std::span<const std::uint8_t> message) {
        std::vector<Message> replies;
        if (message.size() < 4) {
            log.record("ignored", {{"reason", "message shorter than its 4-byte header"},
                                   {"hex", hex(message)}});
            return replies;
        }
        const std::uint8_t channel = message[0] & 0x0F;
        const std::uint8_t type = message[2];
        const std::uint8_t tag = message[3] & 0x0F;
        const std::uint8_t answeredTag = static_cast<std::uint8_t>(0x80 | tag);
        const auto content = message.subspan(4);
        auto portControl = [&](std::uint8_t state) {
            std::array<std::uint8_t, PORT_CONTROL_CONTENT> body{};
            body[6] = state;
            replies.push_back(
                FrameWriter::replyMessage(message, TYPE_PORT_CONTROL, answeredTag, body));
        };
        auto ignore = [&](const std::string& reason) {
            log.record("ignored", {{"reason", reason},
                                   {"channel", channel},
                                   {"type", hexByte(type)},
                                   {"hex", hex(message)}});
        };

        if (channel == CHANNEL_PRINTER && type == TYPE_PORT_CONTROL) {
            std::uint8_t state = PRINTER_READY;
            {
                std::lock_guard lock(mutex);
                if (faults.printerNotReadyPolls > 0) {
                    --faults.printerNotReadyPolls;
                    state = PRINTER_NOT_READY;
                } else if (faults.printer == PrinterCondition::NotReady) {
                    state = PRINTER_NOT_READY;
                }
            }
            log.record("printer_status", {{"ready", state == PRINTER_READY}});
            portControl(state);
        } else if (channel == CHANNEL_PRINTER && type == TYPE_SWITCH_DATA) {
            printerData(message, tag, content, replies, ignore);
        } else if (channel == CHANNEL_DRAWER && type == TYPE_SWITCH_DATA) {
            if (content.size() >= 2 && content[0] == 0x1B && content[1] == 0x70) {
                openDrawer("pulse");
            } else {
                ignore("drawer data that is not a drawer pulse");
            }
        } else if (channel == CHANNEL_DRAWER && type == TYPE_PORT_CONTROL) {
            bool open = false;
            {
                std::lock_guard lock(mutex);
                open = drawerOpen;
            }
            log.record("drawer_status", {{"open", open}});
            portControl(open ? DRAWER_OPEN : DRAWER_CLOSED);
        } else if (channel == CHANNEL_IO && type == TYPE_SET_IO_STATE) {
            if (content.size() < IO_CONTENT) {
                ignore("IO state with " + std::to_string(content.size()) +
                       " content bytes instead of 32");
            } else {
                applyIo(littleEndian32(content, IO_MASK_AT), littleEndian32(content, IO_VALUE_AT));
                std::array<std::uint8_t, IO_CONTENT> body{};
                std::uint32_t lines;
                {
                    std::lock_guard lock(mutex);
                    lines = outputLines;
                }
                for (std::size_t k = 0; k < 4; ++k) {
                    body[IO_MASK_AT + k] = content[IO_MASK_AT + k];
                    body[IO_VALUE_AT + k] = static_cast<std::uint8_t>(lines >> (8 * k));
                }
                replies.push_back(
                    FrameWriter::replyMessage(message, TYPE_SET_IO_STATE, answeredTag, body));
            }
        } else {
            ignore("no function for this channel and type");
        }
        return replies;
    }

    template <typename Ignore>
    void printerData(std::span<const std::uint8_t> message, std::uint8_t tag,
                     std::span<const std::uint8_t> content, std::vector<Message>& replies,
                     Ignore& ignore) {
        if (tag == 0) {
            if (content.size() == 1 && content[0] == 0x00) {
                endOfJob();
            } else {
                ignore("printer data with tag 0 that is not the end of a job");
            }
            return;
        }
        bool error = false;
        bool resent = false;
        {
            std::lock_guard lock(mutex);
            if (faults.printer == PrinterCondition::Error) {
                error = true;
            } else if (faults.printerErrorReplies > 0) {
                --faults.printerErrorReplies;
                error = true;
            } else if (lastTag == tag && lastPacket.size() == content.size() &&
                       std::equal(content.begin(), content.end(), lastPacket.begin())) {
                // The library resends a packet whose acknowledgement it did not read; the
                // printer must not print it twice.
                resent = true;
            } else {
                job.insert(job.end(), content.begin(), content.end());
                ++jobPackets;
                lastTag = tag;
                lastPacket.assign(content.begin(), content.end());
            }
        }
        if (error) {
            log.record("printer_error_reply", {{"tag", tag}, {"bytes", content.size()}});
            replies.push_back(FrameWriter::replyMessage(message, TYPE_SWITCH_DATA, 0x00, {}));
            return;
        }
        log.record(resent ? "printer_data_resent" : "printer_data",
                   {{"tag", tag}, {"bytes", content.size()}});
        replies.push_back(FrameWriter::replyMessage(message, TYPE_SWITCH_DATA,
                                                    static_cast<std::uint8_t>(0x80 | tag), {}));
    }

    void endOfJob() {
        Message bytes;
        std::size_t packets = 0;
        int number = 0;
        {
            std::lock_guard lock(mutex);
            bytes.swap(job);
            packets = jobPackets;
            jobPackets = 0;
            lastTag = 0;
            lastPacket.clear();
            number = ++jobCount;
        }
        log.record("job", {{"receipt", number}, {"bytes", bytes.size()}, {"packets", packets}});
        asio::post(renderIo, [this, bytes = std::move(bytes), packets, number]() mutable {
            finishReceipt(std::move(bytes), packets, number);
        });
    }

    void finishReceipt(Message bytes, std::size_t packets, int number) {
        PrintedReceipt receipt;
        receipt.number = number;
        receipt.packets = packets;
        receipt.document = PrinterInterpreter::interpret(bytes);
        receipt.bytes = std::move(bytes);
        for (const auto& issue : receipt.document.issues) {
            log.record(
                "printer_issue",
                {{"receipt", number}, {"offset", issue.offset}, {"detail", issue.description}});
        }
        nlohmann::json fields = {{"receipt", number},
                                 {"elements", receipt.document.elements.size()},
                                 {"issues", receipt.document.issues.size()}};
        try {
            if (options.renderReceipts) {
                receipt.rendered = ReceiptRenderer::render(receipt.document);
            } else {
                receipt.rendered.text = ReceiptRenderer::textView(receipt.document);
            }
            if (!options.outDir.empty()) {
                char name[32];
                std::snprintf(name, sizeof name, "receipt-%04d", number);
                const auto base = std::filesystem::path(options.outDir) / name;
                receipt.textPath = base.string() + ".txt";
                const std::string& text = receipt.rendered.text;
                ReceiptRenderer::writeFile(
                    receipt.textPath,
                    std::span<const std::uint8_t>(
                        reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
                if (!receipt.rendered.png.empty()) {
                    receipt.pngPath = base.string() + ".png";
                    ReceiptRenderer::writeFile(receipt.pngPath, receipt.rendered.png);
                }
            }
            fields["png"] = receipt.pngPath;
            fields["txt"] = receipt.textPath;
            fields["width"] = receipt.rendered.width;
            fields["height"] = receipt.rendered.height;
            fields["problems"] = receipt.rendered.problems;
            log.record("receipt", fields);
        } catch (const std::exception& e) {
            fields["error"] = e.what();
            log.record("render_error", fields);
        }
        {
            std::lock_guard lock(mutex);
            printed.push_back(std::move(receipt));
            if (printed.size() > RECEIPTS_WITH_PIXELS) {
                auto& old = printed[printed.size() - RECEIPTS_WITH_PIXELS - 1].rendered;
                old.pixels = {};
                old.png = {};
            }
        }
        receiptsChanged.notify_all();
    }

    void applyIo(std::uint32_t mask, std::uint32_t values) {
        std::uint32_t before;
        std::uint32_t after;
        {
            std::lock_guard lock(mutex);
            before = outputLines;
            outputLines = (outputLines & ~mask) | (values & mask);
            after = outputLines;
        }
        log.record(
            "io",
            {{"mask", hexWord(mask)}, {"values", hexWord(values)}, {"lines", hexWord(after)}});
        for (int position : UnitSnapshot::DIAGNOSTIC_POSITIONS) {
            if (ledColour(before, position) != ledColour(after, position)) {
                log.record("state", {{"what", "diagnostic_led"},
                                     {"position", position},
                                     {"led", diagnosticLedName(position)},
                                     {"colour", ledColourName(ledColour(after, position))}});
            }
        }
        if (cosmeticColour(before) != cosmeticColour(after)) {
            log.record("state", {{"what", "cosmetic_light"},
                                 {"colour", cosmeticColourName(cosmeticColour(after))}});
        }
        if (lineOn(before, LINE_USB_POWER) != lineOn(after, LINE_USB_POWER)) {
            log.record("state", {{"what", "usb_power"}, {"on", lineOn(after, LINE_USB_POWER)}});
        }
        if (lineOn(before, LINE_SOLENOID) != lineOn(after, LINE_SOLENOID)) {
            log.record("state", {{"what", "solenoid"}, {"on", lineOn(after, LINE_SOLENOID)}});
        }
    }

    void openDrawer(const std::string& cause) {
        std::chrono::milliseconds after;
        std::uint64_t generation;
        {
            std::lock_guard lock(mutex);
            drawerOpen = true;
            ++drawerOpenings;
            generation = ++drawerGeneration;
            after = drawerCloseAfter;
        }
        log.record("state", {{"what", "drawer"}, {"open", true}, {"cause", cause}});
        if (after.count() > 0) {
            asio::post(io, [this, after, generation] {
                drawerTimer.expires_after(after);
                drawerTimer.async_wait([this, generation](std::error_code ec) {
                    if (!ec) {
                        closeDrawer("timer", generation);
                    }
                });
            });
        }
    }

    // Closes the drawer unless it has been opened again since `generation` (0: always).
    void closeDrawer(const std::string& cause, std::uint64_t generation) {
        {
            std::lock_guard lock(mutex);
            if (!drawerOpen || (generation != 0 && generation != drawerGeneration)) {
                return;
            }
            drawerOpen = false;
        }
        log.record("state", {{"what", "drawer"}, {"open", false}, {"cause", cause}});
    }

    UnitSnapshot snapshot() const {
        std::lock_guard lock(mutex);
        UnitSnapshot s;
        for (std::size_t i = 0; i < UnitSnapshot::DIAGNOSTIC_POSITIONS.size(); ++i) {
            const int position = UnitSnapshot::DIAGNOSTIC_POSITIONS[i];
            auto& led = s.diagnosticLeds[i];
            led.position = position;
            led.name = diagnosticLedName(position);
            led.colour = ledColour(outputLines, position);
            led.colourName = ledColourName(led.colour);
        }
        s.cosmeticColour = cosmeticColour(outputLines);
        s.cosmeticColourName = cosmeticColourName(s.cosmeticColour);
        s.usbPower = lineOn(outputLines, LINE_USB_POWER);
        s.solenoid = lineOn(outputLines, LINE_SOLENOID);
        s.outputLines = outputLines;
        s.drawerOpen = drawerOpen;
        s.drawerOpenings = drawerOpenings;
        s.drawerCloseAfter = drawerCloseAfter;
        s.faults = faults;
        s.jobBytesPending = job.size();
        s.connections = connectionCount;
        s.openConnections = openConnections.load();
        s.frames = frameCount;
        s.frameErrors = frameErrors;
        s.replies = replyCount;
        s.receipts = printed.size();
        return s;
    }

    void faultChanged(const std::string& what, nlohmann::json value) {
        log.record("fault", {{"what", what}, {"value", std::move(value)}});
    }

    UnitOptions options;
    EventLog log;
    asio::io_context io;
    asio::io_context renderIo;
    asio::executor_work_guard<asio::io_context::executor_type> ioWork;
    asio::executor_work_guard<asio::io_context::executor_type> renderWork;
    asio::steady_timer drawerTimer;
    std::thread ioThread;
    std::thread renderThread;

    // Touched on the IO thread only.
    std::unique_ptr<asio::ip::tcp::acceptor> acceptor;
    std::map<std::uint64_t, std::weak_ptr<Connection>> connections;
    std::atomic<std::uint16_t> boundPort{0};
    std::atomic<bool> listening{false};
    std::atomic<std::uint64_t> openConnections{0};

    mutable std::mutex mutex;  // guards everything below
    mutable std::condition_variable receiptsChanged;
    Faults faults;
    std::uint32_t outputLines = 0;
    bool drawerOpen = false;
    std::uint64_t drawerOpenings = 0;
    std::uint64_t drawerGeneration = 0;
    std::chrono::milliseconds drawerCloseAfter{0};
    Message job;
    std::size_t jobPackets = 0;
    std::uint8_t lastTag = 0;
    Message lastPacket;
    int jobCount = 0;
    std::vector<PrintedReceipt> printed;
    std::uint64_t connectionCount = 0;
    std::uint64_t frameCount = 0;
    std::uint64_t frameErrors = 0;
    std::uint64_t replyCount = 0;
};

EmulatedUnit::EmulatedUnit(UnitOptions options)
    : mImpl(std::make_unique<Impl>(std::move(options))) {}

EmulatedUnit::~EmulatedUnit() = default;

void EmulatedUnit::start() {
    mImpl->start();
}

void EmulatedUnit::stop() {
    mImpl->stop();
}

bool EmulatedUnit::running() const {
    return mImpl->listening.load();
}

std::uint16_t EmulatedUnit::port() const {
    return mImpl->boundPort.load();
}

std::string EmulatedUnit::address() const {
    return mImpl->options.bind;
}

UnitSnapshot EmulatedUnit::snapshot() const {
    return mImpl->snapshot();
}

void EmulatedUnit::setFaults(const Faults& faults) {
    {
        std::lock_guard lock(mImpl->mutex);
        mImpl->faults = faults;
    }
    mImpl->faultChanged("all", {{"printer", printerConditionName(faults.printer)},
                                {"printer_not_ready_polls", faults.printerNotReadyPolls},
                                {"printer_error_replies", faults.printerErrorReplies},
                                {"reply_mode", replyModeName(faults.replyMode)},
                                {"corrupt_crc_replies", faults.corruptCrcReplies},
                                {"reply_delay_ms", faults.replyDelay.count()},
                                {"refuse_connections", faults.refuseConnections}});
}

void EmulatedUnit::setPrinterCondition(PrinterCondition condition) {
    {
        std::lock_guard lock(mImpl->mutex);
        mImpl->faults.printer = condition;
    }
    mImpl->faultChanged("printer", printerConditionName(condition));
}

void EmulatedUnit::setPrinterNotReadyPolls(int polls) {
    {
        std::lock_guard lock(mImpl->mutex);
        mImpl->faults.printerNotReadyPolls = std::max(0, polls);
    }
    mImpl->faultChanged("printer_not_ready_polls", polls);
}

void EmulatedUnit::setPrinterErrorReplies(int replies) {
    {
        std::lock_guard lock(mImpl->mutex);
        mImpl->faults.printerErrorReplies = std::max(0, replies);
    }
    mImpl->faultChanged("printer_error_replies", replies);
}

void EmulatedUnit::setReplyMode(ReplyMode mode) {
    {
        std::lock_guard lock(mImpl->mutex);
        mImpl->faults.replyMode = mode;
    }
    mImpl->faultChanged("reply_mode", replyModeName(mode));
}

void EmulatedUnit::corruptNextReplies(int replies) {
    {
        std::lock_guard lock(mImpl->mutex);
        mImpl->faults.corruptCrcReplies = std::max(0, replies);
    }
    mImpl->faultChanged("corrupt_crc_replies", replies);
}

void EmulatedUnit::setReplyDelay(std::chrono::milliseconds delay) {
    {
        std::lock_guard lock(mImpl->mutex);
        mImpl->faults.replyDelay = std::max(std::chrono::milliseconds(0), delay);
    }
    mImpl->faultChanged("reply_delay_ms", delay.count());
}

void EmulatedUnit::setRefuseConnections(bool refuse) {
    {
        std::lock_guard lock(mImpl->mutex);
        mImpl->faults.refuseConnections = refuse;
    }
    mImpl->faultChanged("refuse_connections", refuse);
}

void EmulatedUnit::openDrawer() {
    mImpl->openDrawer("command");
}

void EmulatedUnit::closeDrawer() {
    mImpl->closeDrawer("command", 0);
}

void EmulatedUnit::setDrawerCloseAfter(std::chrono::milliseconds after) {
    std::lock_guard lock(mImpl->mutex);
    mImpl->drawerCloseAfter = std::max(std::chrono::milliseconds(0), after);
}

std::vector<std::vector<std::uint8_t>> EmulatedUnit::handleMessage(
    std::span<const std::uint8_t> message) {
    return mImpl->handleMessage(message);
}

std::vector<PrintedReceipt> EmulatedUnit::receipts() const {
    std::lock_guard lock(mImpl->mutex);
    return mImpl->printed;
}

bool EmulatedUnit::waitForReceipts(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mImpl->mutex);
    return mImpl->receiptsChanged.wait_for(lock, timeout,
                                           [&] { return mImpl->printed.size() >= count; });
}

std::vector<UnitEvent> EmulatedUnit::events() const {
    return mImpl->log.events();
}

std::size_t EmulatedUnit::eventCount(const std::string& kind) const {
    return mImpl->log.count(kind);
}

bool EmulatedUnit::waitForEvents(const std::string& kind, std::size_t count,
                                 std::chrono::milliseconds timeout) const {
    return mImpl->log.waitFor(kind, count, timeout);
}

void EmulatedUnit::setEventListener(std::function<void(const UnitEvent&)> listener) {
    mImpl->log.setListener(std::move(listener));
}

}  // namespace vantoemu
