// SPDX-License-Identifier: MIT
#include "simulator/misbehavingpanel.h"

#include <utility>

namespace simulator {

namespace {

bool sendsException(const Misbehaviour &faults, const Bytes &reply)
{
    const bool silent =
        faults.silent || reply.empty() || (faults.hangUp && !faults.cutTo) || faults.cutTo == 0;
    return faults.exceptionCode.has_value() && !silent;
}

} // namespace

MisbehavingPanel::MisbehavingPanel(std::uint8_t address, const Misbehaviour &misbehaviour)
    : panel(address), faults(misbehaviour)
{
}

Schedule MisbehavingPanel::answer(ByteView request)
{
    const PanelModel::Hearing hearing = panel.hearing(request);
    const bool forThisPanel =
        hearing == PanelModel::Hearing::Addressed || hearing == PanelModel::Hearing::Broadcast;
    // A request that carries no record counts as the one that would come next.
    const std::uint32_t recordIndex =
        recordNumber(request).value_or(static_cast<std::uint16_t>(panel.nextRecord()));
    const bool lost = losesRecord(faults, recordIndex);
    const std::uint64_t exceptionsBefore = panel.counts().exceptions;

    Bytes reply = panel.answer(request, lost ? PanelModel::Taking::Discard : PanelModel::Taking::Store);
    if (!forThisPanel)
        return planEcho(faults, recordIndex, request);
    Schedule schedule = planReply(reply, replyBefore, faults, recordIndex, request);
    if (lost && sendsException(faults, reply) && panel.counts().exceptions == exceptionsBefore)
        ++forcedExceptions;
    if (!reply.empty())
        replyBefore = std::move(reply);
    return schedule;
}

PanelModel::Counts MisbehavingPanel::counts() const
{
    PanelModel::Counts counts = panel.counts();
    counts.exceptions += forcedExceptions;
    return counts;
}

} // namespace simulator
