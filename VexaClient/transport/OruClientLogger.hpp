#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <string_view>

namespace vexa {

/// The transport's logger. Any thread may call it, several at the same time.
class OruClientLogger {
public:
    virtual ~OruClientLogger() = default;

    /// A line for the transport's console log.
    virtual void consoleLog(std::string_view line) = 0;

    /// One diagnostic record for the service.
    ///
    /// \param category  what the record is about; the library's is "vexa".
    /// \param blob      the record itself.
    /// \param severity  its weight; the library's is 0.
    virtual void serverLog(std::string_view category, Dictionary blob, std::int64_t severity) = 0;
};

} // namespace vexa
