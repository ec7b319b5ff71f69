// SPDX-License-Identifier: MIT
// Runs a target with every file of the folders that are named, and with an input that is empty.
#include "fuzz/input.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

void replay(const std::filesystem::path &file)
{
    // What is printed last names the input of a crash.
    std::fprintf(stderr, "%s\n", file.string().c_str());
    std::ifstream stream(file, std::ios::binary);
    REQUIRE(stream.good());
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
}

} // namespace

int main(int count, char **arguments)
{
    LLVMFuzzerTestOneInput(nullptr, 0);
    std::size_t inputs = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto &entry : std::filesystem::directory_iterator(arguments[i])) {
            replay(entry.path());
            ++inputs;
        }
    }
    std::fprintf(stderr, "%zu inputs\n", inputs);
    return inputs > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
