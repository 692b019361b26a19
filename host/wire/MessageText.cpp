#include <host/wire/MessageText.hpp>

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value_stack.hpp>
#include <boost/system/errc.hpp>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <system_error>
#include <utility>

namespace vexa::host {

namespace {

using boost::json::error_code;
using JsonText = boost::json::string_view;

/// Builds a value from the events of the parser; the names of the operations are the parser's.
// NOLINTBEGIN(readability-identifier-naming)
class ValueBuilder {
public:
    static constexpr std::size_t max_object_size = boost::json::object::max_size();
    static constexpr std::size_t max_array_size = boost::json::array::max_size();
    static constexpr std::size_t max_key_size = boost::json::string::max_size();
    static constexpr std::size_t max_string_size = boost::json::string::max_size();

    /// Begins a new value, whose parts live in memory of `storage`.
    void begin(boost::json::storage_ptr storage)
    {
        stack_.reset(std::move(storage));
        number_.clear();
    }

    [[nodiscard]] Value release() { return stack_.release(); }

    /// Forgets an unfinished value.
    void abandon() noexcept { stack_.reset(); }

    bool on_document_begin(error_code&) { return true; }
    bool on_document_end(error_code&) { return true; }
    bool on_object_begin(error_code&) { return true; }
    bool on_array_begin(error_code&) { return true; }
    bool on_comment_part(JsonText, error_code&) { return true; }
    bool on_comment(JsonText, error_code&) { return true; }

    bool on_object_end(std::size_t size, error_code&)
    {
        stack_.push_object(size);
        return true;
    }

    bool on_array_end(std::size_t size, error_code&)
    {
        stack_.push_array(size);
        return true;
    }

    bool on_key_part(JsonText part, std::size_t, error_code&)
    {
        stack_.push_chars(part);
        return true;
    }

    bool on_key(JsonText rest, std::size_t, error_code&)
    {
        stack_.push_key(rest);
        return true;
    }

    bool on_string_part(JsonText part, std::size_t, error_code&)
    {
        stack_.push_chars(part);
        return true;
    }

    bool on_string(JsonText rest, std::size_t, error_code&)
    {
        stack_.push_string(rest);
        return true;
    }

    bool on_number_part(JsonText part, error_code&)
    {
        number_.append(part.data(), part.size());
        return true;
    }

    bool on_int64(std::int64_t number, JsonText, error_code&)
    {
        number_.clear();
        stack_.push_int64(number);
        return true;
    }

    bool on_uint64(std::uint64_t number, JsonText, error_code&)
    {
        number_.clear();
        stack_.push_uint64(number);
        return true;
    }

    bool on_double(double approximation, JsonText rest, error_code& error)
    {
        number_.append(rest.data(), rest.size());
        double number = approximation;
        const auto read = std::from_chars(number_.data(), number_.data() + number_.size(), number);
        number_.clear();
        // A number too small for a double has been read as zero; one too large has no double.
        if (read.ec == std::errc::result_out_of_range && !std::isfinite(approximation)) {
            error = boost::json::make_error_code(boost::json::error::exponent_overflow);
            return false;
        }
        stack_.push_double(read.ec == std::errc{} ? number : approximation);
        return true;
    }

    bool on_bool(bool boolean, error_code&)
    {
        stack_.push_bool(boolean);
        return true;
    }

    bool on_null(error_code&)
    {
        stack_.push_null();
        return true;
    }

private:
    boost::json::value_stack stack_;
    std::string number_;
};
// NOLINTEND(readability-identifier-naming)

} // namespace

std::string messageText(const Dictionary& message)
{
    return boost::json::serialize(message);
}

class MessageReader::Parser {
public:
    explicit Parser(std::size_t depth) : events_{optionsFor(depth)} {}

    [[nodiscard]] Value parse(std::string_view text, boost::system::error_code& error, boost::json::storage_ptr storage)
    {
        events_.reset();
        events_.handler().begin(std::move(storage));
        const std::size_t read = events_.write_some(false, text.data(), text.size(), error);
        if (!error && read < text.size()) {
            error = boost::json::make_error_code(boost::json::error::extra_data);
        }
        if (error) {
            events_.handler().abandon();
            return {};
        }
        return events_.handler().release();
    }

private:
    static boost::json::parse_options optionsFor(std::size_t depth)
    {
        boost::json::parse_options options;
        options.max_depth = depth;
        return options;
    }

    boost::json::basic_parser<ValueBuilder> events_;
};

MessageReader::MessageReader(const MessageTextLimits& limits)
    : limits_{limits}, parser_{std::make_unique<Parser>(limits.depth)}
{}

MessageReader::~MessageReader() = default;

Value MessageReader::readValue(std::string_view text, boost::system::error_code& error,
                               boost::json::storage_ptr storage)
{
    error = {};
    if (text.size() > limits_.bytes) {
        error = boost::system::errc::make_error_code(boost::system::errc::message_size);
        return {};
    }
    return parser_->parse(text, error, std::move(storage));
}

Dictionary MessageReader::read(std::string_view text, boost::system::error_code& error,
                               boost::json::storage_ptr storage)
{
    Value value = readValue(text, error, std::move(storage));
    if (error) {
        return {};
    }
    if (!value.is_object()) {
        error = boost::json::make_error_code(boost::json::error::not_object);
        return {};
    }
    return std::move(value.get_object());
}

Dictionary readMessage(std::string_view text, boost::system::error_code& error, const MessageTextLimits& limits)
{
    return MessageReader{limits}.read(text, error);
}

Value readValue(std::string_view text, boost::system::error_code& error, const MessageTextLimits& limits)
{
    return MessageReader{limits}.readValue(text, error);
}

} // namespace vexa::host
