#include "base/NumberCodec.h"

#include "base/Logger.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

TEST(NumberCodecTest, EncodeHexPrintsCharactersAsSignedValues) {
    const std::pair<std::string, std::string> rows[] = {
        {"OK", "4f4b"},
        {"", ""},
        {std::string("\0\x7f", 2), "007f"},
        {"\xe9", "ffffffe9"},
        {"a\x80z", "61ffffff807a"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.second);
        EXPECT_EQ(row.second, NumberCodec::encodeHex(row.first));
    }
}

TEST(NumberCodecTest, DecodeHexTakesWholePairsUpToLength) {
    struct Row {
        std::string hex;
        unsigned int length;
        std::string text;
    };
    const Row rows[] = {
        {"4f4b", 4, "OK"},
        {"4f4b", 3, "O"},
        {"4f4b", 0, ""},
        {"4f4b", 1, ""},
        // A length beyond the text stops at the text's end.
        {"4f4b", 100, "OK"},
        {"4F4B", 4, "OK"},
        {"4f4b5", 5, "OK"},
        {"00ff", 4, std::string("\0\xff", 2)},
        // A pair that does not scan repeats the byte before it; as the first pair it gives 0.
        {"41zz42", 6, "AAB"},
        {"zz41", 4, std::string("\0A", 2)},
        // "%2x" stops at the first non-digit, so a half-digit pair gives its one digit.
        {"4z", 2, "\x04"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.hex + " length " + std::to_string(row.length));
        EXPECT_EQ(row.text, NumberCodec::decodeHex(row.hex, row.length));
    }
}

TEST(NumberCodecTest, EncodeHexAndDecodeHexRoundTripEveryAsciiByte) {
    std::string all;
    for (int c = 0; c < 0x80; ++c) {
        all += static_cast<char>(c);
    }
    std::string hex = NumberCodec::encodeHex(all);
    ASSERT_EQ(2 * all.size(), hex.size());
    EXPECT_EQ(all, NumberCodec::decodeHex(hex, static_cast<unsigned int>(hex.size())));
}

TEST(NumberCodecTest, EncodeHexPrintsEveryByteAsASignedInt) {
    std::string all;
    std::string expected;
    for (int c = 0; c < 0x100; ++c) {
        all += static_cast<char>(c);
        char digits[16];
        std::snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned int>(static_cast<signed char>(c)));
        expected += digits;
    }
    EXPECT_EQ(expected, NumberCodec::encodeHex(all));
    EXPECT_EQ("7fffffff80ffffffff", NumberCodec::encodeHex("\x7f\x80\xff"));
}

TEST(NumberCodecTest, ToStringKnowsBasesSixteenAndTen) {
    EXPECT_EQ("ff", NumberCodec::toString(255, 16));
    EXPECT_EQ("255", NumberCodec::toString(255, 10));
    EXPECT_EQ("", NumberCodec::toString(255, 8));
    EXPECT_EQ("0", NumberCodec::toString(0, 16));
    EXPECT_EQ("ffffffff", NumberCodec::toString(0xffffffff, 16));
}

TEST(NumberCodecTest, ToUint32WithTrailingTextWritesValueSilently) {
    unsigned int value = 0;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(NumberCodec::toUINT32("12ab", 10, value));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ(12u, value);
}

TEST(NumberCodecTest, ToUint32WithoutNumberLogsItsFailureLineAsAnError) {
    Logger::getInstance().setLogLevel(Logger::LOG_ERROR);
    unsigned int value = 77;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(NumberCodec::toUINT32("zz", 16, value));
    EXPECT_EQ("RspUtil::toUINT32(), failure: zz\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(77u, value);
    Logger::getInstance().setLogLevel(Logger::LOG_WARNING);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(NumberCodec::toUINT32("zz", 16, value));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TEST(NumberCodecTest, ByteDecodersReadHostOrder) {
    unsigned char bytes[] = {0x44, 0x33, 0x22, 0x11};
    unsigned int word = 0x11223344;
    unsigned char hostOrder[4];
    std::memcpy(hostOrder, &word, sizeof(word));
    // The proxy assumes a little-endian host, like the target.
    ASSERT_EQ(0, std::memcmp(bytes, hostOrder, sizeof(bytes)));
    EXPECT_EQ(0x11223344u, NumberCodec::toUINT32(bytes));
    EXPECT_EQ(0x3344u, NumberCodec::toUINT16(bytes));
    EXPECT_EQ(0x44u, NumberCodec::toUINT8(bytes));
    EXPECT_EQ(0x22u, NumberCodec::toUINT8(bytes + 2));
}
