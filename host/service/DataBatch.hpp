#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace vexa::host {

/// The payload of a published message as a JSON text, made once and shared by all who are sent it.
struct PayloadText {
    std::string text;
    bool isTerminating = false; ///< whether the message ends its topic
};

/// One entry of a data message.
struct DataEntry {
    std::shared_ptr<const PayloadText> payload; ///< never null
    bool isReplayed = false;
};

/// A data message of one subscription, in the parts from which its JSON text is put together.
struct DataBatch {
    double sentAt = 0;                                 ///< seconds since 1970
    std::shared_ptr<const std::string> subscriptionId; ///< as a JSON text, with its quotation marks; never null
    std::vector<DataEntry> entries;
};

} // namespace vexa::host
