#include <VexaClient/subscription_client/TopicIdentity.hpp>

#include <algorithm>
#include <memory>
#include <new>

namespace vexa {

TopicIdentity::TopicIdentity(std::string_view name, const Parameters& params, std::string_view hash)
    : hashSize_{static_cast<std::uint32_t>(hash.size())}, nameSize_{name.size()}, params_{ownCopy(params)}
{}

TopicIdentity::Pointer TopicIdentity::make(std::string_view name, const Parameters& params, std::string_view hash)
{
    struct Release {
        void operator()(void* memory) const noexcept { ::operator delete(memory); }
    };
    std::unique_ptr<void, Release> memory{::operator new(sizeof(TopicIdentity) + hash.size() + name.size())};
    auto* const identity = new (memory.get()) TopicIdentity{name, params, hash};
    memory.release();
    char* const texts = reinterpret_cast<char*>(identity + 1); // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
    std::ranges::copy(name, std::ranges::copy(hash, texts).out);
    return Pointer{identity};
}

void TopicIdentity::destroy(const TopicIdentity* identity) noexcept
{
    identity->~TopicIdentity();
    ::operator delete(const_cast<TopicIdentity*>(identity)); // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

} // namespace vexa
