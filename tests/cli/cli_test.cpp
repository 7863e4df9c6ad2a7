#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "tests/support/Eventually.hpp"
#include "tests/support/FakeUnit.hpp"
#include "tests/support/ImageFile.hpp"
#include "tests/support/ProgramRun.hpp"
#include "tests/support/ScratchDir.hpp"
#include "tests/support/UnitFrames.hpp"
#include "vantoconnect/support/Image.hpp"

namespace {

namespace fs = std::filesystem;
using vantoconnect::testing::FakeUnit;
using vantoemu::EmulatedUnit;

using vantoconnect::testing::finish;
using vantoconnect::testing::runProgram;
using vantoconnect::testing::slurp;
using vantoconnect::testing::writeImage;

pid_t startVanto(std::vector<std::string> args, const fs::path& out) {
    return vantoconnect::testing::startProgram(VANTO_CLI_PATH, std::move(args), out, out,
                                               out.parent_path());
}

class Cli : public ::testing::Test {
  protected:
    void SetUp() override {
        unit = std::make_unique<EmulatedUnit>(
            vantoemu::UnitOptions{.port = 0,
                                  .outDir = (scratch / "unit").string(),
                                  .drawerCloseAfter = {},
                                  .faults = {}});
        unit->start();
    }
    void TearDown() override { unit->stop(); }

    vantoconnect::testing::Finished vanto(std::vector<std::string> args) {
        return runProgram(VANTO_CLI_PATH, std::move(args), scratch);
    }
    vantoconnect::testing::Finished run(std::vector<std::string> args, bool withUnit = true) {
        return vanto(withUnit ? at(std::move(args), unit->port()) : std::move(args));
    }
    // The command aimed at a unit on this machine.
    static std::vector<std::string> at(std::vector<std::string> args, std::int32_t port) {
        args.insert(args.end(), {"--ip", "127.0.0.1", "--port", std::to_string(port)});
        return args;
    }
    // `n` copies of a JSON value, comma-separated.
    static std::string repeated(const std::string& value, int n) {
        std::string out;
        for (int i = 0; i < n; ++i) {
            out += (i ? "," : "") + value;
        }
        return out;
    }

    std::string write(const std::string& name, const std::string& text) {
        const auto path = scratch / name;
        std::ofstream(path) << text;
        return path.string();
    }
    // Two lines of 1013 characters: four packets, as a full line cannot share its packet with
    // the header or the footer feed.
    std::string writeFourPackets() {
        const std::string line =
            R"({"lineType": "TEXT", "text": ")" + std::string(1013, 'x') + "\"}";
        return write("four.json", "{\"lines\": [" + repeated(line, 2) + "]}");
    }
    // A scripted unit answering requests in turn, then with `otherwise`.
    FakeUnit& fake(const std::vector<FakeUnit::Reply>& script, FakeUnit::Reply otherwise = {}) {
        auto& unit = fakes.emplace_back();
        for (const auto& reply : script) {
            unit.script(reply);
        }
        unit.setDefaultReply(std::move(otherwise));
        return unit;
    }
    // Ready, then the first packet acknowledged.
    FakeUnit& readyThenAcknowledging(FakeUnit::Reply otherwise = {}) {
        using vantoconnect::testing::PRINT_ACKNOWLEDGED;
        using vantoconnect::testing::PRINTER_READY;
        return fake(
            {FakeUnit::Reply::bytes(PRINTER_READY), FakeUnit::Reply::bytes(PRINT_ACKNOWLEDGED)},
            std::move(otherwise));
    }
    // A further emulated unit that draws no paper (under the race checker a drawing takes the
    // better part of a minute), with its fault set before it starts.
    EmulatedUnit& otherUnit(vantoemu::Faults faults) {
        auto& other = *others.emplace_back(std::make_unique<EmulatedUnit>(vantoemu::UnitOptions{
            .port = 0, .outDir = "", .renderReceipts = false, .faults = faults}));
        other.start();
        return other;
    }

