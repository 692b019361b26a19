#include <host/tool/demo/TopicBoard.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <boost/json/serialize.hpp>

#include <algorithm>

namespace vexa::host {

namespace {

/// How many messages share one mark of a spark line, and how many marks are kept.
constexpr std::uint64_t messagesPerStretch = 5;
constexpr std::size_t keptStretches = 64;

/// Over how many seconds a rate is measured.
constexpr double rateWindow = 2.0;

std::string textOf(const Value& value)
{
    const auto* text = value.if_string();
    return text != nullptr ? std::string{text->data(), text->size()} : boost::json::serialize(value);
}

std::string textOf(const Parameters& parameters)
{
    if (!parameters || !parameters->is_object()) {
        return parameters ? textOf(*parameters) : std::string{};
    }
    std::string text;
    for (const auto& entry : parameters->get_object()) {
        text += text.empty() ? "" : ", ";
        text.append(entry.key().data(), entry.key().size()).append(" ").append(textOf(entry.value()));
    }
    return text;
}

} // namespace

std::size_t TopicBoard::addTopic(const Figure& figure)
{
    Topic topic;
    topic.figure = figure;
    topic.parameters = textOf(figure.parameters);
    topics_.push_back(std::move(topic));
    return topics_.size() - 1;
}

std::optional<std::size_t> TopicBoard::indexOf(const Figure& figure) const
{
    const auto found = std::find_if(topics_.begin(), topics_.end(), [&figure](const Topic& each) {
        return each.figure.topic == figure.topic && each.figure.parameters == figure.parameters;
    });
    return found != topics_.end() ? std::optional{static_cast<std::size_t>(found - topics_.begin())} : std::nullopt;
}

std::size_t TopicBoard::addStream(std::size_t topic)
{
    const std::size_t stream = streams_.size();
    streams_.push_back({topic, {}, 0, false, false, false});
    if (!topics_[topic].firstStream) {
        topics_[topic].firstStream = stream;
    }
    return stream;
}

std::uint64_t TopicBoard::publishNext(std::size_t topic)
{
    return ++topics_[topic].published;
}

void TopicBoard::received(std::size_t stream, const TopicElement& element, double now)
{
    Stream& follower = streams_[stream];
    Topic& topic = topics_[follower.topic];
    const Dictionary* payload = dictionaryAt(*element.message, "payload");
    const double number = payload != nullptr ? doubleAt(*payload, sequenceKey).value_or(0) : 0;
    const auto sequence = number > 0 ? static_cast<std::uint64_t>(number) : 0;
    follower.account.arrived(sequence);
    follower.replayed += boolAt(*element.message, "replayed").value_or(false) ? 1U : 0U;
    follower.wasTerminated = element.isTerminating;
    const auto value = payload != nullptr ? doubleAt(*payload, "value") : std::nullopt;
    if (value && topic.firstStream == stream) {
        noteValue(topic, sequence, *value, now);
    }
}

void TopicBoard::ended(std::size_t stream, bool wasCancelled)
{
    streams_[stream].hasEnded = true;
    streams_[stream].wasCancelled = wasCancelled;
}

bool TopicBoard::allEnded() const
{
    return std::all_of(streams_.begin(), streams_.end(), [](const Stream& each) { return each.hasEnded; });
}

StreamEnds TopicBoard::ends() const
{
    StreamEnds ends;
    for (const Stream& stream : streams_) {
        if (stream.hasEnded && stream.wasTerminated) {
            ++ends.byService;
        } else if (stream.hasEnded && stream.wasCancelled) {
            ++ends.byConsumer;
        } else {
            ++ends.badly;
        }
    }
    return ends;
}

bool TopicBoard::wasTerminated(std::size_t topic) const
{
    return topics_[topic].firstStream && std::all_of(streams_.begin(), streams_.end(), [topic](const Stream& each) {
               return each.topic != topic || (each.hasEnded && each.wasTerminated);
           });
}

bool TopicBoard::hasCaughtUp() const
{
    return std::all_of(streams_.begin(), streams_.end(),
                       [this](const Stream& each) { return each.account.missing(topics_[each.topic].marked) == 0; });
}

void TopicBoard::mark()
{
    for (Topic& topic : topics_) {
        topic.marked = topic.published;
    }
}

std::vector<TopicRow> TopicBoard::rows(double now) const
{
    std::vector<TopicRow> rows;
    rows.reserve(topics_.size());
    for (const Topic& topic : topics_) {
        const auto arrivals = std::count_if(topic.arrivals.begin(), topic.arrivals.end(),
                                            [now](double at) { return at > now - rateWindow; });
        rows.push_back({topic.figure.topic,
                        topic.parameters,
                        topic.figure.unit,
                        topic.value,
                        {topic.recent.begin(), topic.recent.end()},
                        static_cast<double>(arrivals) / std::clamp(now - topic.firstArrival, 1.0, rateWindow),
                        0,
                        topic.published,
                        0,
                        0,
                        false});
    }
    for (const Stream& stream : streams_) {
        TopicRow& row = rows[stream.topic];
        ++row.streams;
        row.delivered += stream.account.count();
        row.replayed += stream.replayed;
        row.hasEnded = row.hasEnded || stream.wasTerminated;
    }
    return rows;
}

StreamTotals TopicBoard::totals() const
{
    StreamTotals totals;
    totals.streams = streams_.size();
    for (const Topic& topic : topics_) {
        totals.published += topic.published;
    }
    for (const Stream& stream : streams_) {
        totals.delivered += stream.account.count();
        totals.replayed += stream.replayed;
        totals.missing += stream.account.missing(topics_[stream.topic].published);
        totals.duplicated += stream.account.duplicated();
        totals.outOfOrder += stream.account.outOfOrder();
    }
    return totals;
}

void TopicBoard::noteValue(Topic& topic, std::uint64_t number, double value, double now)
{
    const std::uint64_t stretch = number / messagesPerStretch;
    if (topic.recent.empty() || stretch != topic.recentStretch) {
        topic.recent.push_back(value);
        topic.recentStretch = stretch;
    } else {
        topic.recent.back() = std::max(topic.recent.back(), value);
    }
    if (topic.recent.size() > keptStretches) {
        topic.recent.pop_front();
    }
    if (!topic.value) {
        topic.firstArrival = now;
    }
    topic.arrivals.push_back(now);
    while (topic.arrivals.front() <= now - rateWindow) {
        topic.arrivals.pop_front();
    }
    topic.value = value;
}

} // namespace vexa::host
