// SPDX-License-Identifier: MIT
#pragma once

#include "update/firmwareloader.h"
#include "update/infraredframe.h"

class ImageFile;

/// Sends the image through the infrared transmitter of a SUB-20. The panel never answers: each frame is sent
/// three times, and nothing says whether it arrived.
class InfraredLoader final : public FirmwareLoader
{
public:
    /// `protocolVariant` chooses the layout of the frames; each run sets it to the one with the CRC.
    InfraredLoader(LoaderContext lent, int &protocolVariant);

    [[nodiscard]] int run() override;

private:
    int sendFrames(ImageFile &image);
    int transmit(infrared::Frame &frame);

    int &variant;
};