    const vantoconnect::testing::ScratchDir dir;
    const fs::path& scratch = dir.path;
    std::unique_ptr<EmulatedUnit> unit;
    std::deque<FakeUnit> fakes;
    std::vector<std::unique_ptr<EmulatedUnit>> others;
};

const char* kReceipt = R"({
  "cutType": "partial",
  "lines": [
    { "lineType": "TEXT", "text": "Hello", "style": ["bold", "underlined"], "position": "center" },
    { "lineType": "PRICE", "leftText": "Tea", "rightText": "2.00" },
    { "lineType": "SINGLE_CHAR", "chr": "-" },
    { "lineType": "FEED", "lines": 2 },
    { "lineType": "BARCODE", "type": "code39", "data": "AB-12", "hri": "below" }
  ]
})";

// Run in order against one unit. It confirms none of the changes, so each command says only
// what it sent; the validated opening sends nothing to a drawer already open.
TEST_F(Cli, DeviceCommandsSayWhatTheySentAndTheUnitShowsIt) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> steps = {
        {{"led", "diag", "LED_PRINTER", "green"},
         "sent: printer LED green (the unit does not confirm it)\n"},
        {{"led", "diag", "usb2", "3"}, ""},
        {{"led", "cosmetic", "COSMETIC_YELLOW"}, ""},
        {{"usb", "on"}, ""},
        {{"drawer", "status"}, "closed\n"},
        {{"drawer", "open"},
         "sent: open pulse to the closed drawer (the unit does not confirm it)\n"},
        {{"drawer", "status"}, "open\n"},
        {{"drawer", "open"}, "the drawer is already open; nothing sent\n"},
        {{"drawer", "open", "--no-validate"},
         "sent: open pulse without asking the drawer's state (the unit does not confirm it)\n"},
        {{"printer", "status"}, "ready\n"},
    };
    for (const auto& [args, out] : steps) {
        const auto r = run(args);
        EXPECT_EQ(r.exitCode, 0) << args[0] << ": " << r.err;
        if (!out.empty()) {
            EXPECT_EQ(r.out, out);
        }
    }
    const auto state = unit->snapshot();
    EXPECT_EQ(state.diagnosticLed(8), 1);
    EXPECT_EQ(state.diagnosticLed(10), 3);
    EXPECT_EQ(state.cosmeticColour, 6);
    EXPECT_TRUE(state.usbPower);
    EXPECT_EQ(state.drawerOpenings, 2u);

    EXPECT_EQ(run({"usb", "off"}).exitCode, 0);
    EXPECT_FALSE(unit->snapshot().usbPower);
}

