#pragma once

#include <VexaClient/platform/Json.hpp>

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parser.hpp>

#include <array>
#include <cstddef>
#include <string_view>

namespace vexa::bench {

/// Reads JSON texts as cheaply as Boost.JSON can: one after the other into the same memory, which is never freed value
/// by value. For one thread at a time.
class JsonReader {
public:
    JsonReader()
        : memory_{values_.data(), values_.size()},
          parser_{boost::json::storage_ptr(), boost::json::parse_options(), scratch_.data(), scratch_.size()}
    {}
    JsonReader(const JsonReader&) = delete;
    JsonReader& operator=(const JsonReader&) = delete;

    /// Hands the value of a text to `use`, and forgets it. Throws when the text is not JSON.
    template <class Use>
    void read(std::string_view text, Use use)
    {
        memory_.release();
        parser_.reset(boost::json::storage_ptr(&memory_));
        parser_.write(text.data(), text.size());
        use(parser_.release());
    }

    template <class Use>
    void read(const char* text, std::size_t size, Use use)
    {
        read({text, size}, use);
    }

private:
    static constexpr std::size_t valueBytes = std::size_t{64} * 1024;
    static constexpr std::size_t scratchBytes = std::size_t{16} * 1024;

    std::array<unsigned char, valueBytes> values_;
    std::array<unsigned char, scratchBytes> scratch_;
    boost::json::monotonic_resource memory_;
    boost::json::parser parser_;
};

} // namespace vexa::bench
