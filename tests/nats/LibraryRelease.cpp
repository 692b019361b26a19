#include <host/broker/nats/NatsBroker.hpp>

#include <gtest/gtest.h>

namespace vexa::host {
namespace {

/// Ends the threads of nats.c, so that a sanitizer sees all memory given back.
class LibraryRelease final : public ::testing::Environment {
public:
    void TearDown() override { NatsBroker::releaseLibrary(); }
};

const ::testing::Environment* const libraryRelease = ::testing::AddGlobalTestEnvironment(new LibraryRelease);

} // namespace
} // namespace vexa::host
