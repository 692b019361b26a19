#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/platform/system/SecureRandom.hpp>

#include <cerrno>
#include <utility>

#include <sys/random.h>

namespace vexa {

std::uint64_t SecureRandom::bits()
{
    const std::lock_guard lock{mutex_};
    if (left_ == 0) {
        ssize_t received = 0;
        do {
            received = ::getrandom(bits_.data(), sizeof bits_, 0);
        } while (received < 0 && errno == EINTR);
        if (received != static_cast<ssize_t>(sizeof bits_)) {
            fatal("the operating system's random source does not answer");
        }
        left_ = bits_.size();
    }
    return std::exchange(bits_[--left_], 0);
}

} // namespace vexa
