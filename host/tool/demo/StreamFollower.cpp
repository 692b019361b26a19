#include <host/tool/demo/StreamFollower.hpp>

namespace vexa::host {

std::string_view styleName(FollowStyle style) noexcept
{
    switch (style) {
    case FollowStyle::coroutine:
        return "coroutine";
    case FollowStyle::asioCoroutine:
        return "asioCoroutine";
    case FollowStyle::callback:
        return "callback";
    case FollowStyle::thread:
        return "thread";
    }
    return "";
}

} // namespace vexa::host
