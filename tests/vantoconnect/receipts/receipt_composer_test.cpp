#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>

#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {
namespace {

Bytes bytes(std::initializer_list<int> values) {
    Bytes out;
    for (int v : values) {
        out.push_back(static_cast<std::int8_t>(v));
    }
    return out;
}

Bytes ascii(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const auto& p : parts) {
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

const Bytes CP1252 = bytes({0x1B, 0x52, 0x08});
const Bytes CPDEFAULT = bytes({0x1B, 0x52, 0x00});

// The groups a receipt of just these lines composes to, without the fixed feed and cut groups.
std::vector<Bytes> body(std::initializer_list<std::shared_ptr<VantoReceiptLine>> lines) {
    VantoReceipt receipt;
    for (const auto& line : lines) {
        receipt.addLine(line);
    }
    auto groups = ReceiptComposer().compose(receipt);
    EXPECT_GE(groups.size(), 3u);
    return std::vector<Bytes>(groups.begin() + 1, groups.end() - 2);
}

template <typename F>
std::string fatalMessage(F&& f) {
    try {
        f();
    } catch (const FatalError& e) {
        return e.what();
    }
    return "<no fatal error>";
}

std::shared_ptr<VantoReceiptPriceLine> price(const std::string& left, const std::string& right) {
    return std::make_shared<VantoReceiptPriceLine>(left, 0, right, 0);
}

TEST(ReceiptFrame, EmptyReceiptIsHeaderFooterAndFullCut) {
    VantoReceipt receipt;
    EXPECT_EQ(ReceiptComposer().compose(receipt),
              (std::vector<Bytes>{bytes({0x14, 0x00}), bytes({0x14, 0x0C}), bytes({0x1B, 0x69})}));
}

TEST(ReceiptFrame, AnyNonZeroCutTypeIsPartialAndFeedsAreSent) {
    VantoReceipt receipt;
    receipt.setHeaderFeed(3);
    receipt.setFooterFeed(0);
    for (std::int64_t cut : {1, -1, 7}) {
        receipt.setCutType(cut);
        EXPECT_EQ(
            ReceiptComposer().compose(receipt),
            (std::vector<Bytes>{bytes({0x14, 0x03}), bytes({0x14, 0x00}), bytes({0x1B, 0x6D})}));
    }
}

TEST(ReceiptFrame, FeedsOutsideSignedByteAreFatal) {
    VantoReceipt receipt;
    receipt.setHeaderFeed(128);
    EXPECT_EQ(fatalMessage([&] { ReceiptComposer().compose(receipt); }), fatal::NOT_ENOUGH_BITS);
    receipt.setHeaderFeed(-128);
    receipt.setFooterFeed(-129);
    EXPECT_EQ(fatalMessage([&] { ReceiptComposer().compose(receipt); }), fatal::NOT_ENOUGH_BITS);
    receipt.setFooterFeed(127);
    EXPECT_NO_THROW(ReceiptComposer().compose(receipt));
}

TEST(ReceiptFrame, ComposerStartsAfreshForEachReceipt) {
    ReceiptComposer composer;
    VantoReceipt first;
    first.addLine(std::make_shared<VantoReceiptTextLine>("x", 0, 0, 0));
    composer.compose(first);
    EXPECT_EQ(composer.compose(VantoReceipt()).size(), 3u);
}

TEST(TextLine, StyledWideCentredText) {
    auto groups = body({std::make_shared<VantoReceiptTextLine>("Hi", 1, 1, 1)});
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0],
              concat({bytes({0x1B, 0x61, 0x30, 0x1B, 0x61, 0x31}), bytes({0x1B, 0x45, 0x01}),
                      bytes({0x13, 0x12}), CP1252, ascii("Hi"), CPDEFAULT,
                      bytes({0x1B, 0x45, 0x00}), bytes({0x0A})}));
}

TEST(TextLine, JustificationAndStylesFollowTheBitRule) {
    const Bytes left = bytes({0x1B, 0x61, 0x30});
    const Bytes centre = bytes({0x1B, 0x61, 0x31});
    const Bytes right = bytes({0x1B, 0x61, 0x32});
    auto line = [](std::int64_t style, std::int64_t size, std::int64_t position) {
        return body({std::make_shared<VantoReceiptTextLine>("a", style, size, position)})[0];
    };
    const Bytes text = concat({CP1252, ascii("a"), CPDEFAULT});
    EXPECT_EQ(line(0, 0, 2), concat({left, right, bytes({0x13}), text, bytes({0x0A})}));
    EXPECT_EQ(line(0, 0, 3), concat({left, centre, right, bytes({0x13}), text, bytes({0x0A})}));
    // All four styles, set in order and cancelled in the same order; bits above 8 ignored.
    EXPECT_EQ(line(15 | 16, 0, 0), concat({left,
                                           bytes({0x1B, 0x45, 0x01, 0x1B, 0x49, 0x01, 0x1B, 0x2D,
                                                  0x01, 0x1D, 0x42, 0x01, 0x13}),
                                           text,
                                           bytes({0x1B, 0x45, 0x00, 0x1B, 0x49, 0x00, 0x1B, 0x2D,
                                                  0x00, 0x1D, 0x42, 0x00, 0x0A})}));
}

