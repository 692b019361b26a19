#include <host/tool/client/BearerToken.hpp>

#include <boost/algorithm/string/trim.hpp>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace vexa::host {

std::string readBearerToken(const std::string& path)
{
    if (path.empty()) {
        return {};
    }
    std::ifstream file{path};
    if (!file) {
        throw std::runtime_error{"cannot read the token file " + path};
    }
    std::string token{std::istreambuf_iterator<char>{file}, {}};
    boost::algorithm::trim(token);
    if (token.empty()) {
        throw std::runtime_error{"the token file " + path + " is empty"};
    }
    return token;
}

} // namespace vexa::host
