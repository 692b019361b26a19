#pragma once

namespace vexa::host {

/// When what happens in a demonstration, in seconds after its start.
struct DemoPlan {
    double duration = 20;    ///< for how long messages are published
    double interval = 0.1;   ///< between two samples
    double echoAt = 0;       ///< an echo message is sent
    double lateStreamAt = 0; ///< a stream joins whose topic has been published all the time
    double cutAt = 0;        ///< the connection is cut
    double reopenAt = 0;     ///< it opens again
    double endTopicAt = 0;   ///< the service ends one topic
    double patience = 10;    ///< for how long, at most, what is under way is waited for after the end
};

/// The plan of a demonstration of `duration` seconds, 2 or more.
[[nodiscard]] DemoPlan planFor(double duration);

} // namespace vexa::host
