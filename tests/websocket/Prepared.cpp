#include "Prepared.hpp"

#include "ChildProcess.hpp"

#include <stdexcept>

namespace vexa::host {

namespace {

const std::string& preparedFolder()
{
    static const std::string folder = [] {
        const std::string made = VEXA_WEBSOCKET_PREPARED;
        ChildProcess prepare{{VEXA_WEBSOCKET_TESTS "/prepare.sh", made}, "/"};
        if (prepare.wait() != 0) {
            throw std::runtime_error{"the certificates of the tests could not be made"};
        }
        return made;
    }();
    return folder;
}

} // namespace

std::string certificateFile(const std::string& name)
{
    return preparedFolder() + "/certificates/" + name;
}

} // namespace vexa::host
