#pragma once

#include "tests/model/ClientModel.hpp"
#include "tests/model/HashBook.hpp"
#include "tests/model/HostCalls.hpp"
#include "tests/model/ManagerModel.hpp"
#include "tests/model/Observation.hpp"
#include "tests/model/Replay.hpp"
#include "tests/model/Rules.hpp"
#include "tests/model/StreamModel.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vexa::model {

/// What the library must do, told a second time and plainly: in one thread, without queues of its own, out of values.
///
/// The model is shown what happened, in order: what the host and its transport did to the library, when the library ran
/// an item of which queue, and what the library did to its host. From the first two it predicts the last, and throws a
/// Difference where the library did something else. In which order different queues ran is the library's to choose, and
/// the model follows it; within a queue it insists on the order in which the items came.
class Model {
public:
    /// The feed that is the manager.
    static constexpr std::int64_t managerFeed = 1;

    explicit Model(RuleCounts& count);

    /// Follows what happened next. Throws a Difference.
    void follow(const std::vector<Observation>& observations);

private:
    void followOne();

    // Items of the library's queues.
    void runItem();
    void runFeedTasks();
    void runListenerTasks();

    // Calls of the host.
    void hostHashes(const Observation& call);
    void hostCreates(const Observation& call);
    void hostAdds(const Observation& call);
    void hostAsksListeners(const Observation& call);
    void hostMakesStream(const Observation& call);
    void hostCancelsStream(const Observation& call);
    void hostReadsStream(const Observation& call);
    void hostEchoes();
    void hostReadsClient();
    void hostReadsManager();
    void requireQuiet(const Observation& seen);

    /// The client as the manager's call of it.
    std::string createForManager(const std::string& name, const Parameters& params, double updatedAt);

    /// Puts the messages at the front of the listener tasks that are for streams, and that nobody can see come in, into
    /// their streams.
    void deliverToStreams();
    void deliverToStream(const ListenerTask& task);
    void endStream(StreamModel& stream, Rule reason);

    Replay replay_;
    RuleCounts& count_;
    HostCalls host_;
    HashBook hashes_;
    ClientModel client_;
    ManagerModel manager_;
    std::map<std::int64_t, StreamModel> streams_;
};

} // namespace vexa::model
