#include <testing/ScriptedService.hpp>

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vexa::testing {

namespace {

std::string listed(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "\"" : ", \"") + name + "\"";
    }
    return text;
}

} // namespace

ReceivedSubscribe::ReceivedSubscribe(ScriptedService& service, Dictionary message)
    : service_{service}, message_{std::move(message)}, operationId_{operationIdOf(message_)}
{}

void ReceivedSubscribe::replyWithoutOperationId(const std::vector<Dictionary>& entries)
{
    Dictionary answer = subscriptionResponse(operationId_, entries);
    answer.erase("operationId");
    replyWith(std::move(answer));
}

void ReceivedSubscribe::replyWithoutTopics()
{
    Dictionary answer = subscriptionResponse(operationId_, {});
    answer.erase("topics");
    replyWith(std::move(answer));
}

void ReceivedSubscribe::replyWith(Dictionary answer)
{
    service_.answered_.insert(operationId_);
    service_.deliver(std::move(answer));
}

ReceivedSubscribe ScriptedService::expectSubscribe(std::string_view topicName)
{
    return expect("\"" + std::string{topicName} + "\"", [topicName](const std::vector<std::string>& names) {
        return std::ranges::find(names, topicName) != names.end();
    });
}

ReceivedSubscribe ScriptedService::expectSubscribe(std::vector<std::string> topicNames)
{
    const std::string wanted = "exactly [" + listed(topicNames) + "]";
    std::ranges::sort(topicNames);
    return expect(wanted, [&topicNames](std::vector<std::string> names) {
        std::ranges::sort(names);
        return names == topicNames;
    });
}

template <class Predicate>
ReceivedSubscribe ScriptedService::expect(const std::string& wanted, Predicate&& isWanted)
{
    platform_.runUntilIdle();
    std::vector<Dictionary> sent = transport_.sent();
    seen_ = sent.size();
    const auto found = std::ranges::find_if(sent.rbegin(), sent.rend(), [&](const Dictionary& message) {
        return isSubscribeRequest(message) && !answered_.contains(operationIdOf(message)) &&
               isWanted(topicNamesOf(message));
    });
    if (found == sent.rend()) {
        fail("no subscribe request without a reply for " + wanted + "; sent so far:" + describeSent(0));
    }
    return ReceivedSubscribe{*this, std::move(*found)};
}

void ScriptedService::expectNothingSent()
{
    platform_.runUntilIdle();
    const std::size_t first = std::exchange(seen_, transport_.sent().size());
    if (first != seen_) {
        fail("nothing was to be sent, but there came:" + describeSent(first));
    }
}

Message ScriptedService::data(const std::vector<Dictionary>& entries, std::optional<double> sentAt)
{
    return deliver(dataMessage(entries, sentAt));
}

Message ScriptedService::terminate(std::string_view subscriptionId)
{
    return data({terminatingEntry(subscriptionId)});
}

void ScriptedService::open()
{
    platform_.runUntilIdle();
    transport_.open = true;
    transport_.notifyOpened();
    platform_.runUntilIdle();
}

void ScriptedService::close()
{
    platform_.runUntilIdle();
    transport_.open = false;
    transport_.notifyClosed();
    platform_.runUntilIdle();
}

Message ScriptedService::deliver(Dictionary message)
{
    platform_.runUntilIdle();
    Message delivered = transport_.deliver(std::move(message));
    platform_.runUntilIdle();
    return delivered;
}

std::string ScriptedService::describeSent(std::size_t first) const
{
    const std::vector<Dictionary> sent = transport_.sent();
    std::string text;
    for (std::size_t i = first; i < sent.size(); ++i) {
        text += "\n  " + boost::json::serialize(sent[i]);
        if (isSubscribeRequest(sent[i]) && answered_.contains(operationIdOf(sent[i]))) {
            text += " (replied to)";
        }
    }
    return text.empty() ? " nothing" : text;
}

void ScriptedService::fail(const std::string& complaint) const
{
    throw std::logic_error{complaint + "\nrepeat with " + replayHint(platform_.seed())};
}

} // namespace vexa::testing
