#include "cli/Cli.hpp"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <string_view>

#include "cli/CliError.hpp"
#include "cli/DemoCommand.hpp"
#include "cli/DeviceCommands.hpp"
#include "cli/EmulateCommand.hpp"
#include "cli/LibraryConsole.hpp"
#include "cli/PortOption.hpp"
#include "cli/PrintCommands.hpp"
#include "cli/SecondsOption.hpp"
#include "cli/UnitSession.hpp"
#include "receipts/ReceiptInputError.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantocli {

namespace {

// A day: longer than anything a unit should take, short enough that a typo is caught.
constexpr double MAX_TIMEOUT = 86400;

// A fatal error of the library on one of its own threads cannot be caught; it ends the process.
// Say why in one line instead of leaving the runtime's abort message. The classic profile needs
// it: its reading thread ends the process when a unit hangs up instead of answering. The
// resilient profile reports every failure of the unit, so there it is only a net for a fault of
// ours.
[[noreturn]] void onTerminate() {
    std::string why = "unknown reason";
    if (auto current = std::current_exception()) {
        try {
            std::rethrow_exception(current);
        } catch (const std::exception& e) {
            why = e.what();
        } catch (...) {
        }
    }
    std::cout.flush();
    if (why == vantoconnect::fatal::NIL_UNWRAP) {
        // The classic library reads an answer on its own thread and ends the process when the
        // unit hangs up instead; the unit misbehaved, not the command.
        std::cerr << "vanto: " << UnitSession::closedWithoutAnswer(UnitSession::lastAddress())
                  << std::endl;
        std::_Exit(CliError::UNREACHABLE);
    }
    std::cerr << "vanto: the library stopped the process: " << why << std::endl;
    std::_Exit(CliError::INTERNAL);
}

void addUnitOptions(CLI::App& command, SessionOptions& unit) {
    command.add_option("--ip", unit.ip, "the unit's IPv4 address")->capture_default_str();
    command.add_option("--port", unit.port, "the unit's TCP port")
        ->capture_default_str()
        ->check(PortOption::validator(1));
    command
        .add_option("--timeout", unit.timeoutSeconds,
                    "seconds the command may wait on the unit before it gives up (exit 3); "
                    "default 300 with --classic, otherwise just past the library's own limits")
        ->check(SecondsOption::validator(MAX_TIMEOUT));
    auto* readTimeout = command
                            .add_option("--read-timeout", unit.readTimeoutSeconds,
                                        "seconds the library waits for each answer of the unit")
                            ->capture_default_str()
                            ->check(SecondsOption::validator(MAX_TIMEOUT));
    command
        .add_flag_callback(
            "--classic", [&unit] { unit.profile = vantoreceipts::Profile::Classic; },
            "the library's classic profile: no time limits of its own, a process that ends when "
            "the unit hangs up")
        ->excludes(readTimeout);
}

// Messages of other libraries may span lines; scripts read one line per failure.
std::string oneLine(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    for (char& c : text) {
        if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

std::string commandNames(const CLI::App& group) {
    std::string names;
    const auto subs = group.get_subcommands({});
    for (std::size_t k = 0; k < subs.size(); ++k) {
        names += k == 0 ? "" : (k + 1 == subs.size() ? " or " : ", ");
        names += subs[k]->get_name();
    }
    return names;
}

// CLI11 says only "A subcommand is required" when `led blink` was meant as a command; name the
// group and what it takes.
std::optional<std::string> missingCommand(const CLI::App& app) {
    const CLI::App* group = &app;
    while (!group->get_subcommands().empty()) {
        group = group->get_subcommands().front();
    }
    if (group == &app || group->get_require_subcommand_min() == 0 ||
        group->get_subcommands({}).empty()) {
        return std::nullopt;
    }
    const auto rest = app.remaining(true);
    if (rest.empty() || rest.front().starts_with("-")) {
        return group->get_name() + " needs a command: " + commandNames(*group);
    }
    return "unknown " + group->get_name() + " command \"" + rest.front() + "\" (use " +
           commandNames(*group) + ")";
}

// CLI11 words an unknown command as an unexpected argument; say what was meant instead.
std::optional<std::string> unknownCommand(int argc, char** argv, const CLI::App& app) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg.starts_with("-")) {
            continue;
        }
        for (const auto* sub : app.get_subcommands({})) {
            if (sub->get_name() == arg) {
                return std::nullopt;
            }
        }
        return "unknown command \"" + std::string(arg) + "\" (use " + commandNames(app) + ")";
    }
    return std::nullopt;
}

}  // namespace

