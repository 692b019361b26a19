// The subscription hash, and beside it the bare digest of the same number of bytes.

#include <VexaClient/subscription_client/SubscriptionHash.hpp>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <array>
#include <string>

namespace vexa::bench {

namespace {

/// Bytes that the hash of a topic without parameters feeds: key, empty text, whole.
constexpr std::int64_t plainBytes = 6 + 0 + 13;

/// Bytes that the hash of the small dictionary below feeds.
constexpr std::int64_t dictionaryBytes = 6 + 6 + 1 + 6 + 6 + 4 + 4 + 42 + 53;

const Parameters& smallDictionary()
{
    static const Parameters params(Value{{"league", 4}, {"region", "europe"}, {"live", true}});
    return params;
}

void hashWithoutParameters(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(subscriptionHash("scores", std::nullopt));
    }
}

void hashOfSmallDictionary(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(subscriptionHash("scores", smallDictionary()));
    }
}

/// One digest over so many bytes, in a context that is kept, without base64.
void bareDigest(benchmark::State& state)
{
    const std::string bytes(static_cast<std::size_t>(state.range(0)), 'x');
    EVP_MD* const md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
    EVP_MD_CTX* const context = EVP_MD_CTX_new();
    std::array<unsigned char, 16> digest{};
    for (auto _ : state) {
        EVP_DigestInit_ex2(context, md5, nullptr);
        EVP_DigestUpdate(context, bytes.data(), bytes.size());
        EVP_DigestFinal_ex(context, digest.data(), nullptr);
        benchmark::DoNotOptimize(digest);
    }
    EVP_MD_CTX_free(context);
    EVP_MD_free(md5);
}

BENCHMARK(bareDigest)->Arg(plainBytes)->ArgName("bytes");
BENCHMARK(hashWithoutParameters);
BENCHMARK(bareDigest)->Arg(dictionaryBytes)->ArgName("bytes");
BENCHMARK(hashOfSmallDictionary);

} // namespace

} // namespace vexa::bench
