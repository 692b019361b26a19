#include "tests/model/HostCalls.hpp"

#include <boost/json/serialize.hpp>

namespace vexa::model {

void HostCalls::log(std::string_view text)
{
    if (replay_.takeLog(text)) {
        count_(Rule::controlCharactersEscaped);
    }
}

const Observation& HostCalls::call(Happening what)
{
    const Observation& made = replay_.take(what);
    if (made.source != transport) {
        replay_.differ("the call on the transport that the container holds, which is " + std::to_string(transport));
    }
    return made;
}

bool HostCalls::returns(std::string_view name, Rule threw)
{
    const Observation& end = replay_.takeAfterOthers(Happening::hostReturns);
    answer_ = end.number;
    if (end.outcome == Outcome::returned) {
        return true;
    }
    count_(threw);
    const std::string what =
        end.outcome == Outcome::threwError ? "threw: " + end.text : "threw something that is no std::exception";
    log(std::string{name} + " " + what);
    return false;
}

bool HostCalls::isOpen()
{
    call(Happening::isOpen);
    return returns("OruClient::isOpen", Rule::isOpenThrew) && answer_ != 0;
}

bool HostCalls::isVisible()
{
    call(Happening::isVisible);
    return returns("OruClient::isVisible", Rule::isVisibleThrew) && answer_ != 0;
}

std::optional<std::int64_t> HostCalls::addCategoryListener(std::string_view category)
{
    if (call(Happening::addCategoryListener).text != category) {
        replay_.differ("a listener for the category " + std::string{category});
    }
    if (!returns("OruClient::addCategoryListener", Rule::messageRegistrationThrew)) {
        return std::nullopt;
    }
    return answer_;
}

std::optional<std::int64_t> HostCalls::addConnectionListener()
{
    call(Happening::addConnectionListener);
    if (!returns("OruClient::addConnectionListener", Rule::connectionRegistrationThrew)) {
        return std::nullopt;
    }
    return answer_;
}

void HostCalls::send(const Dictionary& message)
{
    if (call(Happening::send).dictionary != message) {
        replay_.differ("send " + boost::json::serialize(message));
    }
    returns("OruClient::send", Rule::sendThrew);
}

std::int64_t HostCalls::logger()
{
    call(Happening::logger);
    const std::int64_t given = returns("OruClient::logger", Rule::loggerThrew) ? answer_ : 0;
    if (given == 0) {
        count_(Rule::loggerAbsent);
        log("OruClient gave no logger, what was meant for it is dropped");
    }
    return given;
}

void HostCalls::consoleLog(std::int64_t logger, std::string_view line)
{
    const Observation& made = replay_.take(Happening::consoleLog);
    if (made.source != logger || made.text != line) {
        replay_.differ("console line " + std::string{line} + " at " + std::to_string(logger));
    }
    returns("OruClientLogger::consoleLog", Rule::consoleLogThrew);
}

const Observation& HostCalls::serverLog()
{
    return replay_.take(Happening::serverLog);
}

void HostCalls::serverLogReturns()
{
    returns("OruClientLogger::serverLog", Rule::reportThrew);
}

void HostCalls::callbackReturns(std::string_view name, Rule threw)
{
    returns(name, threw);
}

} // namespace vexa::model
