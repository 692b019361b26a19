// Stands in for libFuzzer where a build has none: hands every file named on the command line,
// and every file in a folder named there, to the fuzzer's entry point once.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

bool replay(const std::filesystem::path& path)
{
    std::ifstream file{path, std::ios::binary};
    const std::vector<char> bytes{std::istreambuf_iterator<char>{file}, {}};
    if (!file.is_open() || file.bad()) {
        std::cerr << "cannot read " << path << '\n';
        return false;
    }
    const std::vector<std::uint8_t> input{bytes.begin(), bytes.end()};
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    std::size_t replayed = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<std::filesystem::path> files;
        if (std::filesystem::is_directory(argv[i])) {
            for (const auto& entry : std::filesystem::directory_iterator{argv[i]}) {
                files.push_back(entry.path());
            }
        } else {
            files.emplace_back(argv[i]);
        }
        for (const auto& file : files) {
            if (!replay(file)) {
                return 1;
            }
            ++replayed;
        }
    }
    std::cout << replayed << " inputs replayed\n";
    return replayed == 0 ? 1 : 0;
}
