#pragma once

#include <VexaClient/platform/SystemPlatform.hpp>

#include <cstdio>
#include <string_view>

namespace vexa::bench {

/// Sends a platform's log lines to a temporary file, as a host that keeps its log would, for as long as it lives.
class LogFile {
public:
    explicit LogFile(SystemPlatform& platform) : platform_{platform}, file_{std::tmpfile()}
    {
        platform_.setLogSink([file = file_](std::string_view line) {
            std::fwrite(line.data(), 1, line.size(), file);
            std::fputc('\n', file);
        });
    }

    ~LogFile()
    {
        platform_.setLogSink({});
        std::fclose(file_);
    }

    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

private:
    SystemPlatform& platform_;
    std::FILE* file_;
};

} // namespace vexa::bench
