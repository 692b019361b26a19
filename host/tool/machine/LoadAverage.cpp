#include <host/tool/machine/Fields.hpp>
#include <host/tool/machine/LoadAverage.hpp>

namespace vexa::host {

std::optional<LoadAverage> readLoadAverage(std::string_view text)
{
    const auto fields = fieldsOf(text.substr(0, text.find('\n')));
    if (fields.size() < 3) {
        return std::nullopt;
    }
    const auto one = numberIn<double>(fields[0]);
    const auto five = numberIn<double>(fields[1]);
    const auto fifteen = numberIn<double>(fields[2]);
    if (!one || !five || !fifteen) {
        return std::nullopt;
    }
    return LoadAverage{*one, *five, *fifteen};
}

} // namespace vexa::host
