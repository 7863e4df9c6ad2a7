#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/FatalMessage.hpp"
#include "tests/support/Managers.hpp"
#include "tests/support/UnitFrames.hpp"
#include "tests/vantoconnect/orbaprotocol/linklayer/LinkTestSupport.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoConfigurationController.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoLedController.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/orbaprotocol/messages/OrbaIOState.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

// Puts a printer controller whose busy query ends as the test says in the facade's place.
class VantoProbe {
  public:
    static void answerBusyWith(Vanto& vanto, std::function<bool()> answer) {
        struct Scripted : VantoPrinterController {
            Scripted(std::shared_ptr<AbstractConnectionManager> port, std::function<bool()> answer)
                : VantoPrinterController(std::move(port)), answer(std::move(answer)) {}
            bool isPrinterBusy() override { return answer(); }
            std::function<bool()> answer;
        };
        vanto.vantoPrinterController = std::make_shared<Scripted>(vanto.mPort, std::move(answer));
    }
};

}  // namespace vantoconnect

namespace vantoconnect::testing {
namespace {

using LEDS = VantoDiagnosticLEDS;
using Colours = VantoColorCodes;

// A set-IO-state request to the IO channel.
UBytes ioStateFrame(std::int8_t source, std::uint32_t mask, std::uint32_t value) {
    return FakeUnit::frame(
        linktest::concat(Bytes{0x1B, source, 0x49, 0x00}, linktest::ioContent(mask, value)));
}

// The status read, or the error text when it throws.
std::string statusOf(VantoConfigurationController& controller) {
    try {
        return std::to_string(controller.cashDrawerStatus());
    } catch (const VantoError& error) {
        EXPECT_EQ(error.kind(), VantoError::Kind::GENERIC);
        return error.message();
    }
}

// Sockets this process holds, counted from its descriptor table.
int openSockets() {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // an entry may be closed between listing and reading it
        count += std::filesystem::read_symlink(entry.path(), gone).string().starts_with("socket:");
    }
    return count;
}

class DevicesTest : public ::testing::Test {
  protected:
    FakeUnit unit;
    // One manager, so that the writes of both controllers reach the unit in submission order.
    std::shared_ptr<PausingManager> manager = managerFor(unit.port());
    VantoLedController leds{manager};
    VantoConfigurationController configuration{manager};
    Vanto vanto;  // on a manager of its own

