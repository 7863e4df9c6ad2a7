#include "cli/Cli.hpp"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "cli/CliError.hpp"
#include "cli/DemoCommand.hpp"
#include "cli/DeviceCommands.hpp"
#include "cli/EmulateCommand.hpp"
#include "cli/PrintCommands.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantocli {

namespace {

// A fatal error of the library on one of its own threads cannot be caught; it ends the process.
// Say why in one line instead of leaving the runtime's abort message.
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
    if (why == vantoconnect::fatal::NIL_UNWRAP) {
        why += " (the unit closed the connection without answering)";
    }
    std::cerr << "vanto: the library stopped the process: " << why << std::endl;
    std::_Exit(70);
}

void addUnitOptions(CLI::App& command, UnitAddress& unit) {
    command.add_option("--ip", unit.ip, "the unit's IPv4 address")->capture_default_str();
    command.add_option("--port", unit.port, "the unit's TCP port")
        ->capture_default_str()
        ->check(CLI::Range(1, 65535));
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

    UnitAddress unit{vantoconnect::GenericConnectionManager::DEFAULT_IP_ADDRESS, 8080};
    std::function<void()> action;

    auto* demo = app.add_subcommand("demo", "run an emulated unit and drive it through everything");
    std::string demoOut = "out";
    demo->add_option("--out", demoOut, "where receipt.png is written")->capture_default_str();
    demo->callback([&] { action = [&] { DemoCommand::run(demoOut); }; });

    EmulateCommand::addTo(app, action, verbose);

    auto* print = app.add_subcommand("print", "print a receipt file (JSON) on a unit");
    std::string receiptFile;
    print->add_option("FILE.json", receiptFile, "the receipt")->required();
    addUnitOptions(*print, unit);
    double timeScale = 1.0;
    // Shortens the printer queue's polling for tests; hidden from --help.
    print->add_option("--time-scale", timeScale)->group("")->check(CLI::PositiveNumber);
    print->callback(
        [&] { action = [&] { PrintCommands::print(unit, receiptFile, verbose, timeScale); }; });

    auto* preview = app.add_subcommand("preview", "draw a receipt file as the paper, no unit");
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
    printer->add_subcommand("status", "print ready or busy")->callback([&] {
        action = [&] { DeviceCommands::printerStatus(unit, verbose); };
    });
    printer->add_subcommand("config-page", "print the printer's configuration page")->callback([&] {
        action = [&] { DeviceCommands::printerConfigPage(unit, verbose); };
    });

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        std::cerr << "vanto: " << e.what() << " (try --help)" << std::endl;
        return CliError::BAD_INPUT;
    }

    try {
        if (action) {
            action();
        }
        return 0;
    } catch (const CliError& e) {
        std::cerr << "vanto: " << e.what() << std::endl;
        return e.exitCode();
    } catch (const vantoconnect::FatalError& e) {
        std::cerr << "vanto: the library refused: " << e.what() << std::endl;
        return CliError::FAILED;
    } catch (const std::exception& e) {
        std::cerr << "vanto: " << e.what() << std::endl;
        return CliError::FAILED;
    }
}

}  // namespace vantocli
