#include <VexaClient/platform/Text.hpp>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace vexa {
namespace {

double fromBits(std::uint64_t bits)
{
    double number = 0.0;
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

bool isPlain(const std::string& text)
{
    const std::size_t start = text.starts_with('-') ? 1 : 0;
    const std::size_t point = text.find('.');
    return point != std::string::npos && point > start && point + 1 < text.size() &&
           text.find_first_not_of("0123456789", start) == point &&
           text.find_first_not_of("0123456789", point + 1) == std::string::npos;
}

TEST(PlainDecimal, writesNumbersAsPeopleDo)
{
    const std::vector<std::pair<double, std::string>> numbers{
        {0.0, "0.0"},
        {-0.0, "-0.0"},
        {1.0, "1.0"},
        {-1.0, "-1.0"},
        {0.1, "0.1"},
        {0.25, "0.25"},
        {1.5, "1.5"},
        {100.0, "100.0"},
        {1e6, "1000000.0"},
        {1700000000.0, "1700000000.0"},
        {1700000000.25, "1700000000.25"},
        {-1700000000.25, "-1700000000.25"},
        {9007199254740992.0, "9007199254740992.0"},
        {1e22, "10000000000000000000000.0"},
        {1e-7, "0.0000001"},
        {1.0 / 3.0, "0.3333333333333333"},
    };
    for (const auto& [number, text] : numbers) {
        EXPECT_EQ(plainDecimal(number), text);
    }
}

TEST(PlainDecimal, writesTheSmallestNumberInFull)
{
    EXPECT_EQ(plainDecimal(5e-324), "0." + std::string(323, '0') + "5");
}

TEST(PlainDecimal, writesTheLargestNumberInFull)
{
    const std::string text = plainDecimal(std::numeric_limits<double>::max());
    EXPECT_EQ(text.size(), 311U);
    EXPECT_TRUE(text.starts_with("17976931348623157"));
    EXPECT_TRUE(isPlain(text));
    EXPECT_EQ(std::strtod(text.c_str(), nullptr), std::numeric_limits<double>::max());
}

TEST(PlainDecimal, writesTheLongestNumbersInFull)
{
    for (const double number : {std::numeric_limits<double>::min(), -std::numeric_limits<double>::min(),
                                fromBits(0x000FFFFFFFFFFFFFU), fromBits(0x800FFFFFFFFFFFFFU)}) {
        const std::string text = plainDecimal(number);
        EXPECT_TRUE(isPlain(text)) << text;
        EXPECT_EQ(std::strtod(text.c_str(), nullptr), number);
    }
}

TEST(PlainDecimal, namesWhatHasNoNotation)
{
    EXPECT_EQ(plainDecimal(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(plainDecimal(-std::numeric_limits<double>::infinity()), "-inf");
    EXPECT_EQ(plainDecimal(std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(plainDecimal(std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0)), "nan");
}

RC_GTEST_PROP(PlainDecimal, readsBackToTheSameNumber, (std::uint64_t bits))
{
    const double number = fromBits(bits);
    RC_PRE(std::isfinite(number));
    const std::string text = plainDecimal(number);
    RC_ASSERT(isPlain(text));
    RC_ASSERT(std::strtod(text.c_str(), nullptr) == number);
    RC_ASSERT(text.starts_with('-') == std::signbit(number));
}

RC_GTEST_PROP(PlainDecimal, writesWholeNumbersWithOneDigitAfterThePoint, (std::int32_t number))
{
    RC_ASSERT(plainDecimal(static_cast<double>(number)) == std::to_string(number) + ".0");
}

TEST(Decimal, writesEveryInteger)
{
    EXPECT_EQ(decimal(0), "0");
    EXPECT_EQ(decimal(-17), "-17");
    EXPECT_EQ(decimal(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
    EXPECT_EQ(decimal(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
}

TEST(Joined, putsThePartsOneAfterTheOther)
{
    EXPECT_EQ(joined({}), "");
    EXPECT_EQ(joined({"one"}), "one");
    EXPECT_EQ(joined({"one", "", " two", std::string_view{"\0!", 2}}), std::string("one two\0!", 9));
}

TEST(OptionalDisplay, showsThatAValueIsThere)
{
    EXPECT_EQ(optionalDisplay("1"), "Optional(1)");
    EXPECT_EQ(optionalDisplay(""), "Optional()");
}

TEST(IsUtf8, acceptsEveryLengthOfSequence)
{
    for (const std::string text :
         {"", "scores", "\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xef\xbf\xbf",
          "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf", "a\xc3\xbc\xe5\x8c\x97\xf0\x9f\x8e\xb2z"}) {
        EXPECT_TRUE(isUtf8(text)) << text;
    }
    EXPECT_TRUE(isUtf8(std::string_view{"\0", 1}));
}

TEST(IsUtf8, refusesWhatIsNotWellFormed)
{
    for (const std::string text : {
             "\x80",
             "\xbf",
             "\xff",
             "\xfe", // no first byte
             "\xc0\x80",
             "\xc1\xbf",
             "\xe0\x9f\xbf",     // longer than need be
             "\xf0\x8f\xbf\xbf", // longer than need be
             "\xed\xa0\x80",
             "\xed\xbf\xbf", // surrogates
             "\xf4\x90\x80\x80",
             "\xf5\x80\x80\x80", // beyond U+10FFFF
             "\xc2",
             "\xe0\xa0",
             "\xf0\x90\x80", // cut short
             "\xc2z",
             "\xe0\xa0z",
             "\xf0\x90\x80z",
             "\xe0z\x80", // interrupted
             "\xc2\xc2\x80",
             "good\xc3\xbc\x80",
         }) {
        EXPECT_FALSE(isUtf8(text)) << text;
    }
}

TEST(EscapeControlCharacters, leavesOtherTextAsItIs)
{
    for (const std::string text : {"", "scores", "50 % of %s %n", R"(back\slash "quoted")", "Zürich 北京 🎲", "~ "}) {
        EXPECT_EQ(escapeControlCharacters(text), text);
    }
}

TEST(EscapeControlCharacters, escapesEveryControlCharacterOfASCII)
{
    EXPECT_EQ(escapeControlCharacters("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(escapeControlCharacters(std::string_view{"\0\x01\x1b[2J\x1f\x7f", 8}),
              "\\u0000\\u0001\\u001b[2J\\u001f\\u007f");
    for (int code = 0; code < 0x20; ++code) {
        const std::string text = escapeControlCharacters(std::string(1, static_cast<char>(code)));
        EXPECT_TRUE(text.starts_with('\\')) << code;
        EXPECT_EQ(text.find_first_of(std::string_view{"\0\n\r\t\x1b", 5}), std::string::npos) << code;
    }
}

TEST(EscapeControlCharacters, escapesTheSecondBlockOfControlCharacters)
{
    EXPECT_EQ(escapeControlCharacters("\xc2\x80|\xc2\x85|\xc2\x9b|\xc2\x9f"), "\\u0080|\\u0085|\\u009b|\\u009f");
    EXPECT_EQ(escapeControlCharacters("\xc2\xa0|\xc3\x85|\xe2\x82\x9b"), "\xc2\xa0|\xc3\x85|\xe2\x82\x9b");
}

TEST(EscapeControlCharacters, leavesBytesThatAreNoUTF8)
{
    EXPECT_EQ(escapeControlCharacters("\xff\xc2"), "\xff\xc2");
    EXPECT_EQ(escapeControlCharacters("\x85\xc2z"), "\x85\xc2z");
    EXPECT_EQ(escapeControlCharacters("\xc2\xc2\x85"), "\xc2\\u0085");
}

RC_GTEST_PROP(EscapeControlCharacters, leavesNoControlCharacter, (const std::string& text))
{
    const std::string escaped = escapeControlCharacters(text);
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        const auto byte = static_cast<unsigned char>(escaped[i]);
        RC_ASSERT(byte >= 0x20 && byte != 0x7F);
        if (byte == 0xC2 && i + 1 < escaped.size()) {
            const auto following = static_cast<unsigned char>(escaped[i + 1]);
            RC_ASSERT(following < 0x80 || following > 0x9F);
        }
    }
}

} // namespace
} // namespace vexa
