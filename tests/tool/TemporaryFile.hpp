#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <unistd.h>

namespace vexa::host {

/// A file with a content, which goes with the object.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string_view content)
    {
        path_ = (std::filesystem::temp_directory_path() / "vexa-test-XXXXXX").string();
        const int file = ::mkstemp(path_.data());
        if (file < 0) {
            throw std::runtime_error{"a temporary file could not be made"};
        }
        ::close(file);
        std::ofstream{path_, std::ios::binary} << content;
    }
    ~TemporaryFile() { std::filesystem::remove(path_); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
};

} // namespace vexa::host
