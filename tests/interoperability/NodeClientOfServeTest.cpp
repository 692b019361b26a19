#include "NodeClient.hpp"

#include <gtest/gtest.h>
#include <tests/server/Certificates.hpp>
#include <tests/tool/RunningService.hpp>

#include <csignal>
#include <fstream>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

TEST(NodeClientOfServe, ExchangesMessagesWithTheToolOverPlainAndTls)
{
    const Certificates certificates;
    const std::string tokens = certificates.file("tokens");
    std::ofstream{tokens} << "secret\n";
    const std::vector<std::string> tls{"--tls-certificate", certificates.file("server.pem"),
                                       "--tls-key",         certificates.file("server.key"),
                                       "--token-file",      tokens};
    for (const auto& arguments : {std::vector<std::string>{}, tls}) {
        RunningService service{arguments};
        const std::vector<std::string> more{"--token", "secret", "--authority", certificates.file("authority.pem")};

        NodeClient follower{"follow", service.url(), more};
        EXPECT_EQ(follower.await("message").at("message").at("topics").at(0).at("success"), true);
        NodeClient publisher{"exchange", service.url(), more};
        EXPECT_EQ(publisher.await("closed").at("code"), 1000);
        for (int number = 1; number <= 4; ++number) {
            EXPECT_EQ(follower.await("entry").at("payload").at("number"), number);
        }

        service.process().signal(SIGTERM);
        EXPECT_EQ(follower.await("closed").at("code"), 1001);
        EXPECT_EQ(service.process().wait(), 0);
    }
}

} // namespace
} // namespace vexa::host