TEST_F(Cli, PrinterStatusAndConfigurationPage) {
    unit->setPrinterCondition(vantoemu::PrinterCondition::NotReady);
    EXPECT_EQ(run({"printer", "status"}).out, "not ready\n");
    unit->setPrinterCondition(vantoemu::PrinterCondition::Ready);
    // A printer that needs a person is shown by the browser suite, through the dashboard.
    const auto r = run({"printer", "config-page"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    ASSERT_TRUE(unit->waitForReceipts(1, std::chrono::seconds(60)));
    EXPECT_EQ(unit->receipts()[0].bytes, (std::vector<std::uint8_t>{0x1F, 0x74}));
}

TEST_F(Cli, PrintsSeveralFilesInOrderAndReportsEachDelivery) {
    const auto first = write("first.json", kReceipt);
    const auto second =
        write("second.json", R"({"lines": [{"lineType": "TEXT", "text": "Second receipt"}]})");
    // A file refused on reading stops the batch before anything reaches the unit.
    const auto bad = write("bad.json", R"({"lines": [{"lineType": "FEED", "lines": -1}]})");
    const auto refused = run({"print", first, bad});
    EXPECT_EQ(refused.exitCode, 2) << refused.err;
    EXPECT_EQ(unit->snapshot().frames, 0u);

    const auto r = run({"print", first, second});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    for (const std::string& line :
         {"print: " + first + " (1 packet)\nprint: queued\n",
          std::string("print: packet 1 of 1 acknowledged\n"),
          std::string("print: report: 1 packets sent, 1 acknowledged, 0 refused, 0 unrecognised, "
                      "0 not sent; end of job sent\n"),
          "print: " + second + " delivered"}) {
        EXPECT_NE(r.out.find(line), std::string::npos) << line << " not in " << r.out;
    }
    EXPECT_LT(r.out.find("print: " + first + " delivered"),
              r.out.find("print: " + second + " (1 packet)"));
    // Drawing the paper takes seconds per receipt under the race checker.
    ASSERT_TRUE(unit->waitForReceipts(2, std::chrono::seconds(60)));
    EXPECT_NE(unit->receipts()[0].rendered.text.find("[Code 39 AB-12]"), std::string::npos);
    EXPECT_NE(unit->receipts()[1].rendered.text.find("Second receipt"), std::string::npos);
}

TEST_F(Cli, PrintsFromOneMachineDoNotInterleave) {
    auto job = [&](const std::string& name, char letter) {
        const auto line = R"({"lineType": "TEXT", "text": ")" + std::string(20, letter) + "\"}";
        return write(name, "{\"lines\": [" + repeated(line, 250) + "]}");
    };
    const auto a = job("a.json", 'A');
    const auto b = job("b.json", 'B');
    // A reply delay stretches each job so that the two would overlap without the lock.
    unit->setReplyDelay(std::chrono::milliseconds(20));
    const pid_t first = startVanto(at({"print", a}, unit->port()), scratch / "a.out");
    const pid_t second = startVanto(at({"print", b}, unit->port()), scratch / "b.out");
    EXPECT_EQ(finish(first), 0) << slurp(scratch / "a.out");
    EXPECT_EQ(finish(second), 0) << slurp(scratch / "b.out");
    ASSERT_TRUE(unit->waitForReceipts(2, std::chrono::seconds(20)));
    for (const auto& receipt : unit->receipts()) {
        const auto& text = receipt.rendered.text;
        const bool hasA = text.find("AAAA") != std::string::npos;
        const bool hasB = text.find("BBBB") != std::string::npos;
        EXPECT_NE(hasA, hasB) << "receipt " << receipt.number << " mixes both jobs";
    }
}

TEST_F(Cli, ImagesAreLaidOnWhitePaperAndTheLibrarysLinesStayOffStandardOutput) {
    // Transparent all over but for a black square in the middle.
    constexpr int side = 100;
    std::vector<std::uint8_t> rgba(side * side * 4, 0);
    for (int y = 45; y < 55; ++y) {
        for (int x = 45; x < 55; ++x) {
            rgba[(y * side + x) * 4 + 3] = 255;
        }
    }
    writeImage(scratch / "logo.png", side, side, 4, rgba);
    const auto file =
        write("image.json", R"({"lines": [{"lineType": "IMAGE", "image": "logo.png"}]})");
    const auto png = scratch / "image.png";
    const auto r = run({"preview", file, "-o", png.string()}, false);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out.find("width :"), std::string::npos) << r.out;
    // The square is 1 % of the picture's 576 x 576 dots; unflattened, all of them were black.
    const auto picture = vantoconnect::Image::fromFile(png.string());
    std::size_t dark = 0;
    for (std::size_t i = 0; i < picture.rgba().size(); i += 4) {
        dark += picture.rgba()[i] < 128 ? 1 : 0;
    }
    EXPECT_GT(dark, 2000u);
    EXPECT_LT(dark, 6000u);

    const auto printed = run({"print", file});
    EXPECT_EQ(printed.exitCode, 0) << printed.err;
    EXPECT_EQ(printed.out.find("width :"), std::string::npos) << printed.out;
    const auto verbose = run({"-v", "print", file});
    EXPECT_NE(verbose.err.find("  | width : 288 pixels\n"), std::string::npos) << verbose.err;
}

