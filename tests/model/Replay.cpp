#include "tests/model/Replay.hpp"

#include "tests/model/ExpectedText.hpp"

namespace vexa::model {

void Replay::begin(const std::vector<Observation>& observations)
{
    observations_ = &observations;
    last_ = nullptr;
    next_ = 0;
}

const Observation& Replay::peek() const
{
    if (atEnd()) {
        differ("something more", "nothing");
    }
    return (*observations_)[next_];
}

const Observation& Replay::take(Happening what)
{
    if (atEnd()) {
        differ(nameOf(what), "nothing");
    }
    last_ = &(*observations_)[next_++];
    if (last_->what != what) {
        differ(nameOf(what));
    }
    return *last_;
}

bool Replay::takeLog(std::string_view text)
{
    const std::string line = "VEXA: " + withoutControlCharacters(text);
    if (!nextIs(Happening::logLine)) {
        differ("log line " + line, atEnd() ? std::string{"nothing"} : display(peek()));
    }
    if (take(Happening::logLine).text != line) {
        differ("log line " + line);
    }
    return line.size() != text.size() + 6;
}

const Observation& Replay::takeAfterOthers(Happening what)
{
    while (!nextIs(what)) {
        if (atEnd()) {
            differ(nameOf(what), "nothing");
        }
        unasked();
    }
    return take(what);
}

void Replay::differ(const std::string& expected) const
{
    differ(expected, last_ != nullptr ? display(*last_) : "nothing");
}

void Replay::differ(const std::string& expected, const std::string& observed) const
{
    throw Difference{expected, observed, next_ == 0 ? 0 : next_ - 1};
}

} // namespace vexa::model
