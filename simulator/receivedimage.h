// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <span>
#include <string>

namespace simulator {

/// A file that follows an image while it is received: whoever reads the file sees each record as soon as the
/// panel has stored it.
class ReceivedImage
{
public:
    /// Creates the file, or empties it. An empty path keeps no file.
    explicit ReceivedImage(std::string path = {});

    /// Brings the file in line with `image`, of which only the bytes from `changedFrom` on have changed since
    /// the last call. A shorter image than before shortens the file.
    void follow(std::span<const std::uint8_t> image, std::size_t changedFrom);

    /// False once the file could not be created or written.
    bool isGood() const { return fileName.empty() || file.good(); }

private:
    std::string fileName;
    std::ofstream file;
    std::size_t written = 0;
};

} // namespace simulator
