#include <VexaClient/platform/Text.hpp>
#include <VexaClient/subscription_client/OperationId.hpp>

namespace vexa {

std::string operationId(std::int64_t number)
{
    constexpr std::size_t leastDigits = 3;
    const std::string digits = decimal(number);
    const std::size_t padding = digits.size() < leastDigits ? leastDigits - digits.size() : 0;
    return joined({"O-", std::string(padding, '0'), digits});
}

} // namespace vexa
