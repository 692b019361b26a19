#include <host/tool/machine/Figure.hpp>

namespace vexa::host {

std::string_view unitName(Unit unit) noexcept
{
    switch (unit) {
    case Unit::percent:
        return "percent";
    case Unit::bytesPerSecond:
        return "bytesPerSecond";
    case Unit::tasks:
        return "tasks";
    }
    return "";
}

} // namespace vexa::host
