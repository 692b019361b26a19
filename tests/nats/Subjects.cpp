#include <host/broker/nats/DeliveryInfo.hpp>
#include <host/broker/nats/TopicSubject.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace vexa::host {
namespace {

TEST(TopicSubject, holdsTheDigestOfTheCanonicalText)
{
    // printf '"scores"' | sha256sum
    EXPECT_EQ(topicSubject("VEXA", TopicKey{"scores"}),
              "VEXA.topics.9.9bee2ca6bd71fc9ad193ff7f2634735c695d27aa3dbf2cd8aef5c98a8390a375");
}

TEST(TopicSubject, hasNoCharacterOfMeaningInItsName)
{
    for (const char* const name : {"", " ", ".", "*", ">", "a.b", "\r\n", "ü"}) {
        const std::string subject = topicSubject("VEXA", TopicKey{name});
        EXPECT_EQ(std::count(subject.begin(), subject.end(), '.'), 3) << subject;
        EXPECT_EQ(subject.find_first_of(" *>\r\n"), std::string::npos) << subject;
    }
}

TEST(TopicSubject, isCoveredByThatOfItsGroup)
{
    const std::string subject = topicSubject("VEXA", TopicKey{"scores"});
    EXPECT_EQ(groupOfSubject(subject), 9U);
    EXPECT_EQ(subjectsOfGroup("VEXA", 9), "VEXA.topics.9.*");
    EXPECT_EQ(subjectsOfGroup("VEXA", 15), "VEXA.topics.f.*");
    EXPECT_EQ(subjectsOfStream("VEXA"), "VEXA.topics.*.*");
}

TEST(DeliveryInfo, isReadFromBothFormsOfTheReplySubject)
{
    const auto shortForm = DeliveryInfo::read("$JS.ACK.VEXA.name.1.22.3.1700000000000000000.4");
    ASSERT_TRUE(shortForm.has_value());
    EXPECT_EQ(shortForm->consumer, "name");
    EXPECT_EQ(shortForm->streamSequence, 22U);
    EXPECT_EQ(shortForm->consumerSequence, 3U);
    EXPECT_EQ(shortForm->behind, 4U);
    const auto longForm = DeliveryInfo::read("$JS.ACK.domain.account.VEXA.name.1.22.3.1700000000000000000.4.random");
    ASSERT_TRUE(longForm.has_value());
    EXPECT_EQ(longForm->consumer, "name");
    EXPECT_EQ(longForm->streamSequence, 22U);
    EXPECT_EQ(longForm->consumerSequence, 3U);
    EXPECT_EQ(longForm->behind, 4U);
}

TEST(DeliveryInfo, isNotReadFromAnythingElse)
{
    for (const char* const reply :
         {"", "$JS.ACK.", "$JS.FC.VEXA.name.x", "$JS.ACK.VEXA.name.1.22.3.1700000000000000000",
          "$JS.ACK.VEXA.name.1.22.x.1700000000000000000.4", "$JS.ACK.VEXA.name.1.-2.3.1700000000000000000.4"}) {
        EXPECT_FALSE(DeliveryInfo::read(reply).has_value()) << reply;
    }
}

} // namespace
} // namespace vexa::host