TEST_F(Cli, EmulateServesUntilTerminatedAndRestartsOnHangUp) {
    const auto port = vantoconnect::testing::FakeUnit::unusedPort();
    const auto log = scratch / "emulate.log";
    const pid_t pid = startVanto({"emulate", "--port", std::to_string(port), "--out",
                                  (scratch / "emulated").string(), "--restart-ms", "100"},
                                 log);
    // Wait for a line rather than sleeping blindly.
    auto waitFor = [&](const std::string& text) {
        return vantoconnect::testing::eventually(
            [&] { return slurp(log).find(text) != std::string::npos; }, std::chrono::seconds(20));
    };
    EXPECT_TRUE(waitFor("listening on 127.0.0.1:" + std::to_string(port)));
    const auto drawerStatus = at({"drawer", "status"}, port);
    EXPECT_EQ(vanto(drawerStatus).out, "closed\n");
    kill(pid, SIGHUP);
    EXPECT_TRUE(waitFor("\"event\":\"restarted\""));
    const auto r = vanto(drawerStatus);
    EXPECT_EQ(r.out, "closed\n") << r.err;

    kill(pid, SIGTERM);
    EXPECT_EQ(finish(pid), 0);
    EXPECT_TRUE(fs::exists(scratch / "emulated" / "events.jsonl"));
}

