#pragma once

#include <host/tool/top/SampleSource.hpp>
#include <host/tool/top/TopicColumns.hpp>

#include <boost/asio/io_context.hpp>

namespace vexa::host {

/// Shows a service on the whole screen until a person ends it, all on the calling thread. Returns the exit code of the
/// process: 0, or 128 and the number of the signal that ended it.
///
/// \param interval  seconds from one sample to the next
[[nodiscard]] int runTopScreen(boost::asio::io_context& context, SampleSource& source, double interval,
                               const TopicOrder& order);

} // namespace vexa::host
