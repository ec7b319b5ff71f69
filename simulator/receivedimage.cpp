// SPDX-License-Identifier: MIT
#include "simulator/receivedimage.h"

#include <algorithm>
#include <ios>
#include <utility>

namespace simulator {

namespace {

constexpr std::ios_base::openmode CreateEmpty = std::ios::binary | std::ios::out | std::ios::trunc;

} // namespace

ReceivedImage::ReceivedImage(std::string path) : fileName(std::move(path))
{
    if (!fileName.empty())
        file.open(fileName, CreateEmpty);
}

void ReceivedImage::follow(std::span<const std::uint8_t> image, std::size_t changedFrom)
{
    if (fileName.empty() || !file.good())
        return;
    if (image.size() < written) {
        file.close();
        file.open(fileName, CreateEmpty);
        written = 0;
    }
    const std::size_t from = std::min(changedFrom, written);
    if (from == image.size())
        return;
    const auto changed = image.subspan(from);
    file.seekp(static_cast<std::streamoff>(from));
    file.write(reinterpret_cast<const char *>(changed.data()), static_cast<std::streamsize>(changed.size()));
    file.flush();
    written = image.size();
}

} // namespace simulator
