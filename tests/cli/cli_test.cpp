#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "emulator/EmulatedUnit.hpp"
#include "tests/support/FakeUnit.hpp"

namespace {

namespace fs = std::filesystem;
using vantoemu::EmulatedUnit;

struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

std::string slurp(const fs::path& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Under the sanitizers the leak checker lists the font library's suppressed leaks at exit;
// standard error must hold only the command's own words.
void quietLeakChecker() {
    setenv("LSAN_OPTIONS", "print_suppressions=0", 1);
}

// Runs the vanto executable with the arguments, standard output and error to files.
Outcome vanto(std::vector<std::string> args, const fs::path& scratch) {
    const auto outPath = scratch / "stdout.txt";
    const auto errPath = scratch / "stderr.txt";
    const pid_t pid = fork();
    if (pid == 0) {
        quietLeakChecker();
        const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        std::vector<char*> argv;
        args.insert(args.begin(), VANTO_CLI_PATH);
        for (auto& a : args) {
            argv.push_back(a.data());
        }
        argv.push_back(nullptr);
        execv(VANTO_CLI_PATH, argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    Outcome run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    run.out = slurp(outPath);
    run.err = slurp(errPath);
    return run;
}

class Cli : public ::testing::Test {
  protected:
    void SetUp() override {
        scratch = fs::temp_directory_path() /
                  ("vanto-cli-" + std::to_string(getpid()) + "-" +
                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(scratch);
        fs::create_directories(scratch);
        vantoemu::UnitOptions options;
        options.port = 0;
        options.outDir = (scratch / "unit").string();
        options.drawerCloseAfter = std::chrono::milliseconds(0);
        unit = std::make_unique<EmulatedUnit>(options);
        unit->start();
    }
    void TearDown() override {
        unit->stop();
        fs::remove_all(scratch);
    }

    Outcome run(std::vector<std::string> args, bool withUnit = true) {
        if (withUnit) {
            args.insert(args.end(), {"--ip", "127.0.0.1", "--port", std::to_string(unit->port())});
        }
        return vanto(std::move(args), scratch);
    }

    fs::path write(const std::string& name, const std::string& text) {
        const auto path = scratch / name;
        std::ofstream(path) << text;
        return path;
    }

    fs::path scratch;
    std::unique_ptr<EmulatedUnit> unit;
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

TEST_F(Cli, DeviceCommandsChangeTheUnitsState) {
    auto r = run({"led", "diag", "LED_PRINTER", "green"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, "printer set to green\n");
    r = run({"led", "diag", "usb2", "3"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    r = run({"led", "cosmetic", "COSMETIC_YELLOW"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    r = run({"usb", "on"});
    EXPECT_EQ(r.exitCode, 0) << r.err;

    const auto state = unit->snapshot();
    EXPECT_EQ(state.diagnosticLed(8), 1);
    EXPECT_EQ(state.diagnosticLed(10), 3);
    EXPECT_EQ(state.cosmeticColour, 6);
    EXPECT_TRUE(state.usbPower);

    EXPECT_EQ(run({"usb", "off"}).exitCode, 0);
    EXPECT_FALSE(unit->snapshot().usbPower);
}

TEST_F(Cli, DrawerStatusAndValidatedOpening) {
    auto r = run({"drawer", "status"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, "closed\n");

    r = run({"drawer", "open"});
    EXPECT_EQ(r.out, "open pulse sent\n");
    EXPECT_TRUE(unit->snapshot().drawerOpen);
    EXPECT_EQ(run({"drawer", "status"}).out, "open\n");

    // Already open: the validated form sends nothing, the unvalidated one pulses anyway.
    EXPECT_EQ(run({"drawer", "open"}).out, "the drawer is already open; nothing sent\n");
    EXPECT_EQ(unit->snapshot().drawerOpenings, 1u);
    EXPECT_EQ(run({"drawer", "open", "--no-validate"}).out, "open pulse sent\n");
    EXPECT_EQ(unit->snapshot().drawerOpenings, 2u);
}

TEST_F(Cli, PrinterStatusAndConfigurationPage) {
    EXPECT_EQ(run({"printer", "status"}).out, "ready\n");
    unit->setPrinterCondition(vantoemu::PrinterCondition::NotReady);
    EXPECT_EQ(run({"printer", "status"}).out, "busy\n");
    unit->setPrinterCondition(vantoemu::PrinterCondition::Ready);

    const auto r = run({"printer", "config-page"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    ASSERT_TRUE(unit->waitForReceipts(1, std::chrono::seconds(10)));
    EXPECT_EQ(unit->receipts()[0].bytes, (std::vector<std::uint8_t>{0x1F, 0x74}));
}

TEST_F(Cli, PrintShowsProgressAndTheUnitRendersTheReceipt) {
    const auto file = write("receipt.json", kReceipt);
    const auto r = run({"print", file.string()});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("print: queued\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("print: started on 127.0.0.1\n"), std::string::npos);
    EXPECT_NE(r.out.find("print: packet 1 acknowledged\n"), std::string::npos);
    EXPECT_NE(r.out.find("print: completed on 127.0.0.1\n"), std::string::npos);
    ASSERT_TRUE(unit->waitForReceipts(1, std::chrono::seconds(10)));
    const auto text = unit->receipts()[0].rendered.text;
    EXPECT_NE(text.find("Hello"), std::string::npos);
    EXPECT_NE(text.find("[Code 39 AB-12]"), std::string::npos);
}

TEST_F(Cli, PrintFailsClearlyWhenThePrinterNeverBecomesReady) {
    unit->setPrinterCondition(vantoemu::PrinterCondition::NotReady);
    const auto file = write("receipt.json", kReceipt);
    const auto r = run({"print", file.string(), "--time-scale", "0.01"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err,
              "vanto: the printer did not become ready; the receipt was dropped "
              "(PRINTER_NOT_RESPONDING)\n");
    EXPECT_EQ(unit->receipts().size(), 0u);
}

TEST_F(Cli, PreviewDrawsWithoutAUnit) {
    const auto file = write("receipt.json", kReceipt);
    const auto png = scratch / "receipt.png";
    const auto r = run({"preview", file.string(), "-o", png.string(), "--text"}, false);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out.rfind("wrote " + png.string() + " (576 x ", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("partial cut"), std::string::npos);
    ASSERT_TRUE(fs::exists(png));
    // PNG signature, then the IHDR width of 576.
    const auto bytes = slurp(png);
    ASSERT_GT(bytes.size(), 24u);
    EXPECT_EQ(bytes.substr(1, 3), "PNG");
    EXPECT_EQ(static_cast<unsigned char>(bytes[18]) * 256 + static_cast<unsigned char>(bytes[19]),
              576);
}

TEST_F(Cli, DemoDrivesItsOwnUnitAndLeavesThePicture) {
    const auto out = scratch / "demo";
    const auto r = run({"demo", "--out", out.string()}, false);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("open cash drawer (validated) again: already open, nothing sent\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("unit rendered the receipt: 576 x "), std::string::npos) << r.out;
    EXPECT_TRUE(fs::exists(out / "receipt.png"));
}

TEST_F(Cli, EmulateServesUntilTerminated) {
    const auto port = vantoconnect::testing::FakeUnit::unusedPort();
    const auto errPath = scratch / "emulate.err";
    const pid_t pid = fork();
    if (pid == 0) {
        quietLeakChecker();
        const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int out = open("/dev/null", O_WRONLY);
        dup2(err, STDERR_FILENO);
        dup2(out, STDOUT_FILENO);
        const auto portText = std::to_string(port);
        const auto outDir = (scratch / "emulated").string();
        execl(VANTO_CLI_PATH, VANTO_CLI_PATH, "emulate", "--port", portText.c_str(), "--out",
              outDir.c_str(), nullptr);
        _exit(127);
    }
    // Wait for the listening line rather than sleeping blindly.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (slurp(errPath).find("listening on") == std::string::npos &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_NE(slurp(errPath).find("listening on 127.0.0.1:" + std::to_string(port)),
              std::string::npos);
    const auto r =
        vanto({"drawer", "status", "--ip", "127.0.0.1", "--port", std::to_string(port)}, scratch);
    EXPECT_EQ(r.out, "closed\n") << r.err;

    kill(pid, SIGTERM);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_TRUE(fs::exists(scratch / "emulated" / "events.jsonl"));
}

TEST_F(Cli, BadInputGivesOneLineAndANonZeroExit) {
    const auto malformed = write("malformed.json", "{\n  \"lines\": [\n    { \"lineType\": }\n]}");
    const auto unknownField =
        write("unknown.json", R"({"lines": [{"lineType": "TEXT", "text": "x", "colour": 1}]})");
    const auto tooLong = write(
        "long.json",
        R"({"lines": [{"lineType": "PRICE", "leftText": "12345678901234567890", "rightText": "123456789012345678901234"}]})");
    const auto badChar =
        write("chr.json", R"({"lines": [{"lineType": "SINGLE_CHAR", "chr": "ab"}]})");
    const auto hugeNumber =
        write("huge.json", R"({"lines": [{"lineType": "FEED", "lines": 1e999}]})");
    const auto badImage =
        write("image.json", R"({"lines": [{"lineType": "IMAGE", "image": "missing.png"}]})");
    const auto png = (scratch / "x.png").string();

    struct Case {
        std::vector<std::string> args;
        bool withUnit;
        int exitCode;
        std::string errStart;
    };
    const std::vector<Case> cases = {
        {{"preview", (scratch / "nope.json").string(), "-o", png},
         false,
         2,
         "vanto: " + (scratch / "nope.json").string() + ": cannot open the receipt file"},
        {{"preview", malformed.string(), "-o", png},
         false,
         2,
         "vanto: " + malformed.string() + ":3:19: malformed JSON: syntax error"},
        {{"preview", unknownField.string(), "-o", png},
         false,
         2,
         "vanto: " + unknownField.string() + ": lines[0]: unknown field \"colour\""},
        {{"preview", tooLong.string(), "-o", png},
         false,
         2,
         "vanto: " + tooLong.string() +
             ": lines[0]: cannot be printed: left and right text together have 44 characters"},
        {{"preview", badChar.string(), "-o", png},
         false,
         2,
         "vanto: " + badChar.string() + ": lines[0].chr: must be exactly one character"},
        {{"preview", hugeNumber.string(), "-o", png},
         false,
         2,
         "vanto: " + hugeNumber.string() + ": malformed JSON: "},
        {{"preview", badImage.string(), "-o", png},
         false,
         2,
         "vanto: " + badImage.string() + ": lines[0].image: "},
        {{"led", "diag", "printer", "purple"}, true, 2, "vanto: unknown LED colour \"purple\""},
        {{"led", "diag", "ped", "green"}, true, 2, "vanto: ped cannot be set to green"},
        {{"frobnicate"}, false, 2, "vanto: "},
        {{"drawer", "status", "--ip", "127.0.0.1", "--port",
          std::to_string(vantoconnect::testing::FakeUnit::unusedPort())},
         false,
         3,
         "vanto: cannot reach the unit at 127.0.0.1:"},
        {{"drawer", "status", "--ip", "no such host", "--port", "8080"},
         false,
         3,
         "vanto: cannot reach the unit at no such host:8080: the address does not resolve"},
    };
    for (const auto& c : cases) {
        const auto r = run(c.args, c.withUnit);
        EXPECT_EQ(r.exitCode, c.exitCode) << c.args[0] << " " << r.err;
        EXPECT_EQ(r.err.rfind(c.errStart, 0), 0u) << "got: " << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "got: " << r.err;
    }
}

}  // namespace
