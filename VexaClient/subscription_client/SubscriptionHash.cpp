#include <VexaClient/subscription_client/Md5.hpp>
#include <VexaClient/subscription_client/SubscriptionHash.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <vector>

namespace vexa {

namespace {

std::string_view view(const boost::json::string& text) noexcept
{
    return {text.data(), text.size()};
}

std::string_view view(boost::json::string_view text) noexcept
{
    return {text.data(), text.size()};
}

/// A dictionary's entries in ascending key order, by code point, which for UTF-8 is byte order.
std::vector<const boost::json::key_value_pair*> sortedEntries(const Dictionary& dictionary)
{
    std::vector<const boost::json::key_value_pair*> entries;
    entries.reserve(dictionary.size());
    for (const auto& entry : dictionary) {
        entries.push_back(&entry);
    }
    std::ranges::sort(entries, [](const auto* a, const auto* b) { return view(a->key()) < view(b->key()); });
    return entries;
}

/// Renders a value into one buffer, each node once, and feeds slices of that buffer to whoever wants them.
template <class Feed>
class DisplayWriter {
public:
    explicit DisplayWriter(Feed feed) : feed_{feed} {}

    /// Renders `value` as part of a container, and feeds what the value is fed as.
    void write(const Value& value)
    {
        switch (value.kind()) {
        case boost::json::kind::object:
            writeDictionary(value.get_object());
            return;
        case boost::json::kind::array:
            writeList(value.get_array());
            return;
        case boost::json::kind::string:
            feed_(view(value.get_string()));
            writeQuoted(view(value.get_string()));
            return;
        default:
            const std::size_t start = buffer_.size();
            writeScalar(value);
            feedFrom(start);
        }
    }

    /// Renders the dictionary {key: value} and feeds it.
    void writeEntryAlone(std::string_view key, const Value& value)
    {
        buffer_ += '{';
        writeEntry(key, value);
        buffer_ += '}';
        feedFrom(0);
    }

private:
    void feedFrom(std::size_t start) { feed_(std::string_view{buffer_}.substr(start)); }

    void writeDictionary(const Dictionary& dictionary)
    {
        const std::size_t start = buffer_.size();
        buffer_ += '{';
        for (const auto* entry : sortedEntries(dictionary)) {
            if (buffer_.size() != start + 1) {
                buffer_ += ',';
            }
            writeEntry(view(entry->key()), entry->value());
        }
        buffer_ += '}';
        feedFrom(start);
    }

    void writeEntry(std::string_view key, const Value& value)
    {
        feed_(key);
        writeQuoted(key);
        buffer_ += ':';
        write(value);
    }

    void writeList(const List& list)
    {
        const std::size_t start = buffer_.size();
        buffer_ += '[';
        for (const Value& element : list) {
            if (buffer_.size() != start + 1) {
                buffer_ += ',';
            }
            write(element);
        }
        buffer_ += ']';
        feedFrom(start);
    }

    void writeQuoted(std::string_view text)
    {
        buffer_ += '"';
        for (const char character : text) {
            if (character == '"' || character == '\\') {
                buffer_ += '\\';
            }
            buffer_ += character;
        }
        buffer_ += '"';
    }

    void writeScalar(const Value& value)
    {
        switch (value.kind()) {
        case boost::json::kind::bool_:
            buffer_ += value.get_bool() ? "true" : "false";
            return;
        case boost::json::kind::int64:
            writeNumber(value.get_int64());
            return;
        case boost::json::kind::uint64:
            writeNumber(value.get_uint64());
            return;
        case boost::json::kind::double_:
            writeDouble(value.get_double());
            return;
        default:
            buffer_ += "null";
        }
    }

    /// A whole number within the range of the integers is written as the integer that equals it.
    void writeDouble(double number)
    {
        constexpr double lowestSigned = -0x1.0p63;
        constexpr double beyondUnsigned = 0x1.0p64;
        const bool whole = std::trunc(number) == number;
        if (whole && number >= 0.0 && number < beyondUnsigned) {
            writeNumber(static_cast<std::uint64_t>(number));
        } else if (whole && number >= lowestSigned && number < 0.0) {
            writeNumber(static_cast<std::int64_t>(number));
        } else {
            writeNumber(number);
        }
    }

    template <class Number>
    void writeNumber(Number number)
    {
        std::array<char, 32> text{};
        const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
        buffer_.append(text.data(), result.ptr);
    }

    Feed feed_;
    std::string buffer_;
};

} // namespace

std::string subscriptionHash(std::string_view name, const Parameters& params)
{
    const Value none(boost::json::string_kind);
    Md5 digest;
    DisplayWriter writer{[&digest](std::string_view bytes) { digest.update(bytes); }};
    writer.writeEntryAlone(name, params ? *params : none);
    return digest.finishBase64();
}

} // namespace vexa