TEST(TextLine, EmptyTextIsABlankLine) {
    EXPECT_EQ(body({std::make_shared<VantoReceiptTextLine>("", 15, 1, 2)}),
              std::vector<Bytes>{bytes({0x0A})});
}

TEST(TextLine, NonAsciiGoesOutAsUtf8) {
    auto groups = body({std::make_shared<VantoReceiptTextLine>("Caf\u00e9 \u20ac", 0, 0, 0)});
    EXPECT_EQ(groups[0], concat({bytes({0x1B, 0x61, 0x30, 0x13}), CP1252,
                                 bytes({'C', 'a', 'f', 0xC3, 0xA9, ' ', 0xE2, 0x82, 0xAC}),
                                 CPDEFAULT, bytes({0x0A})}));
}

TEST(PriceLine, PadsToFortyFourColumns) {
    auto groups = body({price("A", "1.00")});
    EXPECT_EQ(groups[0], concat({CP1252, ascii("A"), CPDEFAULT, Bytes(39, 0x20), CP1252,
                                 ascii("1.00"), CPDEFAULT, bytes({0x0A})}));
}

TEST(PriceLine, FortyThreeCharactersLeaveOneSpaceFortyFourAreFatal) {
    const std::string left(20, 'L');
    auto groups = body({price(left, std::string(23, 'R'))});
    EXPECT_EQ(groups[0], concat({CP1252, ascii(left), CPDEFAULT, bytes({0x20}), CP1252,
                                 ascii(std::string(23, 'R')), CPDEFAULT, bytes({0x0A})}));
    EXPECT_EQ(fatalMessage([&] { body({price(left, std::string(24, 'R'))}); }), fatal::EMPTY_RANGE);
    EXPECT_EQ(fatalMessage([&] { body({price(std::string(50, 'L'), "")}); }), fatal::EMPTY_RANGE);
}

TEST(PriceLine, StylesAndEmptySides) {
    auto line = std::make_shared<VantoReceiptPriceLine>("", 0, "9", 1);
    auto groups = body({line});
    EXPECT_EQ(groups[0], concat({Bytes(43, 0x20), bytes({0x1B, 0x45, 0x01}), CP1252, ascii("9"),
                                 CPDEFAULT, bytes({0x1B, 0x45, 0x00, 0x0A})}));
    EXPECT_EQ(body({price("", "")})[0], concat({Bytes(44, 0x20), bytes({0x0A})}));
}

TEST(PriceLine, ColumnsCountCharactersNotBytes) {
    // "Cafe" with a combining accent, a flag and a precomposed letter: 3 + 4 + 1 characters.
    const std::string left = "Cre\u0300me \U0001F1EB\U0001F1F7";
    const std::string right = "\u00e9";
    auto groups = body({price(left, right)});
    const Bytes& g = groups[0];
    const std::size_t spaces =
        g.size() - (3 + left.size() + 3) - (3 + right.size() + 3) - 1;  // minus text and LF
    EXPECT_EQ(spaces, 44u - 7u - 1u);
    // A 43-character line of two-byte letters still fits.
    std::string wide;
    for (int i = 0; i < 43; ++i) {
        wide += "\u00fc";
    }
    EXPECT_NO_THROW(body({price(wide, "")}));
    EXPECT_EQ(fatalMessage([&] { body({price(wide, "x")}); }), fatal::EMPTY_RANGE);
}

TEST(SingleCharLine, RepeatsTheCharacterAcrossThePaper) {
    EXPECT_EQ(body({std::make_shared<VantoReceiptSingleCharLine>("=")})[0],
              concat({Bytes(44, 0x3D), bytes({0x0A})}));
    Bytes dashes;
    for (int i = 0; i < 44; ++i) {
        dashes.insert(dashes.end(), {static_cast<std::int8_t>(0xE2), static_cast<std::int8_t>(0x94),
                                     static_cast<std::int8_t>(0x80)});
    }
    dashes.push_back(0x0A);
    EXPECT_EQ(body({std::make_shared<VantoReceiptSingleCharLine>("\u2500")})[0], dashes);
    EXPECT_TRUE(body({std::make_shared<VantoReceiptSingleCharLine>("\0")}).empty());
    EXPECT_EQ(body({std::make_shared<VantoReceiptSingleCharLine>()})[0],
              concat({Bytes(44, '-'), bytes({0x0A})}));
}

TEST(FeedLine, ZeroSendsNothingOthersOneGroup) {
    EXPECT_TRUE(body({std::make_shared<VantoReceiptFeedLine>(0)}).empty());
    EXPECT_EQ(body({std::make_shared<VantoReceiptFeedLine>(3)}),
              std::vector<Bytes>{bytes({0x14, 0x03})});
    EXPECT_EQ(body({std::make_shared<VantoReceiptFeedLine>(-128)}),
              std::vector<Bytes>{bytes({0x14, 0x80})});
    EXPECT_EQ(fatalMessage([] { body({std::make_shared<VantoReceiptFeedLine>(128)}); }),
              fatal::NOT_ENOUGH_BITS);
}