// Every failure: one line on standard error, starting as listed, and the documented exit code.
TEST_F(Cli, EveryFailureIsOneLineWithItsExitCode) {
    auto lines = [](const std::string& body) { return R"({"lines": [)" + body + "]}"; };
    const auto many = repeated(R"({"lineType": "FEED"})", 1001);
    const auto feeds = repeated(R"({"lineType": "FEED", "lines": 127})", 26);
    std::vector<std::uint8_t> pixel(4 * 100 * 2000, 255);
    writeImage(scratch / "tall.png", 100, 2000, 4, pixel);
    std::ofstream(scratch / "corrupt.png") << "\x89PNG\r\n\x1a\nnot really";
    fs::create_directories(scratch / "folder");
    const auto png = (scratch / "x.png").string();

    struct Case {
        std::vector<std::string> args;
        int exitCode;
        std::string errStart;
    };
    const std::string text1013(1013, 'x');
    struct Preview {
        std::string file;
        int exitCode;
        std::string errStart;
    };
    const std::vector<Preview> previews = {
        {(scratch / "nope.json").string(), 2, "nope.json: no such receipt file"},
        {(scratch / "folder").string(), 2, "folder: is a directory, not a receipt file"},
        {write("empty.json", " \n"), 2, "empty.json: the receipt file is empty"},
        {write("big.json", std::string((1 << 20) + 1, ' ')), 2,
         "big.json: has 1048577 bytes; a receipt file may have at most 1048576"},
        {write("malformed.json", "{\n  \"lines\": [\n    { \"lineType\": }\n]}"), 2,
         "malformed.json:3:19: malformed JSON: syntax error"},
        {write("utf8.json", lines("{\"lineType\": \"TEXT\", \"text\": \"caf\xe9\"}")), 2,
         // The position, and no echo of the bytes that are not UTF-8.
         ": malformed JSON: syntax error while parsing value - invalid string: ill-formed UTF-8 "
         "byte\n"},
        {write("huge.json", lines(R"({"lineType": "FEED", "lines": 1e999})")), 2,
         "huge.json: malformed JSON: "},
        {write("field.json", lines(R"({"lineType": "TEXT", "text": "x", "colour": 1})")), 2,
         "field.json: lines[0]: unknown field \"colour\""},
        {write("many.json", lines(many)), 2,
         "many.json: receipt.lines: has 1001 lines; at most 1000"},
        {write("header.json", R"({"headerFeed": 128, "lines": []})"), 2,
         "header.json: receipt.headerFeed: must lie in 0...127, not 128"},
        {write("fed.json", R"({"headerFeed": 127, "footerFeed": 127, "lines": [)" + feeds + "]}"),
         2, "fed.json: lines[24].lines: brings the receipt above 100000 dots (12.5 m) of paper"},
        {write("style.json", lines(R"({"lineType": "TEXT", "text": "x", "style": "blink"})")), 2,
         "style.json: lines[0].style: unknown text style \"blink\""},
        {write("fits.json", lines(R"({"lineType": "TEXT", "text": ")" + text1013 + "\"}")), 0, ""},
        {write("long.json", lines(R"({"lineType": "TEXT", "text": ")" + text1013 + "x\"}")), 2,
         "long.json: lines[0]: cannot be printed: the text composes to 1025 bytes"},
        {write("chr.json", lines(R"({"lineType": "SINGLE_CHAR", "chr": "ab"})")), 2,
         "chr.json: lines[0].chr: must be exactly one character"},
        {write("height.json",
               lines(R"({"lineType": "BARCODE", "type": "pdf417", "data": "x", "height": 1.0})")),
         2, "height.json: lines[0].height: must be a number whose bar height"},
        {write("nodata.json", lines(R"({"lineType": "BARCODE", "type": "pdf417"})")), 2,
         "nodata.json: lines[0]: needs \"data\""},
        {write("missing.json", lines(R"({"lineType": "IMAGE", "image": "missing.png"})")), 2,
         "missing.json: lines[0].image: no image file"},
        {write("corrupt.json", lines(R"({"lineType": "IMAGE", "image": "corrupt.png"})")), 2,
         "corrupt.json: lines[0].image: "},
        {write("tall.json", lines(R"({"lineType": "IMAGE", "image": "tall.png"})")), 2,
         "tall.json: lines[0].image: \"" + (scratch / "tall.png").string() +
             "\" is 100 x 2000 pixels, 11520 dot rows"},
    };
    // A unit that closes every connection at once, one that never answers, and a scripted one
    // that hangs up where the library waits for an answer: on the command's thread (printer
    // status) and on the library's (the printer queue's own busy query).
    auto& refusing = otherUnit({.refuseConnections = true});
    auto& silent = otherUnit({.replyMode = vantoemu::ReplyMode::Silent});
    // Ready, then the first of four packets acknowledged, then silence.
    auto& stalls = readyThenAcknowledging();
    const auto twoPackets = writeFourPackets();
    auto& hangsUp = fake({}, FakeUnit::Reply::close());
    // Units expected to stay silent get a short watchdog; the others a long one, so that a busy
    // machine cannot turn their own failure into a time-out.
    auto at = [](std::vector<std::string> args, int port, const char* timeout = "20") {
        args.insert(args.end(), {"--timeout", timeout});
        return Cli::at(std::move(args), port);
    };
    const auto receipt = write("receipt.json", kReceipt);
    const auto second = write("second.json", kReceipt);
    // Every attempt at the one packet refused: the library gives up, the rest is not sent.
    auto& refusesPackets = otherUnit({.printerErrorReplies = 5});
    const auto unused = FakeUnit::unusedPort();
    std::vector<Case> commands = {
        {{"frobnicate"}, 2, "vanto: unknown command \"frobnicate\" (use demo, emulate"},
        {{"led", "blink", "red"}, 2, "vanto: unknown led command \"blink\" (use diag or cosmetic)"},
        {{"emulate", "--restart-every", "1", "--restart-ms", "2000"},
         2,
         "vanto: --restart-every: 1000 ms is not longer than the downtime of 2000 ms"},
        {{"drawer", "status", "--port", "abc"},
         2,
         "vanto: --port: \"abc\" is not a TCP port (a whole number in 1...65535)"},
        {{"drawer", "status", "--port", "70000"}, 2, "vanto: --port: \"70000\" is not a TCP port"},
        {{"drawer", "status", "--timeout", "0"},
         2,
         "vanto: --timeout: \"0\" is not a number of seconds above 0"},
        {{"led", "cosmetic", "99", "--ip", "127.0.0.1"},
         2,
         "vanto: unknown cosmetic colour \"99\""},
        {{"led", "diag", "printer", "purple", "--ip", "127.0.0.1"},
         2,
         "vanto: unknown LED colour \"purple\""},
        {{"led", "diag", "12", "red", "--ip", "127.0.0.1"},
         2,
         "vanto: unknown LED position \"12\""},
        {{"led", "diag", "ped", "green", "--ip", "127.0.0.1"},
         2,
         "vanto: ped cannot be set to green"},
        {at({"drawer", "status"}, unused), 3,
         "vanto: cannot reach the unit at 127.0.0.1:" + std::to_string(unused) +
             ": connection refused"},
        {{"drawer", "status", "--ip", "no such host", "--port", "8080"},
         3,
         "vanto: cannot reach the unit at no such host:8080: the address does not resolve"},
        {at({"printer", "status"}, refusing.port()), 3,
         // Either the command's own look or the library's read finds the hang-up first.
         "vanto: the unit at 127.0.0.1:" + std::to_string(refusing.port()) + " "},
        {at({"print", receipt}, refusing.port()), 3, "vanto: the unit at 127.0.0.1:"},
        {at({"printer", "status"}, silent.port(), "2"), 3,
         "vanto: no usable answer from 127.0.0.1:" + std::to_string(silent.port()) +
             " to the printer status request; gave up after 2 s (--timeout)"},
        {at({"print", receipt}, silent.port(), "2"), 3,
         "vanto: no usable answer from 127.0.0.1:" + std::to_string(silent.port()) +
             " to the printer status query before packet 1 of 1; gave up after 2 s"},
        {at({"print", twoPackets}, stalls.port(), "2"), 3,
         "vanto: no usable answer from 127.0.0.1:" + std::to_string(stalls.port()) +
             " to packet 2 of 4 (1 acknowledged); gave up after 2 s (--timeout)"},
        {at({"printer", "status", "--classic"}, hangsUp.port()), 3,
         "vanto: the unit at 127.0.0.1:" + std::to_string(hangsUp.port()) +
             " closed the connection without answering"},
        {at({"print", receipt, "--classic"}, hangsUp.port()), 3,
         "vanto: the unit at 127.0.0.1:" + std::to_string(hangsUp.port()) +
             " closed the connection without answering"},
        {at({"print", receipt, second, "--classic"}, refusesPackets.port()), 1,
         "vanto: " + receipt +
             ": the unit refused 1 of 1 packets; the receipt is incomplete; not sent: " + second +
             "\n"},
    };
    for (const auto& c : previews) {
        commands.push_back({{"preview", c.file, "-o", png}, c.exitCode, c.errStart});
    }
    for (const auto& c : commands) {
        const auto r = vanto(c.args);
        EXPECT_EQ(r.exitCode, c.exitCode) << ::testing::PrintToString(c.args) << " " << r.err;
        if (c.exitCode != 0) {
            EXPECT_EQ(r.err.rfind("vanto: ", 0), 0u) << r.err;
            EXPECT_NE(r.err.find(c.errStart), std::string::npos) << "got: " << r.err;
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "got: " << r.err;
        }
    }
}