    void SetUp() override { aimAt(*vanto.getConnectionManager(), unit.port()); }
};

TEST_F(DevicesTest, EveryWriteIsOneExactFrame) {
    std::vector<UBytes> expected;
    // Two bits a position (the message's own suite has the colours and overlaps); the diagnostic
    // request alone goes out from source node 1 (0x12).
    const struct {
        std::int64_t position, colour;
        std::uint32_t mask, value;
    } diagnostic[] = {
        {LEDS::LED_PRINTER, Colours::LED_GREEN, 0x00030000, 0x00010000},
        {LEDS::LED_USB2, Colours::LED_AMBER, 0x00300000, 0x00300000},
        // NA_NUMBER leaves the LED alone: nothing in the mask.
        {LEDS::LED_TABLET, OrbaIOState::NA_NUMBER, 0, 0},
    };
    for (const auto& c : diagnostic) {
        leds.setDiagnosticLed(c.position, c.colour);
        expected.push_back(ioStateFrame(0x12, c.mask, c.value));
    }
    // Lines 8, 9, 10 carry green, blue, red: the value nibble is green + 2 blue + 4 red.
    const std::pair<std::int64_t, std::uint32_t> cosmetic[] = {
        {Colours::COSMETIC_OFF, 0x0},    {Colours::COSMETIC_BLUE, 0x2},
        {Colours::COSMETIC_GREEN, 0x1},  {Colours::COSMETIC_CYAN, 0x3},
        {Colours::COSMETIC_RED, 0x4},    {Colours::COSMETIC_MAGENTA, 0x6},
        {Colours::COSMETIC_YELLOW, 0x5}, {Colours::COSMETIC_WHITE, 0x7},
    };
    for (const auto& [colour, nibble] : cosmetic) {
        leds.setCosmeticLedCol(colour);
        expected.push_back(ioStateFrame(0x02, 0x00000F00, nibble << 8));
    }
    leds.setCosmeticLedCol(9);  // unknown: the request still goes out, changing nothing
    configuration.enableUSB();  // USB power is line 26
    configuration.disableUSB();
    configuration.openCashDrawer();
    expected.insert(expected.end(),
                    {ioStateFrame(0x02, 0, 0), ioStateFrame(0x02, 0x0C000000, 0x04000000),
                     ioStateFrame(0x02, 0x0C000000, 0), DRAWER_PULSE});
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

TEST_F(DevicesTest, UnwritableLedMasksStopBeforeAnythingIsSent) {
    // A position whose two bits are the top of a content byte has the mask byte 0xC0, which the
    // message cannot hold: LED_PED (3), and 7, 11, 15, whatever the colour.
    // A negative position or one of 32 or more shifts past the word.
    const std::pair<std::int64_t, std::string_view> stops[] = {
        {LEDS::LED_PED, fatal::NOT_ENOUGH_BITS},
        {-1, fatal::OVERWIDE_SHIFT},
        {32, fatal::OVERWIDE_SHIFT}};
    for (const auto& [position, edge] : stops) {
        for (std::int64_t colour : {Colours::LED_OFF, Colours::LED_GREEN}) {
            EXPECT_EQ(fatalMessage([&] { leds.setDiagnosticLed(position, colour); }), edge)
                << "position " << position << ", colour " << colour;
        }
    }
    EXPECT_FALSE(unit.waitForConnections(1, std::chrono::milliseconds(200)));
}

TEST_F(DevicesTest, DrawerStatusIsBitSixOfContentByteSixOfTheFirstFullAnswer) {
    const std::string error = "Cash drawer status message not received";
    const struct {
        UBytes reply;
        std::string status;
    } cases[] = {
        {portControlReply(8, 0x40), "1"},
        {portControlReply(8, -0x41), "0"},  // 0xBF
        {concat(portControlReply(8, 0x40), portControlReply(8, 0x00)), "1"},
        {concat(portControlReply(8, 0x00), portControlReply(8, 0x40)), "0"},
        // A short answer is passed over for a later full one in the same read...
        {concat(portControlReply(7, 0x00), portControlReply(8, 0x40)), "1"},
        // ...but alone, seven content bytes are one too few.
        {portControlReply(7, 0x40), error},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.reply));
        unit.script(FakeUnit::Reply::bytes(c.reply));
        EXPECT_EQ(statusOf(configuration), c.status);
    }
    EXPECT_EQ(unit.received(0), DRAWER_STATUS_REQUEST);

    // Frames of another type until the two seconds are over.
    unit.script(FakeUnit::Reply::chunked({{std::chrono::milliseconds(0), PRINT_ACKNOWLEDGED},
                                          {std::chrono::milliseconds(2100), PRINT_ACKNOWLEDGED}}));
    EXPECT_EQ(statusOf(configuration), error);
}

// A validated open reads the status first and pulses only a closed drawer; an unvalidated one
// asks nothing.
TEST_F(DevicesTest, OnlyAClosedDrawerIsPulsedUnlessTheOpenIsNotValidated) {
    unit.script(FakeUnit::Reply::bytes(portControlReply(18, 0x3F)));  // open
    unit.script(FakeUnit::Reply::bytes(portControlReply(18, 0x7F)));  // closed
    EXPECT_FALSE(vanto.openCashDrawer(true));
    EXPECT_TRUE(vanto.openCashDrawer());
    EXPECT_TRUE(vanto.openCashDrawer(false));
    const std::vector<UBytes> expected = {DRAWER_STATUS_REQUEST, DRAWER_STATUS_REQUEST,
                                          DRAWER_PULSE, DRAWER_PULSE};
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

// A query that throws the library's error counts as busy (the unit-less facade below); only that
// error is taken so: a fatal error still ends the process.
TEST(VantoPrinterBusy, OnlyTheLibrarysErrorCountsAsBusy) {
    Vanto vanto;
    VantoProbe::answerBusyWith(vanto, []() -> bool { fatalError(fatal::NIL_UNWRAP); });
    EXPECT_EQ(fatalMessage([&] { vanto.printerBusy(); }), fatal::NIL_UNWRAP);
}

// Creating the facade opens no socket; without a unit, a failing drawer status passes through
// a validated open and the printer counts as busy.
TEST(VantoWithoutAUnit, OpensNoSocketAndCountsThePrinterAsBusy) {
    const int before = openSockets();
    Vanto vanto;
    EXPECT_EQ(openSockets(), before);
    aimAt(*vanto.getConnectionManager(), FakeUnit::unusedPort());
    EXPECT_THROW(vanto.openCashDrawer(), VantoError);
    EXPECT_TRUE(vanto.printerBusy());
}

}  // namespace
}  // namespace vantoconnect::testing
