#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/string.hpp>
#include <boost/json/value.hpp>

#include <memory>
#include <optional>

/// The value types that cross the library's boundary.
namespace vexa {

/// Any JSON-representable value: null, boolean, number, text, list or dictionary (RFC 8259).
using Value = boost::json::value;

/// A list of values.
using List = boost::json::array;

/// A string-keyed dictionary of loosely typed values.
using Dictionary = boost::json::object;

/// The parameters of a topic. An absent value means that none were given, which JSON null does not.
using Parameters = std::optional<Value>;

/// A copy in memory of its own. A plain copy would use, and depend on, the memory that the original lives in.
[[nodiscard]] inline Parameters ownCopy(const Parameters& params)
{
    return params ? Parameters(Value(*params, boost::json::storage_ptr())) : std::nullopt;
}

/// A received message: immutable and shared, never copied on its way.
///
/// A message taken out of a batch points into that batch and keeps the whole of it alive. Whoever keeps one
/// message for long should copy what is needed out of it.
using Message = std::shared_ptr<const Dictionary>;

} // namespace vexa