// The resilient profile (the default) ends every wait itself: each case below ends with the
// library's own verdict, never the watchdog's, in one line with the documented exit code.
TEST_F(Cli, TheResilientProfileEndsEveryFailureWithItsOwnVerdict) {
    auto port = [](std::int32_t p) { return "127.0.0.1:" + std::to_string(p); };
    const auto fourPackets = writeFourPackets();
    const auto receipt = write("receipt.json", kReceipt);
    // Ready, packet 1 acknowledged, then a hang-up (or silence) where packet 2's answer belongs.
    auto& closes = readyThenAcknowledging(FakeUnit::Reply::close());
    auto& stalls = readyThenAcknowledging();
    auto& hangsUp = fake({}, FakeUnit::Reply::close());
    auto& refuses = otherUnit({.printerErrorReplies = 5});
    auto& silent = otherUnit({.replyMode = vantoemu::ReplyMode::Silent});
    auto& notReady = otherUnit({.printer = vantoemu::PrinterCondition::NotReady});

    struct Case {
        std::vector<std::string> args;
        std::int32_t port;
        int exitCode;
        std::string err;  // after "vanto: "; a trailing '*' matches any rest of the line
    };
    // --time-scale shortens the printer queue's wait for a ready printer (60 s) to 0.6 s.
    const std::vector<Case> cases = {
        {{"print", fourPackets},
         closes.port(),
         3,
         fourPackets + ": packet 2 of 4: " + port(closes.port()) +
             " closed the connection before answering; 1 of 4 packets acknowledged, 1 went out "
             "unanswered and may have printed, 2 not sent; the receipt is incomplete "
             "(CONNECTION_LOST)"},
        {{"print", fourPackets, "--read-timeout", "0.5"},
         stalls.port(),
         3,
         fourPackets + ": packet 2 of 4: no answer from " + port(stalls.port()) +
             " within 500 ms; 1 of 4 packets acknowledged, 1 went out unanswered and may have "
             "printed, 2 not sent; the receipt is incomplete (CONNECTION_LOST)"},
        {{"print", receipt, "--time-scale", "0.01"},
         silent.port(),
         3,
         receipt + ": the unit at " + port(silent.port()) +
             " never answered the printer status query (no answer from " + port(silent.port()) +
             " within *"},
        {{"print", receipt, "--time-scale", "0.01"},
         hangsUp.port(),
         3,
         receipt + ": the unit at " + port(hangsUp.port()) +
             " never answered the printer status query (" + port(hangsUp.port()) +
             " closed the connection before answering); the receipt was dropped unprinted "
             "(PRINTER_NOT_RESPONDING)"},
        {{"print", receipt},
         refuses.port(),
         1,
         receipt + ": packet 1 of 1: the printer at " + port(refuses.port()) +
             " refused the packet (printer error); 0 of 1 packets acknowledged; the receipt is "
             "incomplete"},
        {{"print", receipt, "--time-scale", "0.01"},
         notReady.port(),
         1,
         receipt + ": the printer did not become ready; the receipt was dropped unprinted "
                   "(PRINTER_NOT_RESPONDING)"},
        {{"printer", "status"},
         hangsUp.port(),
         3,
         "no answer to the printer status request: " + port(hangsUp.port()) +
             " closed the connection before answering"},
        {{"drawer", "status", "--read-timeout", "0.5"},
         silent.port(),
         3,
         "no answer to the drawer status request: no answer from " + port(silent.port()) +
             " within 500 ms"},
        {{"drawer", "status", "--classic", "--read-timeout", "1"},
         refuses.port(),
         2,
         "--read-timeout excludes --classic*"},
    };
    for (const auto& c : cases) {
        const auto r = vanto(at(c.args, c.port));
        EXPECT_EQ(r.exitCode, c.exitCode) << c.args[0] << " " << r.err;
        const auto expected = "vanto: " + c.err;
        if (expected.back() == '*') {
            EXPECT_EQ(r.err.rfind(expected.substr(0, expected.size() - 1), 0), 0u) << r.err;
        } else {
            EXPECT_EQ(r.err, expected + "\n");
        }
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_EQ(r.out.find("delivered"), std::string::npos) << r.out;
    }
}

}  // namespace