TEST(Barcode, DefaultLineIsSixGroups) {
    auto line = std::make_shared<VantoReceiptBarcodeLine>();
    line->setData("123");
    EXPECT_EQ(body({line}),
              (std::vector<Bytes>{bytes({0x1B, 0x61, 0x31}), bytes({0x1D, 0x48, 0x02}),
                                  bytes({0x1D, 0x68, 0x36}), bytes({0x1D, 0x6B, 0x00}),
                                  bytes({0x31, 0x32, 0x33}), bytes({0x00})}));
}

TEST(Barcode, TypeSelectorsAndUnknownType) {
    auto selector = [](std::int64_t type) {
        return body({std::make_shared<VantoReceiptBarcodeLine>(type, "1")});
    };
    EXPECT_EQ(selector(1)[3], bytes({0x1D, 0x6B, 0x04}));
    EXPECT_EQ(selector(2)[3], bytes({0x1D, 0x6B, 0x0A}));
    auto unknown = selector(7);
    ASSERT_EQ(unknown.size(), 5u);
    EXPECT_EQ(unknown[3], bytes({0x31}));
    EXPECT_EQ(unknown[4], bytes({0x00}));
    EXPECT_TRUE(body({std::make_shared<VantoReceiptBarcodeLine>(0, "")}).empty());
}

TEST(Barcode, HeightAndHriLimits) {
    auto heightByte = [](double height) {
        auto line = std::make_shared<VantoReceiptBarcodeLine>(0, "1");
        line->setHeight(height);
        return body({line})[2][2];
    };
    EXPECT_EQ(heightByte(0.5), 0x4D);
    EXPECT_EQ(heightByte(127.0 / 154.0), 127);
    EXPECT_EQ(heightByte(-0.9 / 154.0), 0);  // truncation toward zero
    EXPECT_EQ(fatalMessage([&] { heightByte(1.0); }), fatal::NOT_ENOUGH_BITS);
    EXPECT_EQ(fatalMessage([&] { heightByte(std::nan("")); }), fatal::DOUBLE_NOT_FINITE);
    EXPECT_EQ(fatalMessage([&] { heightByte(1e300); }), fatal::DOUBLE_TOO_LARGE);
    EXPECT_EQ(fatalMessage([&] { heightByte(-std::numeric_limits<double>::infinity()); }),
              fatal::DOUBLE_NOT_FINITE);
    EXPECT_EQ(fatalMessage([&] { heightByte(-1e300); }), fatal::DOUBLE_TOO_SMALL);

    auto line = std::make_shared<VantoReceiptBarcodeLine>(0, "1");
    line->setHri(-128);
    EXPECT_EQ(body({line})[1], bytes({0x1D, 0x48, 0x80}));
    line->setHri(128);
    EXPECT_EQ(fatalMessage([&] { body({line}); }), fatal::NOT_ENOUGH_BITS);
}

TEST(LineDispatch, ImageBufferLinesLeaveNoTrace) {
    auto line = std::make_shared<VantoReceiptTextLine>("x", 0, 0, 0);
    line->lineType = VantoReceiptLineType::IMAGE_BUFFER;
    EXPECT_TRUE(body({line}).empty());
}

TEST(LineDispatch, ClassMustMatchType) {
    EXPECT_EQ(fatalMessage([] { body({std::make_shared<VantoReceiptLine>()}); }),
              "Could not cast value of type 'vantoconnect.VantoReceiptLine' to "
              "'vantoconnect.VantoReceiptTextLine'.");
    auto feed = std::make_shared<VantoReceiptFeedLine>(1);
    feed->lineType = VantoReceiptLineType::BARCODE;
    EXPECT_EQ(fatalMessage([&] { body({feed}); }),
              "Could not cast value of type 'vantoconnect.VantoReceiptFeedLine' to "
              "'vantoconnect.VantoReceiptBarcodeLine'.");
    auto image = std::make_shared<VantoReceiptTextLine>();
    image->lineType = VantoReceiptLineType::IMAGE;
    EXPECT_NE(fatalMessage([&] { body({image}); }).find("VantoReceiptImageLine"),
              std::string::npos);
}

TEST(LineDispatch, SharedLineAddedTwicePrintsTwiceAndLaterChangesCount) {
    VantoReceipt receipt;
    auto line = std::make_shared<VantoReceiptFeedLine>(1);
    receipt.addLine(line);
    receipt.addLine(line);
    line->setLines(2);
    auto groups = ReceiptComposer().compose(receipt);
    ASSERT_EQ(groups.size(), 5u);
    EXPECT_EQ(groups[1], bytes({0x14, 0x02}));
    EXPECT_EQ(groups[2], bytes({0x14, 0x02}));
}

}  // namespace
}  // namespace vantoconnect