int Cli::run(int argc, char** argv) {
    std::set_terminate(onTerminate);

    CLI::App app{"vanto: drive a Vanto unit, or emulate one on this machine"};
    app.require_subcommand(1);
    // Options of a command group (--ip on `led`) may follow its subcommand (`led diag ... --ip`).
    app.fallthrough();
    app.set_version_flag("--version", "vanto 1.0.0");
    bool verbose = false;
    app.add_flag("-v,--verbose", verbose, "show the library's own console lines on stderr");

    SessionOptions unit{.ip = vantoconnect::GenericConnectionManager::DEFAULT_IP_ADDRESS};
    std::function<void()> action;

    auto* demo = app.add_subcommand("demo", "run an emulated unit and drive it through everything");
    std::string demoOut = "out";
    demo->add_option("--out", demoOut, "where receipt.png is written")->capture_default_str();
    bool demoClassic = false;
    demo->add_flag("--classic", demoClassic, "drive the unit with the library's classic profile");
    demo->callback([&] {
        action = [&] {
            DemoCommand::run(demoOut, demoClassic ? vantoreceipts::Profile::Classic
                                                  : vantoreceipts::Profile::Resilient);
        };
    });

    EmulateCommand::addTo(app, action, verbose);

    auto* print =
        app.add_subcommand("print",
                           "print receipt files (JSON) on a unit, one after another, each reported "
                           "delivered only when the unit acknowledged all of it");
    std::vector<std::string> receiptFiles;
    print->add_option("FILE.json", receiptFiles, "the receipts, printed in this order")->required();
    addUnitOptions(*print, unit);
    // Shortens the printer queue's polling for tests; hidden from --help.
    print->add_option("--time-scale", unit.timeScale)->group("")->check(CLI::PositiveNumber);
    print->callback([&] { action = [&] { PrintCommands::print(unit, receiptFiles, verbose); }; });

    auto* preview = app.add_subcommand("preview", "draw a receipt file as the paper, no unit");
    std::string receiptFile;
    std::string pngFile;
    bool showText = false;
    preview->add_option("FILE.json", receiptFile, "the receipt")->required();
    preview->add_option("-o,--output", pngFile, "the PNG to write")->required();
    preview->add_flag("--text", showText, "also print the text view");
    preview->callback(
        [&] { action = [&] { PrintCommands::preview(receiptFile, pngFile, showText); }; });

    auto* drawer = app.add_subcommand("drawer", "cash drawer: status or open");
    drawer->require_subcommand(1);
    addUnitOptions(*drawer, unit);
    auto* drawerStatus = drawer->add_subcommand("status", "print open or closed");
    drawerStatus->callback([&] { action = [&] { DeviceCommands::drawerStatus(unit, verbose); }; });
    auto* drawerOpen = drawer->add_subcommand("open", "pulse the drawer open if it is closed");
    bool noValidate = false;
    drawerOpen->add_flag("--no-validate", noValidate, "pulse without asking the status first");
    drawerOpen->callback(
        [&] { action = [&] { DeviceCommands::drawerOpen(unit, !noValidate, verbose); }; });

    auto* led = app.add_subcommand("led", "diagnostic LEDs and the cosmetic light");
    led->require_subcommand(1);
    addUnitOptions(*led, unit);
    auto* diag = led->add_subcommand("diag", "set one diagnostic LED");
    std::string position;
    std::string colour;
    diag->add_option("POSITION", position, "power, network, tablet, printer, usb1, usb2 (or LED_*)")
        ->required();
    diag->add_option("COLOUR", colour, "off, green, red or amber (or LED_*)")->required();
    diag->callback(
        [&] { action = [&] { DeviceCommands::ledDiagnostic(unit, position, colour, verbose); }; });
    auto* cosmetic = led->add_subcommand("cosmetic", "set the cosmetic light's colour");
    cosmetic->add_option("COLOUR", colour, "off, blue, green, cyan, red, magenta, yellow, white")
        ->required();
    cosmetic->callback(
        [&] { action = [&] { DeviceCommands::ledCosmetic(unit, colour, verbose); }; });

    auto* usb = app.add_subcommand("usb", "switch USB power");
    std::string onOff;
    usb->add_option("STATE", onOff, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
    addUnitOptions(*usb, unit);
    usb->callback([&] { action = [&] { DeviceCommands::usb(unit, onOff == "on", verbose); }; });

    auto* printer = app.add_subcommand("printer", "printer status or configuration page");
    printer->require_subcommand(1);
    addUnitOptions(*printer, unit);
    printer->add_subcommand("status", "print ready, not ready or error")->callback([&] {
        action = [&] { DeviceCommands::printerStatus(unit, verbose); };
    });
    printer->add_subcommand("config-page", "print the printer's configuration page")->callback([&] {
        action = [&] { DeviceCommands::printerConfigPage(unit, verbose); };
    });

    if (const auto unknown = unknownCommand(argc, argv, app)) {
        std::cerr << "vanto: " << *unknown << std::endl;
        return CliError::BAD_INPUT;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        std::cerr << "vanto: " << missingCommand(app).value_or(oneLine(e.what())) << " (try --help)"
                  << std::endl;
        return CliError::BAD_INPUT;
    }

    try {
        // The library writes its console lines to standard output unless told otherwise; the
        // command's output is its own, whatever runs before a command installs its listener.
        LibraryConsole console(verbose);
        if (action) {
            action();
        }
        return 0;
    } catch (const CliError& e) {
        std::cerr << "vanto: " << oneLine(e.what()) << std::endl;
        return e.exitCode();
    } catch (const vantoreceipts::ReceiptInputError& e) {
        std::cerr << "vanto: " << oneLine(e.what()) << std::endl;
        return CliError::BAD_INPUT;
    } catch (const vantoconnect::VantoError& e) {
        // The commands say what each request's failure means; this is for a call they did not
        // expect to fail.
        std::cerr << "vanto: " << oneLine(e.description()) << std::endl;
        return e.kind() == vantoconnect::VantoError::Kind::CONNECTION_LOST ? CliError::UNREACHABLE
                                                                           : CliError::FAILED;
    } catch (const vantoconnect::FatalError& e) {
        // Classic only: its reads end in this on the command's own thread too.
        if (std::string_view(e.what()) == vantoconnect::fatal::NIL_UNWRAP) {
            std::cerr << "vanto: " << UnitSession::closedWithoutAnswer(unit.text()) << std::endl;
            return CliError::UNREACHABLE;
        }
        std::cerr << "vanto: the library refused the request: " << oneLine(e.what()) << std::endl;
        return CliError::INTERNAL;
    } catch (const std::exception& e) {
        std::cerr << "vanto: " << oneLine(e.what()) << std::endl;
        return CliError::INTERNAL;
    }
}

}  // namespace vantocli
