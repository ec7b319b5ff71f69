// SPDX-License-Identifier: MIT
#pragma once

#include "simulator/misbehaviour.h"
#include "simulator/panelmodel.h"

namespace simulator {

/// A PanelModel whose replies go through a Misbehaviour. Not thread-safe.
class MisbehavingPanel
{
public:
    MisbehavingPanel(std::uint8_t address, const Misbehaviour &misbehaviour);

    /// Takes one whole request frame and says how the line delivers the reply.
    Schedule answer(ByteView request);

    const PanelModel &model() const { return panel; }

    /// The model's counts, together with the exceptions that the misbehaviour made up.
    PanelModel::Counts counts() const;

private:
    PanelModel panel;
    Misbehaviour faults;
    Bytes replyBefore;
    std::uint64_t forcedExceptions = 0;
};

} // namespace simulator
