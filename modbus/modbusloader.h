// SPDX-License-Identifier: MIT
#pragma once

#include "update/firmwareloader.h"

#include <QtGlobal>

class ImageFile;
class Modbus;

/// Sends the image as Modbus file records, one after the other, and waits for the panel to confirm each. The
/// first record that fails ends the run.
class ModbusLoader final : public FirmwareLoader
{
public:
    /// What the records go over. None: the run fails without a word once the image is open.
    enum class Link { None, Sub20, SerialPort };

    /// How many bytes of the image a record holds; the last one may have fewer.
    static constexpr int ChunkSize = 32;
    /// As far as the records' 16-bit numbers reach; behind it they begin again.
    static constexpr qint64 MaxImageSize = qint64{ChunkSize} * 0x10000;

    ModbusLoader(LoaderContext lent, Link over);

    [[nodiscard]] int run() override;

private:
    int runOverLink(Modbus &modbus, ImageFile &image);
    int runOverSub20(Modbus &modbus, ImageFile &image);
    int runOverSerialPort(Modbus &modbus, ImageFile &image);
    int sendRecords(Modbus &modbus, ImageFile &image);

    const Link link;
};
