#include <host/server/BearerTokens.hpp>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace vexa::host {
namespace {

std::string complaintAbout(const std::string& text)
{
    try {
        static_cast<void>(BearerTokens::read(text));
        return "none";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

TEST(BearerTokens, ReadsOneALine)
{
    const BearerTokens tokens = BearerTokens::read("# for the tests\n\nfirst\r\n  second-2._~+/=\t\n#third\nlast");
    EXPECT_EQ(tokens.count(), 3U);
    EXPECT_TRUE(tokens.allow("Bearer first"));
    EXPECT_TRUE(tokens.allow("Bearer second-2._~+/="));
    EXPECT_TRUE(tokens.allow("Bearer last"));
    EXPECT_FALSE(tokens.allow("Bearer #third"));
    EXPECT_FALSE(tokens.allow("Bearer third"));
}

TEST(BearerTokens, AllowsNothingElse)
{
    const BearerTokens tokens = BearerTokens::read("first\nsecond");
    for (const std::string authorization : {"", "Bearer", "Bearer ", "first", "Basic first", "Bearer firs",
                                            "Bearer firstt", "Bearer FIRST", "Bearer first second", "Bearerfirst"}) {
        EXPECT_FALSE(tokens.allow(authorization)) << authorization;
    }
}

TEST(BearerTokens, TakesTheSchemeInAnyCase)
{
    const BearerTokens tokens = BearerTokens::read("first");
    EXPECT_TRUE(tokens.allow("bearer first"));
    EXPECT_TRUE(tokens.allow("BEARER  first "));
}

TEST(BearerTokens, SaysWhatIsWrong)
{
    EXPECT_NE(complaintAbout("good\ntwo words\n").find("line 2"), std::string::npos);
    EXPECT_NE(complaintAbout("caf\xC3\xA9").find("line 1"), std::string::npos);
    EXPECT_NE(complaintAbout("# none\n\n").find("there is no token"), std::string::npos);
    EXPECT_NE(complaintAbout("").find("there is no token"), std::string::npos);
}

TEST(BearerTokens, NamesTheFileThatItCannotRead)
{
    try {
        static_cast<void>(BearerTokens::readFile("/nowhere/tokens"));
        ADD_FAILURE() << "a file that is not there has been read";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "cannot read the token file '/nowhere/tokens': No such file or directory");
    }
}

} // namespace
} // namespace vexa::host
