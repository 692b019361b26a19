#include "HttpConnection.hpp"
#include "ServerUnderTest.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace vexa::host {
namespace {

/// A token file that is removed with the object.
class TokenFile {
public:
    explicit TokenFile(const std::string& text) { write(text); }
    ~TokenFile()
    {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    TokenFile(const TokenFile&) = delete;
    TokenFile& operator=(const TokenFile&) = delete;

    void write(const std::string& text) const { std::ofstream{path_} << text; }
    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_ = std::filesystem::temp_directory_path() / ("vexa-tokens-" + std::to_string(::getpid()) + ".txt");
};

VexaServerOptions guarded(const TokenFile& file)
{
    VexaServerOptions options = loopback();
    options.tokenFile = file.path();
    return options;
}

TEST(Tokens, OpenEverythingButHealth)
{
    const TokenFile file{"secret\nother\n"};
    ServerUnderTest under{guarded(file)};
    HttpConnection http{under.port()};
    EXPECT_EQ(http.get("/healthz").result_int(), 200U);
    for (const std::string target : {"/metrics", "/records", "/topics", "/nowhere", "/"}) {
        const auto response = http.get(target);
        EXPECT_EQ(response.result_int(), 401U) << target;
        EXPECT_EQ(response[boost::beast::http::field::www_authenticate], R"(Bearer realm="vexa")");
        EXPECT_EQ(http.get(target, "wrong").result_int(), 401U) << target;
    }
    EXPECT_EQ(http.get("/metrics", "secret").result_int(), 200U);
    EXPECT_EQ(http.get("/topics", "other").result_int(), 200U);
    EXPECT_EQ(under.server.figures().unauthorized, 10U);
}

TEST(Tokens, OpenTheWebSocket)
{
    const TokenFile file{"secret\n"};
    ServerUnderTest under{guarded(file)};
    const auto statusFor = [&under](const std::string& token) {
        BasicTestClient<> client{under.port()};
        client.connect();
        const unsigned status = client.shakeHands(token);
        if (status == 101) {
            client.exchange();
        }
        return status;
    };
    EXPECT_EQ(statusFor(""), 401U);
    EXPECT_EQ(statusFor("Secret"), 401U);
    EXPECT_EQ(statusFor("secret"), 101U);
    EXPECT_EQ(under.server.figures().webSocketsOpened, 1U);
}

TEST(Tokens, AreReadAgain)
{
    const TokenFile file{"old\n"};
    ServerUnderTest under{guarded(file)};
    HttpConnection http{under.port()};
    EXPECT_EQ(http.get("/topics", "old").result_int(), 200U);

    file.write("new\n");
    EXPECT_EQ(http.get("/topics", "old").result_int(), 200U) << "not before it is asked for";
    under.server.reloadTokens();
    EXPECT_EQ(http.get("/topics", "old").result_int(), 401U);
    EXPECT_EQ(http.get("/topics", "new").result_int(), 200U);
}

TEST(Tokens, StayWhenTheFileCannotBeUsed)
{
    const TokenFile file{"old\n"};
    ServerUnderTest under{guarded(file)};
    file.write("# nothing\n");
    EXPECT_THROW(under.server.reloadTokens(), std::invalid_argument);
    HttpConnection http{under.port()};
    EXPECT_EQ(http.get("/topics", "old").result_int(), 200U);
}

TEST(Tokens, AServerDoesNotStartWithoutThoseItShallAskFor)
{
    const TokenFile file{"two words\n"};
    EXPECT_THROW(ServerUnderTest{guarded(file)}, std::invalid_argument);
}

} // namespace
} // namespace vexa::host
