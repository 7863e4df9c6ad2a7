#pragma once

// The addressing vocabulary of the device protocol, and the step that turns one message into
// the bytes of one link frame. The builder edits the caller's message in place and returns
// itself from every with... call so calls chain; each call touches only its own field.

#include <cstdint>

#include "vantoconnect/orbaprotocol/messages/ORBAMessage.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class MessageBuilder {
  public:
    // Nodes.
    static constexpr std::int8_t NODE_VANTO_HOST_DEVICE = 0;
    static constexpr std::int8_t NODE_VANTO_BRAIN_UNIT = 1;
    static constexpr std::int8_t NODE_WIFI_MODULE = 3;

    // Channels; 6, 7, 9, 10, 13, 14 and 15 are unnamed.
    static constexpr std::int8_t CHANNEL_USB_LINK = 0;
    static constexpr std::int8_t CHANNEL_USART0_WIFI = 1;
    static constexpr std::int8_t CHANNEL_UART1_PRINTER = 2;
    static constexpr std::int8_t CHANNEL_USART1_TOWER = 3;
    static constexpr std::int8_t CHANNEL_SPI_UART_A_DE9 = 4;
    static constexpr std::int8_t CHANNEL_SPI_UART_B_RJ45 = 5;
    static constexpr std::int8_t CHANNEL_DEVICE_ADMINISTRATIVE_FUNCTIONS = 8;
    static constexpr std::int8_t CHANNEL_IO_BUTTONS_LEDS = 11;
    static constexpr std::int8_t CHANNEL_CASH_DRAWER = 12;

    // Type codes; each agrees with the message's own command or response code of that value.
    static constexpr std::int8_t GET_VERSION_COMMAND = 0x76;
    static constexpr std::int8_t GET_SERIAL_NUMBER_COMMAND = 0x79;
    static constexpr std::int8_t SET_SYSTEM_INFO_COMMAND = 0x59;
    static constexpr std::int8_t GET_SYSTEM_INFO_COMMAND = 0x7A;
    static constexpr std::int8_t GET_CLOCK_COMMAND = 0x6B;
    static constexpr std::int8_t SET_CLOCK_COMMAND = 0x4B;
    // Raw data passed through to a port, such as printer bytes.
    static constexpr std::int8_t NOTIFICATION_RAW_DATA = 0x4E;
    static constexpr std::int8_t SET_PORT_CONTROL_STATE_COMMAND = 0x41;
    static constexpr std::int8_t GET_PORT_CONTROL_STATE_COMMAND = 0x61;
    static constexpr std::int8_t RESET_COMMAND = 0x47;
    static constexpr std::int8_t PING_COMMAND = 0x70;
    static constexpr std::int8_t DO_TEST_COMMAND = 0x54;
    static constexpr std::int8_t GET_SET_REG_OR_IO_LEVEL = 0x49;

    // The message must outlive the builder.
    explicit MessageBuilder(ORBAMessage& message) : msg(&message) {}

    ORBAMessage& getMsg() const { return *msg; }
    void setMsg(ORBAMessage& message) { msg = &message; }

    MessageBuilder& withSourceChannel(std::int8_t channel);
    MessageBuilder& withSourceNode(std::int8_t node);
    MessageBuilder& withDestinyChannel(std::int8_t channel);
    MessageBuilder& withDestinynode(std::int8_t node);
    // ORs into the tag already there, as the message's setTag does.
    MessageBuilder& withTagNumber(std::int8_t tagNumber);
    // A tag outside -128..127 stops the process.
    MessageBuilder& withTagNumber(std::int64_t tagNumber);
    // Keeps withTagNumber(0) unambiguous; same as the 64-bit form.
    MessageBuilder& withTagNumber(int tagNumber);
    MessageBuilder& withType(std::int8_t type);

    // The first frame of a fresh encoder set to CRC on and the 12-bit length field.
    Bytes build();

  private:
    ORBAMessage* msg;
};

}  // namespace vantoconnect
