#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/protocols/VexaFeed.hpp>
#include <VexaClient/subscription_client/TopicIdentity.hpp>

#include <boost/container/small_vector.hpp>

namespace vexa {

/// One message on its way to a feed, with what VexaFeed::messageFeed() is told of it.
struct FedMessage {
    TopicIdentity::Pointer topic; ///< for its subscription hash
    Message message;
    bool isTerminating;
};

/// The messages that came together, in their order. One that came alone needs no further allocation.
using FedBatch = boost::container::small_vector<FedMessage, 1>;

/// A feed that takes messages together which came together. It only passes them on and never runs code that may block,
/// so its client makes no room for a long stay.
class BatchFeed : public VexaFeed {
public:
    /// Does for each message in turn what messageFeed() does. Runs as messageFeed() does.
    virtual void batchFeed(FedBatch batch) = 0;
};

} // namespace vexa
